// Chooses what goes out next: writes, one-shot reads, cyclic reads, with a limit on each run.
#include "driver/Communication_Protocol.h"
#include "driver/stations.h"
#include "modbus/read_request.h"
#include "modbus/write_request.h"
#include "plc_driver.h"
#include "remote/remote_frames.h"

#include <algorithm>

namespace {

// A queue is served while its burst counter is at most this: five requests in a row.
constexpr int BurstLimit = 4;

// Everything below runs with listMutex held by ComCommunication.

bool isRemoteMode() {
    return PLC_driver.comInfo->remoteMode != 0;
}

// Whether a read can go out: its station is on, and there is a request for its area.
bool canBeRead(const RW_VAR &var) {
    return !Ethernetcontains(var.station) && (isRemoteMode() || isReadableArea(var.regType));
}

bool canBeWritten(const RW_VAR &var) {
    return !Ethernetcontains(var.station);
}

// Drops heads that cannot be sent, without a report.
void dropUnsendable(QList<RW_VAR> &queue, bool (*canBeSent)(const RW_VAR &)) {
    while (!queue.isEmpty() && !canBeSent(queue.constFirst())) {
        queue.removeFirst();
    }
}

// Each of the three below builds the request of its list's head, which stays where it is until its
// exchange ends; false when the list has nothing to send.

bool sendWrite() {
    if (PLC_driver.writeBurst > BurstLimit) {
        return false;
    }
    dropUnsendable(PLC_driver.writeList, canBeWritten);
    if (PLC_driver.writeList.isEmpty()) {
        return false;
    }
    RW_VAR var = PLC_driver.writeList.constFirst();
    if (isRemoteMode()) {
        Remote_WriteVar(&var);
    } else {
        WriteRegister(&var);
    }
    PLC_driver.listKind = WriteQueue;
    ++PLC_driver.writeBurst;
    return true;
}

bool sendOnceRead() {
    if (PLC_driver.onceBurst > BurstLimit) {
        return false;
    }
    dropUnsendable(PLC_driver.onceReadList, canBeRead);
    if (PLC_driver.onceReadList.isEmpty()) {
        return false;
    }
    RW_VAR var = PLC_driver.onceReadList.constFirst();
    if (isRemoteMode()) {
        Remote_ReadVar(&var);
    } else {
        ReadRegister(&var);
    }
    PLC_driver.listKind = OnceReadQueue;
    ++PLC_driver.onceBurst;
    return true;
}

void reverse(QList<RW_VAR> &list, int from, int to) {
    for (; from < to - 1; ++from, --to) {
        list.swapItemsAt(from, to - 1);
    }
}

// Moves the first `count` entries to the end, in their order, in linear time. Only pointers are
// swapped: every entry keeps its address.
void rotate(QList<RW_VAR> &list, int count) {
    reverse(list, 0, count);
    reverse(list, count, list.size());
    reverse(list, 0, list.size());
}

// Turns the cyclic list until its head can be sent; when nothing can, it stays as it is.
bool turnToReadable(QList<RW_VAR> &list) {
    const auto readable = std::find_if(list.cbegin(), list.cend(), canBeRead);
    if (readable == list.cend()) {
        return false;
    }
    if (readable != list.cbegin()) {
        rotate(list, static_cast<int>(readable - list.cbegin()));
    }
    return true;
}

// In remote mode the head is not marked, so it stays where it is and is read again.
bool sendCyclicRead() {
    if (!turnToReadable(PLC_driver.readList)) {
        return false;
    }
    RW_VAR var = PLC_driver.readList.constFirst();
    if (isRemoteMode()) {
        Remote_ReadVar(&var);
    } else {
        PLC_driver.readList.first().result = ReadInFlight;
        ReadRegister(&var);
    }
    PLC_driver.listKind = CyclicList;
    PLC_driver.writeBurst = 0;
    PLC_driver.onceBurst = 0;
    return true;
}

void noteIdle() {
    PLC_driver.writeBurst = 0;
    PLC_driver.onceBurst = 0;
    PLC_driver.comInfo->scanDone = 1;
}

} // namespace

Protocol *ComCommunication() {
    if (!PLC_driver.requestList.isEmpty()) {
        return &PLC_driver.requestList.first();
    }
    const QMutexLocker lists(&PLC_driver.listMutex); // the three lists, listKind, burst counters
    if (!sendWrite() && !sendOnceRead() && !sendCyclicRead()) {
        noteIdle();
        return nullptr;
    }
    return &PLC_driver.requestList.first();
}
