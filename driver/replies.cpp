// Takes the reply of an exchange: counts failures, finishes the variable in its list, reports it.
#include "driver/replies.h"

#include "driver/Communication_Protocol.h"
#include "driver/wrapping.h"
#include "plc_driver.h"

#include <algorithm>

namespace {

// Status and flag of the host's callbacks.
constexpr int StatusDone = 1;
constexpr int StatusGivenUp = 2;
constexpr int FailFlag = 1;

enum class Step { Retry, NextFrame, Finished, GivenUp };

bool isLocal(const RW_VAR &var) {
    return var.portId == PLC_driver.comInfo->portId;
}

// Everything from here to DataCom runs with listMutex held by it.

Step countFailure() {
    ComInfo &info = *PLC_driver.comInfo;
    info.retryCount = wrappingAdd(info.retryCount, 1);
    if (info.retryCount <= info.retryLimit) {
        return Step::Retry;
    }
    PLC_driver.commFailed = true;
    PLC_driver.passCount = 0;
    info.scanDone = 0;
    info.retryCount = 0;
    PLC_driver.requestList.clear();
    return Step::GivenUp;
}

// A pass is complete after more finished local requests than the cyclic list has entries.
void countForPass() {
    if (PLC_driver.comInfo->scanDone != 0) {
        return;
    }
    ++PLC_driver.passCount;
    if (PLC_driver.passCount > PLC_driver.readList.size()) {
        PLC_driver.passCount = 0;
        PLC_driver.comInfo->scanDone = 1;
    }
}

Step countGoodReply(bool local) {
    ComInfo &info = *PLC_driver.comInfo;
    PLC_driver.commFailed = false;
    info.frameIndex = wrappingAdd(info.frameIndex, 1);
    const bool finished = info.frameIndex >= info.frameCount;
    if (finished && local) {
        countForPass();
    }
    PLC_driver.requestList.removeFirst();
    return finished ? Step::Finished : Step::NextFrame;
}

bool isSameHostRequest(const RW_VAR &a, const RW_VAR &b) {
    return a.ownerId == b.ownerId && a.itemId == b.itemId;
}

// Reports the head of a queue. While a later entry of the same host request waits, that one reports
// its success; a failure is reported at once, for all of them.
void reportHead(const QList<RW_VAR> &queue) {
    const RW_VAR &head = queue.constFirst();
    const auto isSame = [&head](const RW_VAR &later) {
        return isSameHostRequest(later, head);
    };
    const bool later = std::any_of(queue.cbegin() + 1, queue.cend(), isSame);
    if (PLC_driver.finishCallback == nullptr || (later && !PLC_driver.commFailed)) {
        return;
    }
    PLC_driver.finishCallback(PLC_driver.comInfo->hostContext, head.ownerId, head.itemId,
                              PLC_driver.commFailed ? StatusGivenUp : StatusDone);
}

void finishQueueHead(QList<RW_VAR> &queue, bool reported) {
    if (queue.isEmpty()) {
        return;
    }
    if (reported) {
        reportHead(queue);
    }
    passRetValue(queue.constFirst(), PLC_driver.currentVar);
    queue.removeFirst();
}

// Only a head that is marked in flight was read; it moves to the end of the list.
void finishCyclicHead() {
    QList<RW_VAR> &list = PLC_driver.readList;
    if (list.isEmpty() || list.constFirst().result != ReadInFlight) {
        return;
    }
    list.first().result = 0;
    passRetValue(list.constFirst(), PLC_driver.currentVar);
    list.move(0, list.size() - 1);
}

void finishVariable(bool local) {
    switch (PLC_driver.listKind) {
    case WriteQueue:
        finishQueueHead(PLC_driver.writeList, true);
        break;
    case OnceReadQueue:
        finishQueueHead(PLC_driver.onceReadList, local);
        break;
    case CyclicList:
        finishCyclicHead();
        break;
    default:
        break;
    }
}

// Removes what waits for the same host request as the variable that was given up. The entries that
// stay keep their place and their address.
void dropDuplicates(QList<RW_VAR> &queue) {
    const RW_VAR &given = PLC_driver.currentVar;
    const bool anyStation = PLC_driver.comInfo->useVarStation == 0;
    for (int i = 0; i < queue.size();) {
        const RW_VAR &queued = queue.at(i);
        const bool sameStation = anyStation || queued.station == given.station;
        if (isSameHostRequest(queued, given) && sameStation) {
            queue.removeAt(i);
        } else {
            ++i;
        }
    }
}

void reportGiveUp() {
    if (PLC_driver.failCallback != nullptr) {
        QList<RW_VAR> list;
        PLC_driver.failCallback(&list, PLC_driver.currentVar.ownerId, FailFlag);
    }
    if (PLC_driver.listKind == WriteQueue) {
        dropDuplicates(PLC_driver.writeList);
    } else if (PLC_driver.listKind == OnceReadQueue) {
        dropDuplicates(PLC_driver.onceReadList);
    }
}

} // namespace

void passRetValue(const RW_VAR &source, RW_VAR &target) {
    target = source;
    target.value.clear();
}

RW_VAR *DataCom(QByteArray *received, int length) {
    QByteArray nothing;
    QByteArray *reply = received != nullptr ? received : &nothing;
    RW_VAR &current = PLC_driver.currentVar;
    current.result = GoodReply;
    if (PLC_driver.requestList.isEmpty()) {
        return &current;
    }
    const bool local = isLocal(PLC_driver.requestList.constFirst().var);
    const int code =
        local ? DealDataOfLocalArea(reply, length) : DealDataOfRemoteArea(reply, length);
    const bool good = code == GoodReply || code == RemoteReply;

    const QMutexLocker lists(&PLC_driver.listMutex); // lists, counters and currentVar, to the end
    const Step step = good ? countGoodReply(local) : countFailure();
    if (step == Step::Finished || step == Step::GivenUp) {
        finishVariable(local);
    }
    if (step == Step::GivenUp) {
        reportGiveUp();
    }
    current.result = step == Step::Retry ? RetryPending : code;
    return &current;
}
