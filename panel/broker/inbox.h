// What reaches the broker's thread: changes of values, of which it keeps the newest, and tasks.
#pragma once

#include "panel/feed/value_change.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

class Inbox {
public:
    using Clock = std::chrono::steady_clock;
    using Task = std::function<void()>;
    static constexpr std::size_t MostChanges = 20'000;
    // Of what clients of the broker send, who may send without end.
    static constexpr std::size_t MostReceived = 1'000;
    static constexpr std::size_t MostReceivedBytes = 4'000'000;

    struct Contents {
        std::deque<ValueChange> changes;
        std::deque<Task> tasks;   // in the order of post()
        quint64 dropped = 0;      // changes, the oldest, since the last time
        std::size_t received = 0; // of the tasks
        std::size_t receivedBytes = 0;
        quint64 leftOut = 0; // of what was received, the newest, since the last time
        bool isClosed = false;
    };

    // Any thread; none of them waits for the broker's. After close() nothing is taken.
    void push(const ValueChange &change);
    // For what must not be lost, as an acknowledgement: there are only as many as messages were
    // sent.
    void post(Task task);
    // For what a client of the broker sent, of that size. Left out and counted when there is too
    // much.
    void postReceived(std::size_t bytes, Task task);
    void close();

    // The broker's thread: waits for something, or until then, and takes all of it.
    Contents takeAll(std::optional<Clock::time_point> until);

private:
    std::mutex m_mutex; // guards all below
    std::condition_variable m_changed;
    Contents m_contents;
};
