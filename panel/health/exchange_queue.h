// What stands between a line, which never waits, and a file, which may: a bounded queue and the
// thread that writes. What a slow disk cannot take is dropped and counted.
#pragma once

#include "panel/line/exchange.h"

#include <QString>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

class ExchangeQueue {
public:
    static constexpr std::size_t Capacity = 4096;

    // Called on the writing thread. Writes one exchange; one line on failure.
    using Write = std::function<QString(const Exchange &)>;
    // The same: brings to the disk what was written. Called whenever the queue is empty; none where
    // nothing is kept back.
    using Flush = std::function<QString()>;

    ExchangeQueue(Write write, Flush flush);
    ~ExchangeQueue() { close(); }
    ExchangeQueue(const ExchangeQueue &) = delete;
    ExchangeQueue &operator=(const ExchangeQueue &) = delete;

    // Any thread; never waits for the disk.
    void push(const Exchange &exchange);
    // Returns when all that was queued is written or has failed; what is pushed later is dropped.
    void close();

    quint64 dropped() const;
    // The first failure of the disk, one line; nothing is written after it, all is dropped.
    QString error() const;

private:
    void run();
    // Waits for exchanges and takes them all; none when the queue is to end.
    std::deque<Exchange> takeAll();
    // `done`: how many are written for certain.
    QString writeAll(const std::deque<Exchange> &exchanges, std::size_t *done) const;

    Write m_write;
    Flush m_flush;
    mutable std::mutex m_mutex; // guards all below
    std::condition_variable m_changed;
    std::deque<Exchange> m_queue;
    bool m_isEnding = false;
    quint64 m_dropped = 0;
    QString m_error;
    std::thread m_thread; // the last member: it begins with all others in place
};
