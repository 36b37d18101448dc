#include "panel/health/line_health.h"

#include "panel/health/exchange_text.h"

#include <QStringList>

#include <algorithm>

namespace {

using Clock = std::chrono::steady_clock;

bool isFirst(Clock::time_point began) {
    return began == Clock::time_point{};
}

double shareOf(std::chrono::microseconds busy, Clock::duration time) {
    const std::chrono::duration<double> part = busy;
    const std::chrono::duration<double> whole = time;
    return whole.count() > 0 ? std::min(1.0, part / whole) : 0;
}

// Bytes that are neither the reply nor our own request heard again.
quint64 strayBytesOf(const Exchange &exchange) {
    QByteArray heard;
    for (const ReceivedBytes &piece : exchange.received)
        heard += piece.bytes;
    const bool isReply =
        exchange.outcome != Outcome::WrongReply && exchange.outcome != Outcome::Foreign;
    const QByteArray reply = isReply ? exchange.reply : QByteArray();
    const QByteArray echoed = exchange.request + reply;
    const QByteArray &expected = heard.contains(echoed) ? echoed : reply;
    return static_cast<quint64>(std::max(0, heard.size() - expected.size()));
}

void note(const Exchange &exchange, StationHealth *station) {
    station->counts.add(exchange);
    if (exchange.replyTime.count() > 0)
        station->replyTimes.add(exchange.replyTime);
    const bool isGood = exchange.outcome == Outcome::Good;
    LastExchange &last = isGood ? station->lastGood : station->lastBad;
    last = {exchange.sentAt, requestText(exchange), isGood ? QString() : outcomeText(exchange)};
}

} // namespace

void ExchangeCounts::add(const Exchange &exchange) {
    ++exchanges;
    ++outcomes.at(static_cast<std::size_t>(exchange.outcome));
    givenUp += exchange.gaveUp ? 1 : 0;
}

void ExchangeCounts::add(const ExchangeCounts &others) {
    exchanges += others.exchanges;
    givenUp += others.givenUp;
    for (std::size_t i = 0; i < OutcomeCount; ++i)
        outcomes.at(i) += others.outcomes.at(i);
}

QString failuresText(const ExchangeCounts &counts) {
    QStringList failures;
    for (std::size_t i = 0; i < OutcomeCount; ++i) {
        const auto outcome = static_cast<Outcome>(i);
        if (outcome != Outcome::Good && counts.of(outcome) > 0)
            failures += QString("%1 %2").arg(outcomeName(outcome)).arg(counts.of(outcome));
    }
    return failures.join(", ");
}

QString heardText(const ExchangeCounts &counts) {
    const QString failures = failuresText(counts);
    const QString text =
        QString("exchanges %1, failed %2").arg(counts.exchanges).arg(counts.failed());
    return failures.isEmpty() ? text : text + " (" + failures + ')';
}

QString countsText(const ExchangeCounts &counts) {
    const QString text = heardText(counts);
    return counts.failed() == 0 ? text : text + QString(", given up %1").arg(counts.givenUp);
}

ExchangeCounts LineHealth::total() const {
    ExchangeCounts sum;
    for (const auto &[number, station] : stations)
        sum.add(station.counts);
    return sum;
}

double LineHealth::share() const {
    return shareOf(busy, watched);
}

void HealthKeeper::observe(const Exchange &exchange) {
    const std::lock_guard lock(m_mutex);
    constexpr auto Lately = std::chrono::seconds(10);
    if (exchange.outcome == Outcome::DeviceGone) {
        ++m_health.deviceLosses;
        return;
    }
    if (isFirst(m_began)) {
        m_began = exchange.began;
        m_earlier = m_mark = {exchange.began, {}};
    }
    if (exchange.began - m_mark.at >= Lately) {
        m_earlier = m_mark;
        m_mark = {exchange.began, m_health.busy};
    }
    m_health.busy += exchange.duration;
    m_health.strayBytes += strayBytesOf(exchange);
    note(exchange, &m_health.stations[exchange.station]);
}

LineHealth HealthKeeper::snapshot() const {
    const std::lock_guard lock(m_mutex);
    LineHealth health = m_health;
    if (!isFirst(m_began)) {
        const Clock::time_point now = Clock::now();
        health.watched = std::chrono::duration_cast<std::chrono::microseconds>(now - m_began);
        health.recentShare = shareOf(health.busy - m_earlier.busy, now - m_earlier.at);
    }
    return health;
}
