// The register image: what is where, and how its areas come to be and grow.
#pragma once

#include <QByteArray>
#include <QtGlobal>

// DataStorage[station][area] is one array of 16-bit registers, register n at bytes 2n (low) and 2n
// + 1 (high). Every register type is a view of these bytes in its own width:
//   bit A     bit A % 8 of byte A / 8        32-bit A   bytes 4A to 4A + 3
//   byte A    byte A                         64-bit A   bytes 8A to 8A + 7
//   word A    bytes 2A and 2A + 1            (least significant register first)
// Arrays only ever grow, with zero bytes. Area 8 counts from 0; its 5000 exist on the wire only.

// What to make room for.
struct ControlInformationM {
    int station = 0;
    int regType = 0; // 0 to 14; any other number is an area of its own, sized like words
    int address = 0; // in units of the type
    int count = 0;   // elements
};

// No area grows beyond this many bytes; a request that needs more is refused.
constexpr int MaxAreaBytes = 16 * 1024 * 1024;

// Makes sure that the area exists and holds the request's bytes; a refused request changes nothing.
// The record is not changed. Any thread; takes storageMutex, under imageMutex when a reply is
// stored.
Q_DECL_EXPORT void checkTheStorage(ControlInformationM &request);

// Whether the request is within the bound. Pure.
bool fitsTheStorage(const ControlInformationM &request);

// The bytes of a station's area to write to: `size` bytes from `offset`, the area lengthened with
// zeros when it ends before. Null when there is nothing to write or the bound forbids it. The
// caller holds imageMutex and storageMutex.
char *writableBytes(int station, int area, qint64 offset, qint64 size);
