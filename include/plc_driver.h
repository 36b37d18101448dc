// The host's one include: every entry point of the driver.
//
// A host loads libmodbus_rtu_driver.so, calls the set-up functions, registers variables, and runs a
// loop on one thread: ComCommunication -> send the frame -> collect the reply -> DataCom. Screens
// on any other threads read with GetRegisterData and write with SetRegisterData meanwhile.
//
// All names are plain (extern "C"), so dlsym finds them as they stand; decltype(&SetComInfo) is the
// type of the pointer. Nothing throws; failures are the integer results described here.
#pragma once

#include "driver/com_info.h"
#include "driver/records.h"
#include "lists/vardef.h"

#include <QByteArray>
#include <QList>
#include <QString>

extern "C" {

// --- Set-up: before the loop and the screens start; no lock is taken. ---

// Stores the address of the host's port block and clears its resetField2 and resetField1. Must come
// before every entry point that touches the port: they read the block without checking for it.
Q_DECL_EXPORT void SetComInfo(ComInfo *info);

// Registers the two reports of com_info.h; either may be null.
Q_DECL_EXPORT void RegistCallBackFuncIntf(FinishCallback finish, FailCallback fail);

// Stores the host's local bit memory, word memory and third memory in LB, LW and RWI, which the
// driver never reads: they are there for other modules of the host.
Q_DECL_EXPORT void FlashLocalRegister(void *bits, void *words, void *third);

// Always 1.
Q_DECL_EXPORT int QueryFinishFlag();

// --- The communication thread: the two calls of one turn, never at the same time. ---

// The request to send next, or null when there is nothing to send: ask again on the next turn. Send
// frame's first frameLength bytes and wait for replyLength bytes (none when it is 0). The record
// stays valid until DataCom removes it and must not be changed. Takes listMutex.
Q_DECL_EXPORT Protocol *ComCommunication();

// Hands in what came back, `length` bytes, possibly none (reply may then be null). Returns the
// driver's record of the variable whose exchange ended last, with `result` set:
//   1 good, 100 good on the remote area, 0 failed and to be sent again, anything else given up.
// Calls the callbacks. Takes listMutex, and imageMutex while data are stored.
Q_DECL_EXPORT RW_VAR *DataCom(QByteArray *reply, int length);

// --- Any thread. ---

// Switches a station off (flag 0) or on (flag 1); a negative station switches all stations on.
// Queued requests of a disabled station are dropped without a report, cyclic ones wait. The two
// names do the same. Takes stationMutex.
Q_DECL_EXPORT void EnableEthernet(int station, int flag);
Q_DECL_EXPORT void EnCommStation(int station, int flag);

// Address text in units of the register type: "100", or "12.3" for the bit types (12 x 8 + 3).
// Negative: not an address.
Q_DECL_EXPORT int PLCAddressChangeIntef(int regType, QString &addressText);

// Appends a copy of a variable in span form to the cyclic list, as it is. Returns the list's
// length. Takes no lock, so that a callback may call it: never while another thread is in the
// driver.
Q_DECL_EXPORT int AddListReadVar(RW_VAR *var);

// Replaces the cyclic list by as few requests as cover the definitions, each at most blockLimit
// registers, ordered by station, area and register. Invalid addresses and station 0 are skipped.
// Returns the number of requests; 0 too when blockLimit is below 1. Takes listMutex.
Q_DECL_EXPORT int ReCreatReadVarList(QList<VARDEF> *definitions);

// Queues a read that is made once. mode 1: as it is, in span form. Any other mode: host form; the
// address text is parsed, the record brought into span form in place and cut at blockLimit, and
// what the queue already holds is not added again. Set portId to the port's own. Returns the
// queue's length, 0 when the record is refused. Takes listMutex.
Q_DECL_EXPORT int AddListOnceReadVar(RW_VAR *var, int mode);

// Queues a write in host form. mode 1: always appended. Any other mode: replaces the pending write
// of the same station, type, address and count, the one in flight aside. The record is not changed.
// Returns the queue's length. Takes listMutex.
Q_DECL_EXPORT int AddListWriteVar(RW_VAR *var, int mode);

// Writes a value: to the PLC when commMode is 2, otherwise into the image alone. Shape of data:
//   bit types     one byte a bit, nonzero is 1          count in bits
//   byte types    two bytes a value, the first counts   count in bytes
//   other types   each register low byte first,         count in registers
//                 the least significant register first
// Missing data count as zero. Returns 0 when nothing was written (bad address, area 6, count below
// 1), 1 for the image alone, otherwise the write queue's length. Takes listMutex, then imageMutex
// (never both).
Q_DECL_EXPORT int SetRegisterData(QString *hostText, int regType, QString *addressText, int station,
                                  QByteArray *data, int count, int ownerId, int itemId);

// Reads a value from the image, without the PLC. The answer replaces what `answer` held, shaped
// like the data of SetRegisterData: count bytes for bits, 2 x count for bytes and words, whole
// elements for 32-bit and 64-bit types. What no reply and no write has reached reads as zero.
// Returns 1, or 0 with a zero answer when the address is invalid or beyond the image's bound.
// `hostText` is not read. Takes storageMutex and imageMutex.
Q_DECL_EXPORT int GetRegisterData(QString *hostText, int regType, QString addressText, int station,
                                  QByteArray *answer, int count);

} // extern "C"
