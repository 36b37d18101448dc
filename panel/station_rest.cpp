#include "station_rest.h"

namespace {

// Flags of EnCommStation.
constexpr int Off = 0;
constexpr int On = 1;

} // namespace

bool StationRest::switchOff(int station) {
    if (m_time.count() == 0)
        return false;
    m_wakeAt[station] = Clock::now() + m_time;
    m_driver.EnCommStation(station, Off);
    m_ledger.stationOff(station);
    return true;
}

void StationRest::wakeStations() {
    const auto now = Clock::now();
    for (auto place = m_wakeAt.begin(); place != m_wakeAt.end();) {
        if (now < place->second) {
            ++place;
            continue;
        }
        m_driver.EnCommStation(place->first, On);
        m_ledger.stationOn(place->first);
        place = m_wakeAt.erase(place);
    }
}
