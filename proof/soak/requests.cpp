// From request frames and from write records to the registers they concern.
#include "requests.h"

#include "sealing.h"

namespace {

constexpr int Area8Wire = 5000;
constexpr int RemoteHeader = 21;

int byteAt(const QByteArray &bytes, int index) {
    return index < bytes.size() ? static_cast<unsigned char>(bytes.at(index)) : 0;
}

int wordAt(const QByteArray &bytes, int index) {
    return byteAt(bytes, index) * 256 + byteAt(bytes, index + 1);
}

// Holding registers from 5000 on are area 8.
void placeOnWire(Access &access, unsigned char function, int wire) {
    const bool inArea8 = wire >= Area8Wire;
    access.area = function == 4 ? 6 : inArea8 ? 8 : 7;
    access.first = access.area == 8 ? wire - Area8Wire : wire;
}

bool isCompleteWrite(const QByteArray &frame, int count) {
    return frame.size() == 9 + 2 * count && byteAt(frame, 6) == (count * 2) % 256;
}

int registersOfElement(int regType) {
    return regType >= 12 ? 4 : regType >= 9 ? 2 : 1;
}

void addBits(const RW_VAR &var, Access &access) {
    for (int i = 0; i < var.count; ++i) {
        const int bit = var.address + i;
        const auto mask = static_cast<quint16>(1U << static_cast<unsigned>(bit % 16));
        access.changes.push_back({bit / 16, mask, byteAt(var.value, i) != 0 ? mask : quint16(0)});
    }
}

void addBytes(const RW_VAR &var, Access &access) {
    for (int i = 0; i < var.count; ++i) {
        const int address = var.address + i;
        const int value = byteAt(var.value, i);
        const bool high = address % 2 != 0;
        access.changes.push_back({address / 2, static_cast<quint16>(high ? 0xFF00 : 0x00FF),
                                  static_cast<quint16>(high ? value * 256 : value)});
    }
}

void addRegisters(const RW_VAR &var, Access &access) {
    const int width = registersOfElement(var.regType);
    for (int i = 0; i < var.count * width; ++i) {
        const int value = byteAt(var.value, 2 * i) + 256 * byteAt(var.value, 2 * i + 1);
        access.changes.push_back({var.address * width + i, 0xFFFF, static_cast<quint16>(value)});
    }
}

} // namespace

Request decodeModbus(const QByteArray &frame) {
    Request request;
    if (frame.size() < 6 || !isSealed(frame))
        return request;
    request.sound = true;
    request.station = byteAt(frame, 0);
    request.function = static_cast<unsigned char>(byteAt(frame, 1));
    Access &access = request.access;
    placeOnWire(access, request.function, wordAt(frame, 2));
    access.count = wordAt(frame, 4);
    access.isWrite = request.function == 16;
    if (!access.isWrite)
        return request;
    request.sound = isCompleteWrite(frame, access.count);
    for (int i = 0; request.sound && i < access.count; ++i) {
        access.changes.push_back(
            {access.first + i, 0xFFFF, static_cast<quint16>(wordAt(frame, 7 + 2 * i))});
    }
    return request;
}

Request decodeRemote(const QByteArray &frame) {
    Request request;
    int sum = 0;
    for (int i = 0; i < frame.size() - 1; ++i)
        sum += byteAt(frame, i);
    if (frame.size() <= RemoteHeader || byteAt(frame, 0) != frame.size() % 256 ||
        byteAt(frame, frame.size() - 1) != sum % 256)
        return request;
    request.sound = true;
    request.station = byteAt(frame, 4);
    RW_VAR var;
    var.regType = wordAt(frame, 5);
    var.address = wordAt(frame, 7) * 65536 + wordAt(frame, 9);
    var.count = wordAt(frame, 11);
    var.value = frame.mid(RemoteHeader, frame.size() - RemoteHeader - 1);
    if (byteAt(frame, 2) != 0) {
        request.access = accessOfWrite(var);
        request.function = request.access.isWrite ? 16 : 0;
        return request;
    }
    request.function = var.regType >= 6 && var.regType <= 8 ? 3 : 0;
    request.access.area = var.regType;
    request.access.first = var.address;
    request.access.count = var.count;
    return request;
}

Access accessOfWrite(const RW_VAR &var) {
    Access access;
    const bool writable = var.regType >= 0 && var.regType <= 14 && var.regType % 3 != 0;
    if (!writable)
        return access;
    access.isWrite = true;
    access.area = var.regType % 3 + FirstArea;
    if (var.regType < 3) {
        addBits(var, access);
    } else if (var.regType < 6) {
        addBytes(var, access);
    } else {
        addRegisters(var, access);
    }
    if (!access.changes.empty()) {
        access.first = access.changes.front().reg;
        access.count = access.changes.back().reg - access.first + 1;
    }
    return access;
}
