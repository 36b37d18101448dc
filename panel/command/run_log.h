// The log of writes: a line for each, by whichever road it came. While the table has the terminal
// the lines wait until it gives it back.
#pragma once

#include <QString>

#include <deque>
#include <functional>
#include <mutex>

class WriteLog {
public:
    static constexpr std::size_t MostHeld = 1'000; // then the oldest are left out, and counted

    // Where the lines go; one at a time.
    explicit WriteLog(std::function<void(const QString &line)> say);

    // As writeText() makes it. Any thread.
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
