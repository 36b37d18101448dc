#include "panel/feed/feed.h"

#include "panel/file/values.h"
#include "panel/line/read_value.h"

#include <utility>

Feed::Feed(const PanelFile &panel, std::vector<const Driver *> drivers, Freshness &freshness)
    : m_panel(panel), m_drivers(std::move(drivers)), m_freshness(freshness),
      m_current(panel.variables.size()) {
    for (std::size_t i = 0; i < m_current.size(); ++i)
        m_current[i].variable = i;
}

Feed::~Feed() {
    stop();
}

void Feed::addListener(ValueListener listener) {
    m_listeners.push_back(std::move(listener));
}

void Feed::start() {
    m_thread = std::thread([this] { run(); });
}

void Feed::stop() {
    m_freshness.close();
    if (m_thread.joinable())
        m_thread.join();
}

std::vector<ValueChange> Feed::snapshot() const {
    const std::lock_guard lock(m_mutex);
    return m_current;
}

void Feed::run() {
    for (auto changes = m_freshness.waitForChanges(); !changes.empty();
         changes = m_freshness.waitForChanges()) {
        for (const Freshness::Change &change : changes)
            take(change);
    }
}

// A value may have come and grown old since the last look.
void Feed::take(const Freshness::Change &change) {
    if (change.isBrought)
        takeValue(change);
    if (change.quality != Quality::Good)
        takeAge(change);
}

// Most reads bring what is known already. What is old is not looked at: a write that was queued
// since may lie in the image without the PLC having it.
void Feed::takeValue(const Freshness::Change &change) {
    const Variable &variable = m_panel.variables[change.variable];
    const ValueChange &last = m_current[change.variable];
    QByteArray data = readValue(*m_drivers.at(variable.line), variable);
    if (last.quality == Quality::Good && data == last.data)
        return;
    QString text = valueText(variable, data);
    tell({change.variable, std::move(data), std::move(text), Quality::Good, change.lastGood});
}

void Feed::takeAge(const Freshness::Change &change) {
    ValueChange aged = m_current[change.variable];
    aged.quality = change.quality;
    aged.at = change.oldSince;
    tell(aged);
}

void Feed::tell(const ValueChange &change) {
    {
        const std::lock_guard lock(m_mutex);
        m_current[change.variable] = change;
    }
    for (const ValueListener &listener : m_listeners)
        listener(change);
}
