// Read requests (function codes 3 and 4) and the check of every reply.
#pragma once

#include "driver/records.h"

#include <QByteArray>

// Append the read request of a variable in span form to requestList and expect one frame
// (frameCount, frameIndex). Areas other than 6 to 8 append nothing and change nothing. The variable
// is not changed. Communication thread, with listMutex held. Both do the same.
Q_DECL_EXPORT void ReadRegister(RW_VAR *var);
Q_DECL_EXPORT void ReadAnalog(RW_VAR *var);

// True for the areas that ReadRegister can build a request for.
bool isReadableArea(int regType);

// Judges a reply against the head of requestList, which must not be empty: 0 bad (short, foreign
// station, CRC), 1 good with data to store, 2 good with nothing to store (write or broadcast). The
// size of the array counts, not `length`. Communication thread; no lock.
Q_DECL_EXPORT int CheckGetData(QByteArray *reply, int length);
