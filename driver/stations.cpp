// Switches stations off and on.
#include "driver/stations.h"

#include "driver/Communication_Protocol.h"
#include "plc_driver.h"

namespace {

enum Flag : int { Disable = 0, Enable = 1 };

} // namespace

void EnableEthernet(int station, int flag) {
    const QMutexLocker stations(&PLC_driver.stationMutex); // disabledStations
    if (station < 0) {
        PLC_driver.disabledStations.clear();
    } else if (flag == Disable) {
        PLC_driver.disabledStations.insert(station, 0);
    } else if (flag == Enable) {
        PLC_driver.disabledStations.remove(station);
    }
}

void EnCommStation(int station, int flag) {
    EnableEthernet(station, flag);
}

bool Ethernetcontains(int station) {
    const QMutexLocker stations(&PLC_driver.stationMutex); // disabledStations
    return PLC_driver.disabledStations.contains(station);
}
