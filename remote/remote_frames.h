// The frames that replace Modbus requests while the port works in remote mode.
#pragma once

#include "driver/records.h"

// Each appends one frame to requestList: a header of 21 bytes with the variable's identifying
// fields as they stand, big-endian, then a write's value, then one byte of additive checksum. The
// reply has Modbus RTU form. The variable is not changed. Communication thread, with listMutex
// held; Remote_WriteVar also copies the value into the image and takes imageMutex.
Q_DECL_EXPORT void Remote_ReadVar(RW_VAR *var);
Q_DECL_EXPORT void Remote_WriteVar(RW_VAR *var);
