/// @file
/// The host's one include: every entry point of the driver.
///
/// A host loads libmodbus_rtu_driver.so, calls the set-up functions, registers variables, and runs
/// a loop on one thread: ComCommunication -> send the frame -> collect the reply -> DataCom.
/// Screens on any other threads read with GetRegisterData and write with SetRegisterData meanwhile.
///
/// All names are plain (extern "C"), so dlsym finds them as they stand; decltype(&SetComInfo) is
/// the type of the pointer. Nothing throws; failures are the integer results described here.
/// Pointers are not checked: null is permitted only where it says so.
///
/// The state belongs to the loaded library, and two loads of one file share it. A host with several
/// lines loads a private copy of the file for each; every copy has a port of its own.
///
/// A station goes out as one byte: of a larger number the low eight bits, so that 256 is a
/// broadcast. Of a reply the driver compares station, length and checksum. The reply also names its
/// function, a read its byte count, an acknowledgement its register and count: a host compares them
/// with the request and hands in no reply where they differ, or a late answer to another request
/// may be stored.
#pragma once

#include "driver/com_info.h"
#include "driver/records.h"
#include "lists/vardef.h"

#include <QByteArray>
#include <QList>
#include <QString>

extern "C" {

/// @name Set-up: before the loop and the screens start; no lock is taken.
/// @{

/// Stores the address of the host's port block and clears its resetField2 and resetField1. Must
/// come before every entry point that touches the port: they read the block without checking for
/// it.
Q_DECL_EXPORT void SetComInfo(ComInfo *info);

/// Registers the two reports of com_info.h; either may be null.
Q_DECL_EXPORT void RegistCallBackFuncIntf(FinishCallback finish, FailCallback fail);

/// Stores the host's local bit memory, word memory and third memory in LB, LW and RWI, which the
/// driver never reads: they are there for other modules of the host.
Q_DECL_EXPORT void FlashLocalRegister(void *bits, void *words, void *third);

/// Always 1.
Q_DECL_EXPORT int QueryFinishFlag();

/// @}
/// @name The communication thread: the two calls of one turn, never at the same time.
/// @{

/// The request to send next, or null when there is nothing to send: ask again on the next turn.
/// Send frame's first frameLength bytes and wait for replyLength bytes (none when it is 0). The
/// record stays valid until DataCom removes it and must not be changed. Takes listMutex, and inside
/// it stationMutex, or imageMutex and storageMutex for a write that is copied into the image.
Q_DECL_EXPORT Protocol *ComCommunication();

/// Hands in what came back, `length` bytes, possibly none (reply may then be null). Returns the
/// driver's record of the variable whose exchange ended last; it belongs to this thread. Its
/// result:
///
///     1    good reply; also when no request was pending
///     0    bad reply, the request will be sent again
///     100  good reply on the remote area (the request's portId is not this port's), not stored
///     10 + n, 40 + n, 70 + n     given up: invalid reply, no reply, wrong length
///     110 + n, 140 + n, 170 + n  the same on the remote area
///
/// where n is ownerId + 1 for an ownerId of 0 to 11 and 1 for any other. The other fields are those
/// of the finished or given-up variable, `value` empty; they stay as they were while its exchange
/// goes on, after a cyclic read in remote mode, and after one whose list was built anew meanwhile.
/// Calls the callbacks. Takes listMutex; imageMutex and storageMutex while data are stored.
Q_DECL_EXPORT RW_VAR *DataCom(QByteArray *reply, int length);

/// Appends a copy of a variable in span form to the cyclic list, as it is. Returns the list's
/// length. Takes no lock, so that a callback may call it. Otherwise never while another thread is
/// in ComCommunication, DataCom or ReCreatReadVarList.
Q_DECL_EXPORT int AddListReadVar(RW_VAR *var);

/// @}
/// @name Any thread.
/// @{

/// Switches a station off (flag 0) or on (flag 1); a negative station switches all stations on, any
/// other flag does nothing. Queued requests of a station that is off are dropped without a report
/// when they reach the head of their queue, cyclic ones wait, a request already built still goes
/// out. Takes stationMutex.
Q_DECL_EXPORT void EnableEthernet(int station, int flag);

/// The same under its other name.
Q_DECL_EXPORT void EnCommStation(int station, int flag);

/// Address text in units of the register type: "100", or "12.3" for the bit types (12 x 8 + 3).
/// Negative: not an address. No lock.
Q_DECL_EXPORT int PLCAddressChangeIntef(int regType, QString &addressText);

/// Replaces the cyclic list by block requests that cover the definitions, ordered by station, area
/// and register, each of at most blockLimit registers; a blockLimit of 1 joins equal addresses only
/// and cuts nothing. Invalid addresses, station 0, and what would become more than 65 536 requests
/// are skipped. Restarts the pass (scanDone 0) unless there are no definitions.
/// Returns the number of requests; 0 with an empty list too when blockLimit is below 1. Takes
/// listMutex.
Q_DECL_EXPORT int ReCreatReadVarList(QList<VARDEF> *definitions);

/// Queues a read that is made once. mode 1: as it is, in span form, always. Any other mode: host
/// form; the address text is parsed, the record brought into span form in place and cut at
/// blockLimit; what the queue already holds is not added again, and what would make it longer than
/// 1024 is dropped. Set portId to the port's own. Returns the queue's length; 0 when the record is
/// refused (invalid address, station 0, blockLimit below 1). Takes listMutex.
Q_DECL_EXPORT int AddListOnceReadVar(RW_VAR *var, int mode);

/// Queues a write in host form: count in elements for every type, but 1 for bits and bytes, of
/// which only the first goes to the PLC; value with 1, 1, 2, 4 or 8 bytes for each (bit, byte,
/// word, 32-bit, 64-bit); isWrite 1; portId the port's own (a byte write of another port would
/// clear the rest of its register). mode 1, or a queue of fewer than two: always appended.
/// Otherwise it replaces the pending write of the same station, type, address and count, the one in
/// flight aside; what would make the queue longer than 1024 is dropped. The record is not changed.
/// Returns the queue's length. Takes listMutex.
Q_DECL_EXPORT int AddListWriteVar(RW_VAR *var, int mode);

/// Writes a value: to the PLC when commMode is 2, otherwise into the image alone. Shape of data:
///
///     bit types     one byte a bit, nonzero is 1          count in bits
///     byte types    two bytes a value, the first counts   count in bytes
///     other types   each register low byte first,         count in registers
///                   the least significant register first
///
/// For the image alone, bytes follow one another without the second byte. Missing data count as
/// zero. Returns 0 for an invalid address. To the PLC: also 0 for area 6 and unknown types, a count
/// below 1, a blockLimit below 1 (words and wider), data above 16 MiB, and a value that would
/// become more than 65,536 queued writes (one for each bit or byte, blockLimit elements of the
/// wider types); otherwise the write queue's length, which drops what it has no room for. For the
/// image alone: 1, whether the type can be written or not. Station 0 takes words and wider types
/// only: a bit or byte would have to be read first. hostText may be null. To the PLC, `data` is
/// copied before anything is queued. Takes listMutex for each piece, storageMutex and imageMutex
/// for the image, not together: the communication thread may send the first piece while later ones
/// are being queued.
Q_DECL_EXPORT int SetRegisterData(QString *hostText, int regType, QString *addressText, int station,
                                  QByteArray *data, int count, int ownerId, int itemId);

/// Reads a value from the image, without the PLC. What no reply and no write has reached reads as
/// zero; the image grows to hold what was asked for. The answer replaces what `answer` held:
///
///     bit types     count bytes, each 0 or 1              count in bits
///     byte types    two bytes a value, the second zero    count in bytes
///     other types   whole elements, each register low     count in registers
///                   byte first, least significant first
///
/// Returns 0 when the address is invalid or the read goes beyond 16 MiB, with 2 x count zero bytes
/// as the answer, none when that is more than 16 MiB itself. Otherwise returns 1; the answer is
/// empty for an unknown type and for a count below 1. `hostText` is not read. Takes storageMutex,
/// then imageMutex and storageMutex.
Q_DECL_EXPORT int GetRegisterData(QString *hostText, int regType, QString addressText, int station,
                                  QByteArray *answer, int count);

/// @}

} // extern "C"
