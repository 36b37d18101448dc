#include "panel/line/owed_answers.h"

#include "modbus/frame_bytes.h"
#include "panel/line/read_frames.h"

#include <algorithm>
#include <bitset>

namespace {

constexpr int AcknowledgementBytes = 8;

bool isAnswer(Outcome outcome) {
    return outcome == Outcome::Good || outcome == Outcome::Refused;
}

// In station and function.
std::size_t wrongBits(const QByteArray &reply, const QByteArray &request) {
    const auto differing = [&](int index) {
        return std::bitset<8>(static_cast<unsigned>(byteAt(reply, index) ^ byteAt(request, index)));
    };
    return differing(0).count() + differing(1).count();
}

// The whole answer with wrong bits; noise of its length hardly begins like it.
bool isDamagedAnswer(const Exchange &exchange) {
    const bool isRead = exchange.function == ReadHolding || exchange.function == ReadInput;
    const int length = isRead ? readReplyBytes(exchange.registers) : AcknowledgementBytes;
    return exchange.outcome == Outcome::BadCrc && exchange.reply.size() == length &&
           wrongBits(exchange.reply, exchange.request) <= 1;
}

} // namespace

void OwedAnswers::observe(const Exchange &exchange, Clock::time_point requestEnd) {
    if (exchange.station == 0 || exchange.outcome == Outcome::DeviceGone)
        return;
    Debt &debt = m_debts[{exchange.station, exchange.function}];
    if (exchange.attempt == 1)
        debt.unanswered.clear(); // their time was over before this one went out
    if (isAnswer(exchange.outcome)) {
        const bool isTimed = exchange.replyTime.count() > 0; // the process was not stopped
        answered(&debt,
                 isTimed ? requestEnd + exchange.replyTime : exchange.began + exchange.duration);
        return;
    }
    // Damaged, an owed answer of anybody looks like this one, which is then still to come.
    if (isDamagedAnswer(exchange) && !isAnyOwed(requestEnd))
        return;
    debt.unanswered.push_back(requestEnd);
    debt.until = std::max(debt.until, requestEnd + m_responseTimeout + m_quiet);
}

// It may be the answer to the first of several sendings. Then the others come, each as late after
// the one before: a slow station takes one request at a time.
void OwedAnswers::answered(Debt *debt, Clock::time_point now) const {
    if (!debt->unanswered.empty()) {
        const auto others = static_cast<int>(debt->unanswered.size());
        const auto delay = now - debt->unanswered.front();
        debt->until = std::max(debt->until, now + others * (delay + m_quiet));
    }
    debt->unanswered.clear();
}

bool OwedAnswers::isAnyOwed(Clock::time_point now) const {
    return std::any_of(m_debts.begin(), m_debts.end(),
                       [now](const auto &debt) { return debt.second.until > now; });
}

OwedAnswers::Clock::time_point OwedAnswers::clearFrom(int station, int function) const {
    const auto found = m_debts.find({station, function});
    return found == m_debts.end() ? Clock::time_point() : found->second.until;
}
