#include "panel/line/request_ledger.h"

#include <limits>

int RequestLedger::open(int station) {
    const std::lock_guard lock(m_mutex);
    const End state = m_closed                            ? End::RunOver
                      : m_isDeviceGone                    ? End::Gone
                      : m_stationsOff.count(station) != 0 ? End::Failed
                                                          : End::Waiting;
    // A panel runs for years.
    m_lastItemId = m_lastItemId < std::numeric_limits<int>::max() ? m_lastItemId + 1 : 1;
    m_entries[m_lastItemId] = {station, state};
    return m_lastItemId;
}

bool RequestLedger::isWaiting(int itemId) {
    const std::lock_guard lock(m_mutex);
    return m_entries.at(itemId).state == End::Waiting;
}

void RequestLedger::refused(int itemId) {
    const std::lock_guard lock(m_mutex);
    m_entries.at(itemId).state = End::Refused;
}

RequestLedger::End RequestLedger::waitForEnd(int itemId) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return m_entries.at(itemId).state != End::Waiting; });
    const End end = m_entries.at(itemId).state;
    m_entries.erase(itemId);
    return end;
}

int RequestLedger::finished(void *context, int ownerId, int itemId, int status) {
    auto *ledger = static_cast<RequestLedger *>(context);
    const std::lock_guard lock(ledger->m_mutex);
    const auto entry = ledger->m_entries.find(itemId);
    if (ownerId == OwnerId && entry != ledger->m_entries.end() &&
        entry->second.state == End::Waiting) {
        entry->second.state = status == 1 ? End::Answered : End::Failed;
        ledger->m_changed.notify_all();
    }
    return 0;
}

void RequestLedger::stationOff(int station) {
    const std::lock_guard lock(m_mutex);
    m_stationsOff.insert(station);
    for (auto &[itemId, entry] : m_entries) {
        if (entry.station == station && entry.state == End::Waiting)
            entry.state = End::Failed;
    }
    m_changed.notify_all();
}

void RequestLedger::stationOn(int station) {
    const std::lock_guard lock(m_mutex);
    m_stationsOff.erase(station);
}

void RequestLedger::endAll(End state) {
    for (auto &[itemId, entry] : m_entries) {
        if (entry.state == End::Waiting)
            entry.state = state;
    }
    m_changed.notify_all();
}

void RequestLedger::deviceGone() {
    const std::lock_guard lock(m_mutex);
    m_isDeviceGone = true;
    endAll(End::Gone);
}

void RequestLedger::deviceBack() {
    const std::lock_guard lock(m_mutex);
    m_isDeviceGone = false;
    m_changed.notify_all();
}

void RequestLedger::waitForDevice() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return !m_isDeviceGone || m_closed; });
}

void RequestLedger::close() {
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    endAll(End::RunOver);
}

bool RequestLedger::isClosed() {
    const std::lock_guard lock(m_mutex);
    return m_closed;
}
