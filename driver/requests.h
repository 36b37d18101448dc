// Built frames on their way into requestList.
#pragma once

#include "driver/records.h"

#include <QByteArray>

// Append a frame to requestList with the reply it expects, and expect one frame for its variable
// (ComInfo.frameCount 1, frameIndex 0). The replies have Modbus RTU form in remote mode too.
// Communication thread, with listMutex held.

// A read: count registers, high byte first, between a head of 3 bytes and the CRC.
void queueReadRequest(const QByteArray &frame, const RW_VAR &var);

// A write: an acknowledgement of 8 bytes, none from station 0.
void queueWriteRequest(const QByteArray &frame, const RW_VAR &var);
