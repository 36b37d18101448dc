/// @file
/// The records that the whole driver passes around, and the table of register types.
///
/// Register types: element width x area. The area is regType % 3 + 6, and the word types 6, 7, 8
/// carry the same numbers as their areas.
///
///     element     area 6 (input)  area 7 (holding)  area 8 (holding from wire register 5000)
///     bit               0               1                 2
///     byte              3               4                 5
///     16-bit            6               7                 8
///     32-bit            9              10                11
///     64-bit           12              13                14
#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>

/// One variable in PLC memory, or one block of registers. It has two forms:
///  - host form: regType is 0 to 14; address and count are in units of the type;
///  - span form: regType is the area (6, 7 or 8), address the first 16-bit register and count the
///    number of registers. Reads travel in span form, writes stay in host form.
/// A plain value; a copy shares the text and byte payloads until one side writes to them.
struct RW_VAR {
    int ownerId = 0;    ///< first host identifier; 0 to 11 also select the offset of a failure code
    int itemId = 0;     ///< second host identifier; both together name a host request
    int isWrite = 0;    ///< 1 write, 0 read
    int remoteMode = 0; ///< ComInfo.remoteMode when the variable was registered
    int portId = 0;     ///< ComInfo.portId when the variable was registered
    int result = 0;     ///< in readList: -1 while its read is in flight; in currentVar: result code
    QString hostText;   ///< the host's own text, never interpreted
    QString addressText; ///< the address as the host wrote it; "a.b" for the bit types
    int regType = 0;     ///< 0 to 14 in host form, 6 to 8 in span form
    int address = 0;     ///< first element, from 0
    int station = 0;     ///< Modbus station; 0 addresses all stations: a write to it gets no reply
    int count = 0;       ///< elements; reads count registers for the 32-bit and 64-bit types too
    int saveMode = 0;    ///< 0; -1 / -2: read half of a bit / byte write
    int spare = 0;       ///< carried in remote frames only
    QByteArray value;    ///< a write's bytes, each register low byte first, elements ascending
};

// Values of saveMode: what the reply to a read is for.
constexpr int OrdinaryRequest = 0; ///< saveMode of all else
constexpr int BitReadHalf = -1;    ///< first half of a bit write
constexpr int ByteReadHalf = -2;   ///< first half of a byte write

/// One request frame and what is needed to judge and use its reply. Built whole by the framing
/// functions; only the data of a bit or byte write's second frame are filled in later.
struct Protocol {
    QByteArray frame;    ///< bytes as they go on the line, checksum included
    int frameLength = 0; ///< bytes in frame
    int replyLength = 0; ///< bytes expected; 0 none (broadcast write), -1 any number
    int dataOffset = 0;  ///< index of the first data byte in the reply
    int dataLength = 0;  ///< data bytes in the reply; 0 or less: nothing to store
    RW_VAR var;          ///< the variable served, as it stood when the frame was built
    int reserved1 = 0;   ///< not used
    int reserved2 = 0;   ///< not used
    int reserved3 = 0;   ///< not used
};

// Both records cross the library boundary, so their layout is fixed: fields in the order above, and
// none behind the last.
static_assert(offsetof(RW_VAR, ownerId) == 0 && offsetof(RW_VAR, itemId) == 4);
static_assert(offsetof(RW_VAR, isWrite) == 8 && offsetof(RW_VAR, remoteMode) == 12);
static_assert(offsetof(RW_VAR, portId) == 16 && offsetof(RW_VAR, result) == 20);
static_assert(offsetof(RW_VAR, hostText) == 24);
static_assert(offsetof(RW_VAR, addressText) == 24 + sizeof(QString));
static_assert(offsetof(RW_VAR, regType) == 24 + 2 * sizeof(QString));
static_assert(offsetof(RW_VAR, address) == offsetof(RW_VAR, regType) + 4);
static_assert(offsetof(RW_VAR, station) == offsetof(RW_VAR, regType) + 8);
static_assert(offsetof(RW_VAR, count) == offsetof(RW_VAR, regType) + 12);
static_assert(offsetof(RW_VAR, saveMode) == offsetof(RW_VAR, regType) + 16);
static_assert(offsetof(RW_VAR, spare) == offsetof(RW_VAR, regType) + 20);
static_assert(offsetof(RW_VAR, value) == offsetof(RW_VAR, regType) + 24);
static_assert(sizeof(RW_VAR) == offsetof(RW_VAR, value) + sizeof(QByteArray));
static_assert(offsetof(Protocol, frameLength) == sizeof(QByteArray));
static_assert(offsetof(Protocol, replyLength) == sizeof(QByteArray) + 4);
static_assert(offsetof(Protocol, dataOffset) == sizeof(QByteArray) + 8);
static_assert(offsetof(Protocol, dataLength) == sizeof(QByteArray) + 12);
static_assert(offsetof(Protocol, var) == sizeof(QByteArray) + 16);
static_assert(offsetof(Protocol, reserved1) == offsetof(Protocol, var) + sizeof(RW_VAR));
static_assert(sizeof(void *) != 4 || sizeof(Protocol) == 92, "Protocol is 92 bytes on the panel");

/// Kept for hosts that know the record; the driver neither fills nor reads a list of them.
struct EXTENDVAR {
    int extend1 = 0;  ///< not used
    int extend2 = 0;  ///< not used
    int extend3 = 0;  ///< not used
    QByteArray value; ///< not used
};

/// Area of a register type: 6, 7 or 8. A value outside 0 to 14 comes back unchanged.
Q_DECL_EXPORT int getPlcReg(int regType);

/// Registers to add to an address on the wire: 5000 for the types of area 8, otherwise 0.
Q_DECL_EXPORT int getOffsetAddress(int regType);
