#include "statistics.h"

#include <QStringList>

namespace {

constexpr int ExceptionLength = 5;
constexpr int ExceptionFlag = 0x80;

bool isException(const QByteArray &reply) {
    return reply.size() == ExceptionLength && (static_cast<uchar>(reply[1]) & ExceptionFlag) != 0;
}

} // namespace

void ExchangeCounts::add(Outcome outcome, bool gaveUp) {
    ++exchanges;
    ++outcomes.at(static_cast<size_t>(outcome));
    givenUp += gaveUp ? 1 : 0;
}

Outcome judgeReply(const QByteArray &reply, int expectedLength, bool accepted) {
    if (accepted)
        return Outcome::Good;
    if (reply.isEmpty())
        return Outcome::NoReply;
    if (isException(reply))
        return Outcome::Exception;
    return reply.size() == expectedLength ? Outcome::Invalid : Outcome::WrongLength;
}

QString countsText(const ExchangeCounts &counts) {
    const struct {
        Outcome outcome;
        const char *name;
    } kinds[] = {{Outcome::NoReply, "no reply"},
                 {Outcome::WrongLength, "wrong length"},
                 {Outcome::Exception, "refused"},
                 {Outcome::Invalid, "invalid"}};
    QStringList failures;
    for (const auto &kind : kinds) {
        if (counts.of(kind.outcome) > 0)
            failures += QString("%1 %2").arg(kind.name).arg(counts.of(kind.outcome));
    }
    QString text = QString("exchanges %1, failed %2").arg(counts.exchanges).arg(counts.failed());
    if (!failures.isEmpty())
        text += " (" + failures.join(", ") + QString("), given up %1").arg(counts.givenUp);
    return text;
}

void Statistics::count(int station, Outcome outcome, bool gaveUp) {
    const std::lock_guard lock(m_mutex);
    m_counts[station].add(outcome, gaveUp);
}

std::map<int, ExchangeCounts> Statistics::byStation() const {
    const std::lock_guard lock(m_mutex);
    return m_counts;
}

ExchangeCounts Statistics::total() const {
    ExchangeCounts sum;
    for (const auto &[station, counts] : byStation()) {
        sum.exchanges += counts.exchanges;
        sum.givenUp += counts.givenUp;
        for (size_t i = 0; i < sum.outcomes.size(); ++i)
            sum.outcomes.at(i) += counts.outcomes.at(i);
    }
    return sum;
}
