#include "panel/web/event_stream.h"

#include <algorithm>
#include <cstring>

QByteArray eventText(const QByteArray &event, const QByteArray &data) {
    return "event: " + event + "\ndata: " + data + "\n\n";
}

void EventStream::push(const QByteArray &events) {
    const std::lock_guard guard(m_mutex);
    if (m_isEnded)
        return;
    if (m_buffer.size() - m_taken + events.size() > MostBytes) {
        m_isEnded = true; // it comes back and gets the whole picture
    } else {
        m_buffer += events;
    }
    wakeUp();
}

void EventStream::end() {
    const std::lock_guard guard(m_mutex);
    m_isEnded = true;
    wakeUp();
}

bool EventStream::isEnded() const {
    const std::lock_guard guard(m_mutex);
    return m_isEnded;
}

void EventStream::wakeUp() {
    if (m_isAsleep && m_wake)
        m_wake();
    m_isAsleep = false;
}

int EventStream::take(char *bytes, int most, const std::function<void()> &sleep) {
    const std::lock_guard guard(m_mutex);
    if (m_isEnded)
        return -1;
    const int size = std::min(most, m_buffer.size() - m_taken);
    if (size == 0) {
        m_isAsleep = true;
        sleep();
        return 0;
    }
    std::memcpy(bytes, m_buffer.constData() + m_taken, static_cast<std::size_t>(size));
    m_taken += size;
    if (m_taken == m_buffer.size()) {
        m_buffer.clear();
        m_taken = 0;
    }
    return size;
}

void EventStream::setWake(std::function<void()> wake) {
    const std::lock_guard guard(m_mutex);
    m_wake = std::move(wake);
}
