// What became of the exchanges, by station.
#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <map>
#include <mutex>

enum class Outcome { Good, NoReply, WrongLength, Exception, Invalid };

struct ExchangeCounts {
    int exchanges = 0;
    int givenUp = 0; // requests whose retries were used up
    std::array<int, 5> outcomes{};

    void add(Outcome outcome, bool gaveUp);
    int of(Outcome outcome) const { return outcomes.at(static_cast<size_t>(outcome)); }
    int failed() const { return exchanges - of(Outcome::Good); }
};

// What the bytes of a reply tell; `accepted` is the driver's word on it. A refusal of the station
// (an exception) is too short for the driver, and worth telling apart.
Outcome judgeReply(const QByteArray &reply, int expectedLength, bool accepted);

// "exchanges 12, failed 3 (no reply 2, wrong length 1), given up 1"
QString countsText(const ExchangeCounts &counts);

// Counted by the communication thread, read by any.
class Statistics {
public:
    void count(int station, Outcome outcome, bool gaveUp);
    std::map<int, ExchangeCounts> byStation() const;
    ExchangeCounts total() const;

private:
    mutable std::mutex m_mutex;
    std::map<int, ExchangeCounts> m_counts;
};
