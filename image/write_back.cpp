// Copies written values into the image.
#include "image/write_back.h"

#include "driver/Communication_Protocol.h"
#include "driver/register_types.h"
#include "image/store.h"

#include <algorithm>

namespace {

// The byte of a value, zero where it is too short.
char valueByte(const QByteArray &value, int index) {
    return index < value.size() ? value.at(index) : '\0';
}

// One bit for each byte of the value; the other bits of the first and last image byte stay. Bits
// have no size of their own in the bound of a request, so those beyond it are left out here.
void writeBits(const RW_VAR &var) {
    const qint64 end = std::min(qint64{var.address} + var.count, qint64{MaxAreaBytes} * 8);
    if (var.address < 0 || end <= var.address) {
        return;
    }
    const int first = var.address / 8;
    const qint64 last = (end - 1) / 8;
    char *bytes = writableBytes(var.station, getPlcReg(var.regType), first, last - first + 1);
    for (int i = 0; i < end - var.address; ++i) {
        const int bit = var.address % 8 + i;
        const int mask = 1 << (bit % 8);
        char &byte = bytes[bit / 8];
        const bool set = valueByte(var.value, i) != 0;
        byte = static_cast<char>(set ? byte | mask : byte & ~mask);
    }
}

// Whole elements, byte for byte: value and image have the same order.
void writeElements(const RW_VAR &var) {
    const int width = bytesPerElement(widthOf(var.regType));
    const qint64 offset = qint64{var.address} * width;
    const qint64 size = qint64{var.count} * width;
    char *bytes = writableBytes(var.station, getPlcReg(var.regType), offset, size);
    if (bytes == nullptr) {
        return;
    }
    const qint64 given = std::min<qint64>(size, var.value.size());
    std::copy_n(var.value.constData(), given, bytes);
    std::fill_n(bytes + given, size - given, '\0');
}

} // namespace

void WriteDataToLocal(RW_VAR *var) {
    ControlInformationM request{var->station, var->regType, var->address, var->count};
    checkTheStorage(request);
    if (!fitsTheStorage(request) || !isWritableType(var->regType)) {
        return;
    }
    const QMutexLocker image(&PLC_driver.imageMutex);     // readers see all of the value or nothing
    const QMutexLocker storage(&PLC_driver.storageMutex); // DataStorage itself
    if (widthOf(var->regType) == Width::Bit) {
        writeBits(*var);
    } else {
        writeElements(*var);
    }
}
