#include "statistics.h"

namespace {

constexpr int ExceptionLength = 5;
constexpr int ExceptionFlag = 0x80;
constexpr int MaxRefusals = 20;

bool isException(const QByteArray &reply) {
    return reply.size() == ExceptionLength && (static_cast<uchar>(reply[1]) & ExceptionFlag) != 0;
}

QString exceptionText(int code) {
    const std::map<int, const char *> names{{1, "illegal function"},
                                            {2, "illegal data address"},
                                            {3, "illegal data value"},
                                            {4, "device failure"},
                                            {5, "acknowledged, still working"},
                                            {6, "device busy"},
                                            {8, "memory parity error"},
                                            {10, "gateway path unavailable"},
                                            {11, "gateway target does not answer"}};
    const auto name = names.find(code);
    return name == names.end() ? QString("exception %1").arg(code)
                               : QString("%1 (exception %2)").arg(name->second).arg(code);
}

// Spans carry the numbers of the word types, so that one table names both forms.
QString placeText(const RW_VAR &var) {
    constexpr std::array areas{"input", "holding", "holding from 5000"};
    constexpr std::array units{"bit", "byte", "register", "32-bit value", "64-bit value"};
    if (var.regType < 0 || var.regType > 14)
        return QString("type %1, %2").arg(var.regType).arg(var.address);
    const auto type = static_cast<size_t>(var.regType);
    return QString("%1, %2 %3, count %4")
        .arg(areas.at(type % 3), units.at(type / 3))
        .arg(var.address)
        .arg(var.count);
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

int exceptionCode(const QByteArray &reply) {
    return static_cast<uchar>(reply.at(2));
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

void Statistics::noteRefusal(const RW_VAR &var, int code) {
    const QString text = QString("station %1 refused a %2 (%3): %4")
                             .arg(var.station)
                             .arg(var.isWrite != 0 ? "write" : "read", placeText(var))
                             .arg(exceptionText(code));
    const std::lock_guard lock(m_mutex);
    if (m_refusals.size() < MaxRefusals && !m_refusals.contains(text))
        m_refusals += text;
}

QStringList Statistics::refusals() const {
    const std::lock_guard lock(m_mutex);
    return m_refusals;
}
