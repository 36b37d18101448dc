#include "panel/broker/inbox.h"

#include <utility>

void Inbox::push(const ValueChange &change) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_contents.isClosed)
            return;
        if (m_contents.changes.size() >= MostChanges) {
            m_contents.changes.pop_front();
            ++m_contents.dropped;
        }
        m_contents.changes.push_back(change);
    }
    m_changed.notify_one();
}

void Inbox::post(Task task) {
    {
        const std::lock_guard lock(m_mutex);
        m_contents.tasks.push_back(std::move(task));
    }
    m_changed.notify_one();
}

void Inbox::postReceived(std::size_t bytes, Task task) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_contents.received >= MostReceived ||
            m_contents.receivedBytes + bytes > MostReceivedBytes) {
            ++m_contents.leftOut;
            return;
        }
        ++m_contents.received;
        m_contents.receivedBytes += bytes;
        m_contents.tasks.push_back(std::move(task));
    }
    m_changed.notify_one();
}

void Inbox::close() {
    {
        const std::lock_guard lock(m_mutex);
        m_contents.isClosed = true;
    }
    m_changed.notify_one();
}

Inbox::Contents Inbox::takeAll(std::optional<Clock::time_point> until) {
    std::unique_lock lock(m_mutex);
    const auto hasSome = [this] {
        return m_contents.isClosed || !m_contents.changes.empty() || !m_contents.tasks.empty();
    };
    if (until) {
        m_changed.wait_until(lock, *until, hasSome);
    } else {
        m_changed.wait(lock, hasSome);
    }
    Contents taken = std::exchange(m_contents, {});
    m_contents.isClosed = taken.isClosed;
    return taken;
}
