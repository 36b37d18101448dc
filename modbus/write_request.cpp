// Builds write frames; bits and bytes read their register first and patch it into the waiting
// write.
#include "modbus/write_request.h"

#include "driver/Communication_Protocol.h"
#include "driver/register_types.h"
#include "driver/requests.h"
#include "driver/wrapping.h"
#include "image/store.h"
#include "image/write_back.h"
#include "modbus/checksums.h"
#include "modbus/frame_bytes.h"
#include "modbus/read_request.h"

namespace {

constexpr int WriteMultipleRegisters = 16;
constexpr int NoFunction = 0;
constexpr int ReplyData = 3; // index of the register in the reply: high byte, low byte
constexpr int FrameData = 7; // index of the register in the write: high byte, low byte
constexpr int FrameCrc = 9;  // index of its CRC: low byte, high byte

// Registers of one element; 0 for the types that have no write request: bits and bytes, which are
// smaller than a register, area 6 and unknown types.
int registersPerElement(int regType) {
    return isWritableType(regType) ? bytesPerElement(widthOf(regType)) / 2 : 0;
}

// Each register high byte first, the least significant register of an element first.
void appendRegisters(QByteArray &frame, const QByteArray &value, qint64 bytes) {
    if (bytes < 1 || bytes > MaxAreaBytes) {
        return;
    }
    const auto byteOf = [&value](int i) {
        return i < value.size() ? value.at(i) : '\0';
    };
    for (int i = 0; i < bytes; i += 2) {
        frame.append(byteOf(i + 1));
        frame.append(byteOf(i));
    }
}

void setByte(QByteArray &frame, int index, int value) {
    if (index >= frame.size()) {
        frame.append(index + 1 - frame.size(), '\0');
    }
    frame[index] = static_cast<char>(value);
}

// Puts the register into the waiting write and seals it anew.
void patchWaitingWrite(int high, int low) {
    QByteArray &frame = PLC_driver.requestList[1].frame;
    setByte(frame, FrameData, high);
    setByte(frame, FrameData + 1, low);
    const int crc = crcOf(frame, FrameCrc);
    setByte(frame, FrameCrc, crc & 0xFF);
    setByte(frame, FrameCrc + 1, crc >> 8);
}

bool canBePatched(const QByteArray &reply) {
    return reply.size() >= ShortestReply && !PLC_driver.writeList.isEmpty() &&
           PLC_driver.requestList.size() >= 2;
}

int firstValueByte(const RW_VAR &var) {
    return var.value.isEmpty() ? 0 : byteAt(var.value, 0);
}

// A read of the register that holds the part, then a write of it that waits for the read's reply.
void readModifyWrite(const RW_VAR &var, int partsInRegister, int saveMode) {
    RW_VAR half = var;
    half.regType = getPlcReg(var.regType);
    half.address = var.address / partsInRegister;
    half.count = 1;
    half.value = QByteArray(2, '\0');
    half.isWrite = 0;
    half.saveMode = saveMode;
    ReadRegister(&half);
    half.isWrite = 1;
    half.saveMode = 0;
    WriteAnalog(&half);
    PLC_driver.comInfo->frameIndex = 0;
    PLC_driver.comInfo->frameCount = 2;
}

} // namespace

void WriteRegister(RW_VAR *var) {
    const Width width = widthOf(var->regType);
    if (isWritableType(var->regType) && width == Width::Bit) {
        readModifyWrite(*var, 16, BitReadHalf);
    } else if (isWritableType(var->regType) && width == Width::Byte) {
        readModifyWrite(*var, 2, ByteReadHalf);
    } else {
        WriteAnalog(var);
    }
    if (!PLC_driver.commFailed) {
        WriteDataToLocal(var);
    }
}

void WriteAnalog(RW_VAR *var) {
    const int registers = registersPerElement(var->regType);
    const int start = wrappingMultiply(var->address, registers == 0 ? 1 : registers);
    QByteArray frame;
    appendBigEndian(frame, var->station, 1);
    appendBigEndian(frame, registers == 0 ? NoFunction : WriteMultipleRegisters, 1);
    appendBigEndian(frame, wrappingAdd(start, getOffsetAddress(var->regType)), 2);
    if (registers != 0) {
        const int quantity = wrappingMultiply(var->count, registers);
        appendBigEndian(frame, quantity, 2);
        appendBigEndian(frame, wrappingMultiply(quantity, 2), 1);
        appendRegisters(frame, var->value, qint64{var->count} * registers * 2);
    }
    appendCrc(frame);
    queueWriteRequest(frame, *var);
}

void SpecialRegisterSave(QByteArray *reply) {
    if (!canBePatched(*reply)) {
        return;
    }
    const RW_VAR &written = PLC_driver.writeList.constFirst();
    const int bit = written.address % 16;
    const int mask = bit < 0 ? 0 : 1 << bit; // a bit below the first one exists nowhere
    const int read = 256 * byteAt(*reply, ReplyData) + byteAt(*reply, ReplyData + 1);
    const int changed = firstValueByte(written) != 0 ? read | mask : read & ~mask;
    patchWaitingWrite(changed >> 8, changed & 0xFF);
}

void SpecialRegisterSaveByte(QByteArray *reply) {
    if (!canBePatched(*reply)) {
        return;
    }
    const RW_VAR &written = PLC_driver.writeList.constFirst();
    if (written.address % 2 == 0) {
        patchWaitingWrite(byteAt(*reply, ReplyData), firstValueByte(written));
    } else {
        patchWaitingWrite(firstValueByte(written), byteAt(*reply, ReplyData + 1));
    }
}
