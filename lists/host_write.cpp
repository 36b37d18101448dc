// The host's write entry: cuts a value into write records and queues them.
#include "driver/Communication_Protocol.h"
#include "driver/register_types.h"
#include "driver/wrapping.h"
#include "image/store.h"
#include "image/write_back.h"
#include "lists/address.h"
#include "lists/queues.h"
#include "plc_driver.h"

#include <algorithm>

namespace {

constexpr int WriteToPlc = 2; // commMode

// The host's data and how they are cut into records.
struct Cut {
    const QByteArray &data;
    Width width;
    int itemBytes;  // the host's bytes of one element
    int valueBytes; // how many of them are written, from the first on
    int elements;   // to write
    int limit;      // most elements in one record
};

Cut cutOf(int regType, const QByteArray &data, int count) {
    const Width width = widthOf(regType);
    const int bytes = bytesPerElement(width);
    const bool singly = width == Width::Bit || width == Width::Byte;
    const int itemBytes = width == Width::Byte ? 2 : bytes;
    const int limit = singly ? 1 : PLC_driver.comInfo->blockLimit;
    return {data, width, itemBytes, bytes, elementsOfCount(width, count), limit};
}

// Whether there is something to write, in records that end, within the size of an image area.
bool canBeCut(const Cut &cut) {
    return cut.limit >= 1 && cut.elements >= 1 &&
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

// Makes the record the one of `elements` elements from `first` on.
void fillRecord(RW_VAR &record, int address, const Cut &cut, int first, int elements) {
    record.address = wrappingAdd(address, first);
    record.count = elements;
    record.value = valueOf(cut, first, elements);
}

// While the line has failed, screens see a value as soon as it is queued.
bool isMirroredAtOnce() {
    const QMutexLocker lists(&PLC_driver.listMutex); // commFailed
    return PLC_driver.commFailed;
}

// A full queue takes only what replaces a pending write: the next element from `from` on where such
// a piece may begin, or the end. Spares a value of millions of bits as many searches of the queue.
int nextReplacement(const RW_VAR &record, int address, const Cut &cut, int from) {
    const QMutexLocker lists(&PLC_driver.listMutex); // writeList
    int next = cut.elements;
    for (const RW_VAR &queued : qAsConst(PLC_driver.writeList)) {
        const int first = wrappingSubtract(queued.address, address);
        const bool isPiece = first >= from && first % cut.limit == 0;
        if (isPiece && queued.station == record.station && queued.regType == record.regType) {
            next = std::min(next, first);
        }
    }
    return next;
}

// Shows screens the pieces in [from, to) that a full queue has dropped: one value, as far as an
// image area goes. The piece in which it ends is refused whole, as it would be by itself.
void mirrorDropped(RW_VAR &record, int address, const Cut &cut, int from, int to) {
    const int bits = cut.width == Width::Bit ? 1 : cut.valueBytes * 8;
    const qint64 room = qint64{MaxAreaBytes} * 8 / bits - address - from;
    int elements = to - from;
    if (room < elements) {
        elements = static_cast<int>(std::max<qint64>(room, 0));
        elements -= elements % cut.limit;
    }
    if (elements > 0 && isMirroredAtOnce()) {
        fillRecord(record, address, cut, from, elements);
        WriteDataToLocal(&record);
    }
}

// Queues the value in pieces; returns the queue's length after the last one.
int queueValue(RW_VAR &record, const Cut &cut) {
    const int address = record.address;
    int queued = 0;
    for (int first = 0; first < cut.elements;) {
        const int elements = std::min(cut.limit, cut.elements - first);
        fillRecord(record, address, cut, first, elements);
        queued = AddListWriteVar(&record, 0);
        if (isMirroredAtOnce()) {
            WriteDataToLocal(&record);
        }
        first += elements;
        if (queued >= QueueCapacity) {
            const int next = nextReplacement(record, address, cut, first);
            mirrorDropped(record, address, cut, first, next);
            first = next;
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
    const Cut cut = cutOf(regType, *data, count);
    if (info.commMode != WriteToPlc) {
        record.count = cut.elements;
        record.value = *data; // bytes that are missing count as zero
        WriteDataToLocal(&record);
        return 1;
    }
    return isWritableType(regType) && canBeCut(cut) ? queueValue(record, cut) : 0;
}
