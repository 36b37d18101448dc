// Lines for the log that strangers cause: so many a second, the others are counted, so that a flood
// takes little of the log.
#pragma once

#include <QString>

#include <chrono>
#include <functional>

// For one thread.
class BoundedLog {
public:
    using Log = std::function<void(const QString &line)>;
    static constexpr int MostPerSecond = 10;

    // `what` is left out where there is too much: "refused writes from the broker". Without a log
    // nothing is said.
    BoundedLog(Log log, const char *what);

    void add(const QString &line);

private:
    Log m_log;
    const char *m_what;
    std::chrono::steady_clock::time_point m_secondBegan;
    int m_logged = 0;      // in that second
    quint64 m_leftOut = 0; // since the last one logged
};
