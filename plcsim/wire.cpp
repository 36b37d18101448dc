#include "wire.h"

TimePoint Wire::hostStart(TimePoint now) const {
    return std::max(now, m_hostUntil);
}

TimePoint Wire::arrive(TimePoint now, int count, int hostBaud) {
    m_hostUntil = hostStart(now);
    if (m_timing.isPaced())
        m_hostUntil += m_timing.charactersAt(count, hostBaud);
    return m_hostUntil;
}

void Wire::send(TimePoint earliest, const QByteArray &bytes) {
    m_waiting.emplace(earliest, Transmission{bytes, false});
}

void Wire::echo(TimePoint start, const QByteArray &bytes) {
    m_waiting.emplace(start, Transmission{bytes, true});
}

TimePoint Wire::dueTime(int count) const {
    return m_timing.isPaced() ? m_start + m_timing.characters(count) : m_start;
}

TimePoint Wire::startOf(const Waiting::value_type &next) const {
    const auto &[earliest, transmission] = next;
    return std::max(earliest, transmission.isEcho ? m_sentUntil : freeSince());
}

bool Wire::begin(TimePoint now) {
    if (m_waiting.empty() || startOf(*m_waiting.begin()) > now)
        return false;
    m_start = startOf(*m_waiting.begin());
    m_current = m_waiting.begin()->second;
    m_waiting.erase(m_waiting.begin());
    m_taken = 0;
    m_sentUntil = m_start + m_timing.characters(m_current.bytes.size());
    return true;
}

QByteArray Wire::take(TimePoint now) {
    QByteArray through;
    while (!m_current.bytes.isEmpty() || begin(now)) {
        int end = m_taken;
        while (end < m_current.bytes.size() && dueTime(end + 1) <= now)
            ++end;
        through += m_current.bytes.mid(m_taken, end - m_taken);
        m_taken = end;
        if (m_taken < m_current.bytes.size())
            break;
        m_current = {};
    }
    return through;
}

std::optional<TimePoint> Wire::nextDue() const {
    if (!m_current.bytes.isEmpty())
        return dueTime(m_taken + 1);
    if (m_waiting.empty())
        return std::nullopt;
    return startOf(*m_waiting.begin()) + m_timing.characters(m_timing.isPaced() ? 1 : 0);
}

bool Wire::isTaken(TimePoint now) const {
    return !m_current.bytes.isEmpty() && !m_current.isEcho && now < m_sentUntil;
}

void Wire::spoil(int count) {
    const int end = std::min(m_taken + count, m_current.bytes.size());
    for (int i = m_taken; i < end; ++i)
        m_current.bytes[i] = static_cast<char>(m_current.bytes[i] ^ 0x55);
}

void Wire::clear() {
    m_waiting.clear();
    m_current = {};
    m_hostUntil = {};
    m_sentUntil = {};
}
