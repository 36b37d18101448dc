// The host's write entry: cuts a value into write records and queues them.
#include "driver/Communication_Protocol.h"
#include "driver/register_types.h"
#include "driver/wrapping.h"
#include "image/store.h"
#include "image/write_back.h"
#include "lists/address.h"
#include "lists/cyclic_list.h"
#include "plc_driver.h"

#include <algorithm>

namespace {

constexpr int WriteToPlc = 2; // commMode

// The value to write and how it is cut into records.
struct Cut {
    QByteArray data; // the driver's own copy
    Width width;
    int itemBytes;  // the host's bytes of one element
    int valueBytes; // how many of them are written, from the first on
    int elements;   // to write
    int limit;      // most elements in one record
};

// Copies the bytes themselves, since a host may hold a pointer to those that it has handed in.
Cut cutOf(int regType, const QByteArray &data, int count) {
    const Width width = widthOf(regType);
    const int bytes = bytesPerElement(width);
    const bool singly = width == Width::Bit || width == Width::Byte;
    const int itemBytes = width == Width::Byte ? 2 : bytes;
    const int elements = elementsOfCount(width, count);
    const int limit = singly ? 1 : PLC_driver.comInfo->blockLimit;
    const auto covered = std::clamp<qint64>(qint64{elements} * itemBytes, 0, data.size());
    const QByteArray copy(data.constData(), static_cast<int>(covered));
    return {copy, width, itemBytes, bytes, elements, limit};
}

// Whether there is something to write, in as many records as one variable may have, within the
// size of an image area.
bool canBeCut(const Cut &cut) {
    return cut.limit >= 1 && cut.elements >= 1 &&
           (qint64{cut.elements} + cut.limit - 1) / cut.limit <= MaxPieces &&
           qint64{cut.elements} * cut.itemBytes <= MaxAreaBytes;
}

// The bytes to write for `elements` elements from `first` on, zero where the host's data end.
QByteArray valueOf(const Cut &cut, int first, int elements) {
    QByteArray value(elements * cut.valueBytes, '\0');
    for (int i = 0; i < elements; ++i) {
        const int from = (first + i) * cut.itemBytes;
        const int given = std::min(cut.valueBytes, cut.data.size() - from);
        if (given > 0) {
            std::copy_n(cut.data.constData() + from, given, value.data() + i * cut.valueBytes);
        }
        if (cut.width == Width::Bit && value.at(i) != 0) {
            value[i] = 1;
        }
    }
    return value;
}

// Makes the record the piece that begins with the element `first`.
void fillRecord(RW_VAR &record, int address, const Cut &cut, int first) {
    record.address = wrappingAdd(address, first);
    record.count = std::min(cut.limit, cut.elements - first);
    record.value = valueOf(cut, first, record.count);
}

// While the line has failed, screens see a value as soon as it is queued.
bool isMirroredAtOnce() {
    const QMutexLocker lists(&PLC_driver.listMutex); // commFailed
    return PLC_driver.commFailed;
}

// Queues the value piece by piece; returns the queue's length after the last one. Each finds the
// queue as the communication thread has left it meanwhile: what one found full may have room again.
int queueValue(RW_VAR &record, const Cut &cut) {
    const int address = record.address;
    int queued = 0;
    for (int first = 0; first < cut.elements; first += record.count) {
        fillRecord(record, address, cut, first);
        queued = AddListWriteVar(&record, 0);
        if (isMirroredAtOnce()) {
            WriteDataToLocal(&record);
        }
    }
    return queued;
}

} // namespace

int SetRegisterData(QString *hostText, int regType, QString *addressText, int station,
                    QByteArray *data, int count, int ownerId, int itemId) {
    const ComInfo &info = *PLC_driver.comInfo;
    RW_VAR record;
    record.ownerId = ownerId;
    record.itemId = itemId;
    record.isWrite = 1;
    record.remoteMode = info.remoteMode;
    record.portId = info.portId;
    record.hostText = hostText != nullptr ? *hostText : QString();
    record.addressText = *addressText;
    record.regType = regType;
    record.address = StringAddressToInt(regType, *addressText);
    record.station = stationOf(station);
    if (record.address < 0) {
        return 0;
    }
    if (info.commMode != WriteToPlc) {
        record.count = elementsOfCount(widthOf(regType), count);
        record.value = *data; // bytes that are missing count as zero
        WriteDataToLocal(&record);
        return 1;
    }
    const Cut cut = cutOf(regType, *data, count);
    return isWritableType(regType) && canBeCut(cut) ? queueValue(record, cut) : 0;
}
