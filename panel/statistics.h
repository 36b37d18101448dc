// What became of the exchanges, by station.
#pragma once

#include "driver/records.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <array>
#include <map>
#include <mutex>

enum class Outcome { Good, NoReply, WrongLength, Exception, Invalid };

struct ExchangeCounts {
    quint64 exchanges = 0;
    quint64 givenUp = 0; // requests whose retries were used up
    std::array<quint64, 5> outcomes{};

    void add(Outcome outcome, bool gaveUp);
    quint64 of(Outcome outcome) const { return outcomes.at(static_cast<size_t>(outcome)); }
    quint64 failed() const { return exchanges - of(Outcome::Good); }
};

// What the bytes of a reply tell; `accepted` is the driver's word on it. A refusal of the station
// (an exception) is too short for the driver, and worth telling apart.
Outcome judgeReply(const QByteArray &reply, int expectedLength, bool accepted);

// The code of an exception reply.
int exceptionCode(const QByteArray &reply);

// "exchanges 12, failed 3 (no reply 2, wrong length 1), given up 1"
QString countsText(const ExchangeCounts &counts);

// Counted by the communication thread, read by any.
class Statistics {
public:
    void count(int station, Outcome outcome, bool gaveUp);
    std::map<int, ExchangeCounts> byStation() const;
    ExchangeCounts total() const;

    // A station has answered a request with an exception. Each is kept once, the first few of them.
    void noteRefusal(const RW_VAR &var, int code);
    // One line for each.
    QStringList refusals() const;

private:
    mutable std::mutex m_mutex; // guards all below
    std::map<int, ExchangeCounts> m_counts;
    QStringList m_refusals;
};
