// Read requests (function codes 3 and 4) and the check of every reply.
#pragma once

#include "driver/records.h"

#include <QByteArray>

// Append the read request of a variable in span form to requestList and expect one frame
// (frameCount, frameIndex). Areas other than 6 to 8 append nothing and change nothing. The variable
// is not changed. Communication thread, with listMutex held. Both do the same.
Q_DECL_EXPORT void ReadRegister(RW_VAR *var);
Q_DECL_EXPORT void ReadAnalog(RW_VAR *var);

// A reply of fewer bytes is bad whatever it holds.
constexpr int ShortestReply = 6;

// Results of CheckGetData.
enum Verdict : int { BadReply = 0, DataToStore = 1, NothingToStore = 2 };

// True for the areas that ReadRegister can build a request for.
bool isReadableArea(int regType);

// Judges a reply against the head of requestList, which must not be empty: bad when it is short,
// from a foreign station or has a wrong CRC; nothing to store for a write or a broadcast. The size
// of the array counts, not `length`. Communication thread; no lock.
Q_DECL_EXPORT int CheckGetData(QByteArray *reply, int length);
