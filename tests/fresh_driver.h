// The one way back to the driver as it is after loading, for tests, soak and fuzz targets.
#pragma once

#include "driver/Communication_Protocol.h"

// Empties the lists, the counters, the station table and the image, and forgets the host: its
// settings and callbacks are set anew before the next call. No other thread is in the driver.
inline void resetDriver() {
    Communication_Protocol &driver = PLC_driver;
    driver.comInfo = nullptr;
    driver.finishCallback = nullptr;
    driver.failCallback = nullptr;
    driver.readList.clear();
    driver.writeList.clear();
    driver.onceReadList.clear();
    driver.requestList.clear();
    driver.disabledStations.clear();
    driver.currentVar = RW_VAR();
    driver.listKind = NoList;
    driver.writeBurst = 0;
    driver.onceBurst = 0;
    driver.passCount = 0;
    driver.commFailed = false;
    DataStorage.clear();
}
