#include "panel/line/owed_answers.h"

#include <algorithm>

namespace {

bool isAnswer(Outcome outcome) {
    return outcome == Outcome::Good || outcome == Outcome::Refused;
}

} // namespace

void OwedAnswers::observe(const Exchange &exchange, Clock::time_point requestEnd) {
    if (exchange.station == 0 || exchange.outcome == Outcome::DeviceGone)
        return;
    Debt &debt = m_debts[{exchange.station, exchange.function}];
    if (exchange.attempt == 1)
        debt.unanswered.clear(); // their time was over before this one went out
    if (isAnswer(exchange.outcome)) {
        answered(&debt, requestEnd + exchange.replyTime);
        return;
    }
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

OwedAnswers::Clock::time_point OwedAnswers::clearFrom(int station, int function) const {
    const auto found = m_debts.find({station, function});
    return found == m_debts.end() ? Clock::time_point() : found->second.until;
}
