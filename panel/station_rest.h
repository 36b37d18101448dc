// Leaves a station alone for a while after it did not answer, so that the line's time goes to the
// others. On the communication thread.
#pragma once

#include "driver_library.h"
#include "request_ledger.h"

#include <chrono>
#include <map>

class StationRest {
public:
    // Driver and ledger outlive it; a time of 0 never switches a station off.
    StationRest(const Driver &driver, RequestLedger &ledger, std::chrono::seconds time)
        : m_driver(driver), m_ledger(ledger), m_time(time) {}

    // False when the station is not left alone.
    bool switchOff(int station);
    // Switches the stations on again whose time is over.
    void wakeStations();
    bool isAnyResting() const { return !m_wakeAt.empty(); }

private:
    using Clock = std::chrono::steady_clock;

    const Driver &m_driver;
    RequestLedger &m_ledger;
    std::chrono::seconds m_time;
    std::map<int, Clock::time_point> m_wakeAt; // by station
};
