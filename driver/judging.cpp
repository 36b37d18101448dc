// Judges one reply against the request in flight and names the result.
#include "driver/judging.h"

#include "driver/Communication_Protocol.h"
#include "driver/wrapping.h"
#include "modbus/read_request.h"
#include "modbus/reply_store.h"

#include <iterator>

namespace {

constexpr int UnknownKind = 200;
constexpr int LastOffsetOwner = 11;
constexpr int AnyLength = -1;

// Kinds of GetDriverReturnValue.
enum Kind : int {
    LocalInvalid = 1,
    LocalNone,
    LocalLength,
    RemoteInvalid = 5,
    RemoteNone,
    RemoteLength
};

// Its codes by kind; most get the offset of the owner on top.
struct KindCode {
    int code;
    bool plusOwner;
};
constexpr KindCode KindCodes[] = {{GoodReply, false},   {10, true},  {40, true},  {70, true},
                                  {RemoteReply, false}, {110, true}, {140, true}, {170, true}};

bool isReadHalf(const RW_VAR &var) {
    return var.saveMode == BitReadHalf || var.saveMode == ByteReadHalf;
}

bool isNoReply(const Protocol &request, int length) {
    return length == 0 && request.replyLength != 0;
}

bool isWrongLength(const Protocol &request, int length) {
    return request.replyLength != length && request.replyLength != AnyLength;
}

void storeLocal(QByteArray *reply) {
    const QMutexLocker image(&PLC_driver.imageMutex); // screens see the reply whole or not at all
    SaveToLocalDataErea(reply);
}

// A read half goes into the waiting write, with the head of the queue that screens append to.
void storeLocalReadHalf(QByteArray *reply) {
    const QMutexLocker lists(&PLC_driver.listMutex); // the head of writeList
    storeLocal(reply);
}

} // namespace

int DealDataOfLocalArea(QByteArray *reply, int length) {
    const Protocol &request = PLC_driver.requestList.constFirst();
    if (isNoReply(request, length)) {
        return GetDriverReturnValue(LocalNone);
    }
    if (isWrongLength(request, length)) {
        return GetDriverReturnValue(LocalLength);
    }
    switch (CheckGetData(reply, length)) {
    case DataToStore:
        if (isReadHalf(request.var)) {
            storeLocalReadHalf(reply);
        } else {
            storeLocal(reply);
        }
        return GoodReply;
    case NothingToStore:
        return GoodReply;
    default:
        return GetDriverReturnValue(LocalInvalid);
    }
}

int DealDataOfRemoteArea(QByteArray *reply, int length) {
    const Protocol &request = PLC_driver.requestList.constFirst();
    if (isNoReply(request, length)) {
        return GetDriverReturnValue(RemoteNone);
    }
    if (isWrongLength(request, length)) {
        return GetDriverReturnValue(RemoteLength);
    }
    if (CheckGetData(reply, length) == BadReply) {
        return GetDriverReturnValue(RemoteInvalid);
    }
    if (request.var.saveMode != BitReadHalf) {
        return RemoteReply;
    }
    const QMutexLocker lists(&PLC_driver.listMutex); // the head of writeList
    SaveToLocalDataErea(reply);
    return PLC_driver.comInfo->frameIndex == 1 ? RemoteReply : GoodReply;
}

int GetDriverReturnValue(int kind) {
    if (kind < 0 || kind >= static_cast<int>(std::size(KindCodes))) {
        return UnknownKind;
    }
    const KindCode &entry = KindCodes[kind];
    return entry.plusOwner ? SwitchErrorReturn(entry.code) : entry.code;
}

int SwitchErrorReturn(int base) {
    const int owner = PLC_driver.requestList.constFirst().var.ownerId;
    const bool hasOffset = owner >= 0 && owner <= LastOffsetOwner;
    return wrappingAdd(base, hasOffset ? owner + 1 : 1);
}
