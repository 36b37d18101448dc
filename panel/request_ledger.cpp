#include "request_ledger.h"

int RequestLedger::open(int station) {
    const std::lock_guard lock(m_mutex);
    const bool hopeless = m_closed || m_stationsOff.count(station) != 0;
    m_entries[++m_lastItemId] = {station, hopeless ? State::Failed : State::Waiting};
    return m_lastItemId;
}

bool RequestLedger::waitForEnd(int itemId) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return m_entries.at(itemId).state != State::Waiting; });
    const bool answered = m_entries.at(itemId).state == State::Answered;
    m_entries.erase(itemId);
    return answered;
}

int RequestLedger::finished(void *context, int ownerId, int itemId, int status) {
    auto *ledger = static_cast<RequestLedger *>(context);
    const std::lock_guard lock(ledger->m_mutex);
    const auto entry = ledger->m_entries.find(itemId);
    if (ownerId == OwnerId && entry != ledger->m_entries.end() &&
        entry->second.state == State::Waiting) {
        entry->second.state = status == 1 ? State::Answered : State::Failed;
        ledger->m_changed.notify_all();
    }
    return 0;
}

void RequestLedger::stationOff(int station) {
    const std::lock_guard lock(m_mutex);
    m_stationsOff.insert(station);
    for (auto &[itemId, entry] : m_entries) {
        if (entry.station == station && entry.state == State::Waiting)
            entry.state = State::Failed;
    }
    m_changed.notify_all();
}

void RequestLedger::stationOn(int station) {
    const std::lock_guard lock(m_mutex);
    m_stationsOff.erase(station);
}

void RequestLedger::close() {
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    for (auto &[itemId, entry] : m_entries) {
        if (entry.state == State::Waiting)
            entry.state = State::Failed;
    }
    m_changed.notify_all();
}
