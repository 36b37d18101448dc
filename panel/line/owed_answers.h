// Answers that stations still owe: a request that was not answered in time, or was sent several
// times, may be answered while the next one waits for its reply. An answer of the same station and
// function names no register, so it could pass for the next one.
#pragma once

#include "panel/line/exchange.h"

#include <chrono>
#include <map>
#include <utility>
#include <vector>

// On the line's thread.
class OwedAnswers {
public:
    using Clock = std::chrono::steady_clock;

    // An answer may come as late as the response time-out and the quiet time after its request, or
    // as late as one has come, and the quiet time.
    OwedAnswers(std::chrono::milliseconds responseTimeout, std::chrono::milliseconds quiet)
        : m_responseTimeout(responseTimeout), m_quiet(quiet) {}

    // Every exchange of the line; `requestEnd` is when its request had gone out.
    void observe(const Exchange &exchange, Clock::time_point requestEnd);

    // From when on another request of that station and function can be told from those before. Only
    // time clears a debt: an answer may be one of several. Repeating a request needs no wait.
    Clock::time_point clearFrom(int station, int function) const;

private:
    struct Debt {
        // Of the request that is sent again and again: the ends of its sendings, the first one
        // first.
        std::vector<Clock::time_point> unanswered;
        Clock::time_point until;
    };
    void answered(Debt *debt, Clock::time_point now) const;
    bool isAnyOwed(Clock::time_point now) const;

    std::chrono::milliseconds m_responseTimeout;
    std::chrono::milliseconds m_quiet;
    std::map<std::pair<int, int>, Debt> m_debts; // by station and function
};
