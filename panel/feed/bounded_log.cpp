#include "panel/feed/bounded_log.h"

#include <utility>

BoundedLog::BoundedLog(Log log, const char *what) : m_log(std::move(log)), m_what(what) {}

void BoundedLog::add(const QString &line) {
    if (!m_log)
        return;
    const auto now = std::chrono::steady_clock::now();
    if (now - m_secondBegan >= std::chrono::seconds(1)) {
        m_secondBegan = now;
        m_logged = 0;
    }
    if (m_logged == MostPerSecond) {
        ++m_leftOut;
        return;
    }
    if (m_leftOut > 0)
        m_log(QString("%1 %2 left out of this log").arg(std::exchange(m_leftOut, 0)).arg(m_what));
    ++m_logged;
    m_log(line);
}
