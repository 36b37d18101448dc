// Creation and growth of the image's areas.
#include "image/store.h"

#include "driver/Communication_Protocol.h"
#include "driver/register_types.h"

namespace {

// Bytes an area needs for a request. The divisor of bits is one more than a byte has: their areas
// may end short of the last bit, which reads as 0 there and makes room for itself when it is
// written.
qint64 requiredBytes(const ControlInformationM &request) {
    const Width width = widthOf(request.regType);
    if (width == Width::Bit) {
        return request.count / 9 + request.address / 8;
    }
    return (qint64{request.address} + request.count) * bytesPerElement(width);
}

void growTo(QByteArray &area, qint64 size) {
    if (size > area.size()) {
        area.append(static_cast<int>(size) - area.size(), '\0');
    }
}

} // namespace

bool fitsTheStorage(const ControlInformationM &request) {
    return requiredBytes(request) <= MaxAreaBytes;
}

void checkTheStorage(ControlInformationM &request) {
    if (!fitsTheStorage(request)) {
        return;
    }
    const int area = getPlcReg(request.regType);
    const QMutexLocker storage(&PLC_driver.storageMutex); // DataStorage, from first look to last
    growTo(DataStorage[request.station][area], requiredBytes(request));
}

char *writableBytes(int station, int area, qint64 offset, qint64 size) {
    if (offset < 0 || size <= 0 || offset + size > MaxAreaBytes) {
        return nullptr;
    }
    QByteArray &bytes = DataStorage[station][area];
    growTo(bytes, offset + size);
    return bytes.data() + offset;
}
