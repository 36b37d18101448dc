#include "panel/command/run_log.h"

#include <utility>

RunLog::RunLog(std::function<void(const QString &line)> say) : m_say(std::move(say)) {}

void RunLog::add(const QString &line) {
    const std::lock_guard lock(m_mutex);
    if (!m_isHeld) {
        m_say(line);
        return;
    }
    if (m_held.size() == MostHeld) {
        m_held.pop_front();
        ++m_leftOut;
    }
    m_held.push_back(line);
}

void RunLog::hold() {
    const std::lock_guard lock(m_mutex);
    m_isHeld = true;
}

void RunLog::release() {
    const std::lock_guard lock(m_mutex);
    m_isHeld = false;
    if (m_leftOut > 0)
        m_say(QString("%1 earlier lines left out").arg(std::exchange(m_leftOut, 0)));
    for (const QString &line : std::exchange(m_held, {}))
        m_say(line);
}
