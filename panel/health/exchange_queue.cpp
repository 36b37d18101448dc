#include "panel/health/exchange_queue.h"

#include <utility>

ExchangeQueue::ExchangeQueue(Write write, Flush flush)
    : m_write(std::move(write)), m_flush(std::move(flush)), m_thread([this] { run(); }) {}

void ExchangeQueue::close() {
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
    }
    m_changed.notify_one();
    if (m_thread.joinable())
        m_thread.join();
}

void ExchangeQueue::push(const Exchange &exchange) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_queue.size() >= Capacity || m_isEnding || !m_error.isEmpty()) {
            ++m_dropped;
            return;
        }
        m_queue.push_back(exchange);
    }
    m_changed.notify_one();
}

quint64 ExchangeQueue::dropped() const {
    const std::lock_guard lock(m_mutex);
    return m_dropped;
}

QString ExchangeQueue::error() const {
    const std::lock_guard lock(m_mutex);
    return m_error;
}

std::deque<Exchange> ExchangeQueue::takeAll() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_isEnding || !m_queue.empty(); });
    return std::exchange(m_queue, {});
}

QString ExchangeQueue::writeAll(const std::deque<Exchange> &exchanges, std::size_t *done) const {
    for (const Exchange &exchange : exchanges) {
        QString error = m_write(exchange);
        if (!error.isEmpty())
            return error;
        ++*done;
    }
    QString error = m_flush ? m_flush() : QString();
    if (!error.isEmpty())
        *done = 0;
    return error;
}

void ExchangeQueue::run() {
    for (auto exchanges = takeAll(); !exchanges.empty(); exchanges = takeAll()) {
        std::size_t done = 0;
        const QString error = writeAll(exchanges, &done);
        if (error.isEmpty())
            continue;
        const std::lock_guard lock(m_mutex);
        m_error = error;
        m_dropped += exchanges.size() - done + m_queue.size();
        m_queue.clear();
        return;
    }
}
