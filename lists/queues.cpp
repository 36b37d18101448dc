// The one-shot read queue and the write queue.
#include "driver/Communication_Protocol.h"
#include "driver/wrapping.h"
#include "lists/address.h"
#include "plc_driver.h"

#include <algorithm>

namespace {

// Entries a queue holds before it drops what is added to it.
constexpr int QueueCapacity = 1024;

bool isSameSpan(const RW_VAR &a, const RW_VAR &b) {
    return a.station == b.station && a.regType == b.regType && a.address == b.address &&
           a.count == b.count;
}

bool isSameRead(const RW_VAR &a, const RW_VAR &b) {
    return a.ownerId == b.ownerId && a.itemId == b.itemId && isSameSpan(a, b);
}

bool isFull(const QList<RW_VAR> &queue) {
    return queue.size() >= QueueCapacity;
}

int appendLocked(QList<RW_VAR> &queue, const RW_VAR &var) {
    const QMutexLocker lists(&PLC_driver.listMutex); // the queue, against the communication thread
    queue.append(var);
    return queue.size();
}

void appendNewRead(const RW_VAR &read) {
    QList<RW_VAR> &queue = PLC_driver.onceReadList;
    const auto isEqual = [&read](const RW_VAR &queued) {
        return isSameRead(queued, read);
    };
    if (std::none_of(queue.cbegin(), queue.cend(), isEqual)) {
        queue.append(read);
    }
}

// Pieces of a count at a limit of at least 1; a small negative count makes one piece of itself.
int piecesOf(int count, int limit) {
    return count / limit + (count % limit != 0 ? 1 : 0);
}

// Leaves in the record the piece of a span that starts `offset` registers behind its first one.
void takePiece(RW_VAR &var, const RW_VAR &span, int offset, int limit) {
    const int left = span.count - offset;
    var.address = wrappingAdd(span.address, offset);
    var.count = std::min(left, limit);
}

// Queues a span in pieces while there is room; the record is left as the last piece either way.
void queuePieces(RW_VAR &var, int limit) {
    const RW_VAR span = var;
    const int pieces = piecesOf(span.count, limit);
    for (int k = 0; k < pieces && !isFull(PLC_driver.onceReadList); ++k) {
        takePiece(var, span, k * limit, limit);
        appendNewRead(var);
    }
    if (pieces > 0) {
        takePiece(var, span, (pieces - 1) * limit, limit);
    }
}

// Brings a one-shot read from host form into span form; false when it is refused.
bool toSpan(RW_VAR &var) {
    const int address = StringAddressToInt(var.regType, var.addressText);
    if (address < 0) {
        return false;
    }
    var.station = stationOf(var.station);
    var.address = address;
    var.saveMode = OrdinaryRequest;
    var.spare = 0;
    if (var.station == 0) {
        return false;
    }
    updateRwVar(&var);
    return true;
}

} // namespace

int AddListOnceReadVar(RW_VAR *var, int mode) {
    if (mode == 1) {
        return appendLocked(PLC_driver.onceReadList, *var);
    }
    const int limit = PLC_driver.comInfo->blockLimit;
    if (limit < 1 || !toSpan(*var)) {
        return 0;
    }
    const QMutexLocker lists(&PLC_driver.listMutex); // onceReadList: the pieces stay together
    queuePieces(*var, limit);
    return PLC_driver.onceReadList.size();
}

int AddListWriteVar(RW_VAR *var, int mode) {
    const QMutexLocker lists(&PLC_driver.listMutex); // writeList, against the communication thread
    QList<RW_VAR> &queue = PLC_driver.writeList;
    if (mode == 1 || queue.size() < 2) {
        queue.append(*var);
        return queue.size();
    }
    // The head may be in flight: it is never compared or replaced.
    const auto isEqual = [var](const RW_VAR &queued) {
        return isSameSpan(queued, *var);
    };
    const auto pending = std::find_if(queue.begin() + 1, queue.end(), isEqual);
    if (pending != queue.end()) {
        *pending = *var;
    } else if (!isFull(queue)) {
        queue.append(*var);
    }
    return queue.size();
}
