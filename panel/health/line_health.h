// The health of one line: what became of its exchanges, by station, how fast answers come, how much
// of its time is in use. Counted as they happen, read by whoever shows it.
#pragma once

#include "panel/health/reply_times.h"
#include "panel/line/exchange.h"

#include <QString>

#include <array>
#include <map>
#include <mutex>

struct ExchangeCounts {
    quint64 exchanges = 0;
    quint64 givenUp = 0; // requests that failed for good
    std::array<quint64, OutcomeCount> outcomes{};

    void add(const Exchange &exchange);
    void add(const ExchangeCounts &others);
    quint64 of(Outcome outcome) const { return outcomes.at(static_cast<std::size_t>(outcome)); }
    quint64 failed() const { return exchanges - of(Outcome::Good); }
};

// "no reply 2, refused 1"
QString failuresText(const ExchangeCounts &counts);
// "exchanges 12, failed 3 (no reply 2, refused 1)"; a recording does not tell more.
QString heardText(const ExchangeCounts &counts);
// The same, and ", given up 1".
QString countsText(const ExchangeCounts &counts);

// An exchange that is remembered by its end.
struct LastExchange {
    std::chrono::system_clock::time_point at; // the epoch: there was none
    QString what;                             // the request in words
    QString reason;                           // of a failure
    bool isKnown() const { return at.time_since_epoch().count() != 0; }
};

struct StationHealth {
    ExchangeCounts counts;
    ReplyTimes replyTimes; // of good replies and refusals
    LastExchange lastGood;
    LastExchange lastBad;
};

struct LineHealth {
    std::map<int, StationHealth> stations; // by number; 0 is broadcasts
    quint64 deviceLosses = 0;              // times that the device went; of no station
    quint64 strayBytes = 0;                // heard outside of the replies waited for
    std::chrono::microseconds busy{0};     // line time that exchanges took
    std::chrono::microseconds watched{0};  // since the first exchange began
    double recentShare = 0;                // part of the last 10 to 20 s in use, 0 to 1

    ExchangeCounts total() const;
    // Part of the time watched in use, 0 to 1.
    double share() const;
};

// Keeps the health of a line. observe() on its communication thread, snapshot() on any.
class HealthKeeper {
public:
    void observe(const Exchange &exchange);
    LineHealth snapshot() const;

private:
    // How far the line time in use had come at a time.
    struct Mark {
        std::chrono::steady_clock::time_point at;
        std::chrono::microseconds busy{0};
    };

    mutable std::mutex m_mutex; // guards all below
    LineHealth m_health;
    std::chrono::steady_clock::time_point m_began; // of the first exchange
    Mark m_earlier;                                // at least 10 s before m_mark, or the beginning
    Mark m_mark;
};
