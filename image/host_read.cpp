// The host's reads: answered from the image, never from the line.
#include "driver/Communication_Protocol.h"
#include "driver/register_types.h"
#include "image/store.h"
#include "lists/address.h"
#include "plc_driver.h"

#include <algorithm>

namespace {

// What a refused read leaves: zeros as a word read has them, none when that is too much.
void answerZeros(QByteArray &answer, int count) {
    const qint64 size = qint64{count} * 2;
    const bool bounded = size > 0 && size <= MaxAreaBytes;
    answer.fill('\0', bounded ? static_cast<int>(size) : 0);
}

// One byte for each bit.
void answerBits(QByteArray &answer, const QByteArray &area, int address, int count) {
    answer.fill('\0', count);
    char *bits = answer.data();
    for (int i = 0; i < count; ++i) {
        const qint64 bit = qint64{address} + i;
        if (bit / 8 >= area.size()) {
            return;
        }
        bits[i] = static_cast<char>(area.at(static_cast<int>(bit / 8)) >> (bit % 8) & 1);
    }
}

// Two bytes for each byte, the second zero.
void answerBytes(QByteArray &answer, const QByteArray &area, int address, int count) {
    answer.fill('\0', count * 2);
    char *items = answer.data();
    const int end = std::min(count, area.size() - address);
    for (int i = 0; i < end; ++i) {
        items[2 * i] = area.at(address + i);
    }
}

// Whole elements, byte for byte. Copied, not shared, so that storing the next reply copies no area.
void answerElements(QByteArray &answer, const QByteArray &area,
                    const ControlInformationM &request) {
    const Width width = widthOf(request.regType);
    const int elements = elementsOfCount(width, request.count);
    const int offset = request.address * bytesPerElement(width);
    const int size = std::min(elements * bytesPerElement(width), area.size() - offset);
    answer.append(area.constData() + offset, std::max(size, 0));
}

void answerFrom(const QByteArray &area, const ControlInformationM &request, QByteArray &answer) {
    switch (widthOf(request.regType)) {
    case Width::Bit:
        return answerBits(answer, area, request.address, request.count);
    case Width::Byte:
        return answerBytes(answer, area, request.address, request.count);
    case Width::Word:
    case Width::Double:
    case Width::Quad:
        return answerElements(answer, area, request);
    case Width::Unknown:
        return;
    }
}

} // namespace

int GetRegisterData(QString * /*hostText*/, int regType, QString addressText, int station,
                    QByteArray *answer, int count) {
    answer->clear();
    const int address = StringAddressToInt(regType, addressText);
    const int owner = stationOf(station);
    ControlInformationM request{owner, regType, address, count};
    if (address < 0 || count > MaxAreaBytes || !fitsTheStorage(request)) {
        answerZeros(*answer, count);
        return 0;
    }
    checkTheStorage(request);
    if (count < 1) {
        return 1;
    }
    const QMutexLocker image(&PLC_driver.imageMutex);     // a reply is seen whole or not at all
    const QMutexLocker storage(&PLC_driver.storageMutex); // DataStorage itself
    answerFrom(DataStorage[owner][getPlcReg(regType)], request, *answer);
    return 1;
}
