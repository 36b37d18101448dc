#include "panel/feed/expectations.h"

Expectations::Expectations(const PanelFile &panel)
    : m_panel(panel), m_progress(panel.variables.size()) {}

void Expectations::observe(const ValueChange &change) {
    if (change.quality == Quality::Never)
        return;
    const std::lock_guard lock(m_mutex);
    Progress &progress = m_progress.at(change.variable);
    if (!progress.isSeen)
        progress.firstValue = change.data;
    progress.isSeen = true;
    if (change.data != progress.firstValue)
        progress.moved = true;
    if (change.data == m_panel.variables[change.variable].expected)
        progress.shownExpected = true;
}

bool Expectations::hasMoved(std::size_t variable) const {
    const std::lock_guard lock(m_mutex);
    return m_progress.at(variable).moved;
}

bool Expectations::hasShownExpected(std::size_t variable) const {
    const std::lock_guard lock(m_mutex);
    return m_progress.at(variable).shownExpected;
}
