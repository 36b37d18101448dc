#include "panel/health/line_watch.h"

void LineWatch::observe(const Exchange &exchange) {
    m_health.observe(exchange);
    const std::lock_guard lock(m_mutex);
    m_evidence.observe(exchange);
}

LineFindings LineWatch::findings() const {
    LineFindings findings;
    findings.health = m_health.snapshot();
    for (const auto &[number, station] : findings.health.stations) {
        const std::lock_guard lock(m_mutex);
        findings.evidence[number] = m_evidence.station(number);
    }
    const std::lock_guard lock(m_mutex);
    findings.strangers = m_evidence.strangers();
    return findings;
}
