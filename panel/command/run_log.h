// What a run says on standard error as it goes: a line for each write, by whichever road it came,
// and what the broker's connection does. While the table has the terminal the lines wait until it
// gives it back.
#pragma once

#include <QString>

#include <deque>
#include <functional>
#include <mutex>

class RunLog {
public:
    static constexpr std::size_t MostHeld = 1'000; // then the oldest are left out, and counted

    // Where the lines go; one at a time.
    explicit RunLog(std::function<void(const QString &line)> say);

    // Any thread.
    void add(const QString &line);
    void hold();
    void release();

private:
    const std::function<void(const QString &line)> m_say;
    std::mutex m_mutex; // guards all below, and that one line is said at a time
    bool m_isHeld = false;
    std::deque<QString> m_held;
    quint64 m_leftOut = 0;
};
