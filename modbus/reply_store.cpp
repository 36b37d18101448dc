// Copies the registers of a reply into the image, or into the write that waits for them.
#include "modbus/reply_store.h"

#include "driver/Communication_Protocol.h"
#include "image/store.h"
#include "modbus/read_request.h"
#include "modbus/write_request.h"

namespace {

// The data bytes that the request asked for, as far as the reply holds them.
QByteArray dataOf(const QByteArray &reply, const Protocol &request) {
    return request.dataLength > 0 ? reply.mid(request.dataOffset, request.dataLength)
                                  : QByteArray();
}

// High byte first on the line, low byte first in the image; a missing low byte is zero.
void storeRegisters(const RW_VAR &span, const QByteArray &data) {
    const int size = data.size() + data.size() % 2;
    const QMutexLocker storage(&PLC_driver.storageMutex); // DataStorage itself
    char *image = writableBytes(span.station, span.regType, qint64{span.address} * 2, size);
    if (image == nullptr) {
        return;
    }
    for (int i = 0; i < size; i += 2) {
        image[i] = i + 1 < data.size() ? data.at(i + 1) : '\0';
        image[i + 1] = data.at(i);
    }
}

} // namespace

void SaveToLocalDataErea(QByteArray *reply) {
    const Protocol &request = PLC_driver.requestList.constFirst();
    const RW_VAR &span = request.var;
    if (span.saveMode == BitReadHalf) {
        SpecialRegisterSave(reply);
        return;
    }
    if (span.saveMode == ByteReadHalf) {
        SpecialRegisterSaveByte(reply);
        return;
    }
    ControlInformationM room{span.station, span.regType, span.address, span.count};
    checkTheStorage(room);
    if (fitsTheStorage(room) && isReadableArea(span.regType)) {
        storeRegisters(span, dataOf(*reply, request));
    }
}
