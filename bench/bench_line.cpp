#include "bench/bench_line.h"

#include "modbus/checksums.h"

namespace {

// Bit, byte, 16-bit, 32-bit and 64-bit of area 7.
constexpr int Widths[] = {1, 4, 7, 10, 13};
constexpr int WidthCount = 5;
constexpr int RegistersEach = 4;
constexpr int RegistersApart = 6; // gaps, as real projects have them

ComInfo makePort() {
    ComInfo port{};
    port.blockLimit = 120;
    port.retryLimit = 3;
    port.useVarStation = 1;
    port.commMode = 2;
    return port;
}

// The address of register `reg` as a host writes it for the type.
QString addressOf(int width, int reg) {
    switch (width) {
    case 1:
        return QString("%1.3").arg(reg * 2);
    case 4:
        return QString::number(reg * 2);
    case 10:
        return QString::number(reg / 2);
    case 13:
        return QString::number(reg / 4);
    default:
        return QString::number(reg);
    }
}

} // namespace

ComInfo &benchPort() {
    static ComInfo port = makePort();
    return port;
}

QList<VARDEF> benchDefinitions(int count, int stations) {
    QList<VARDEF> definitions;
    for (int i = 0; i < count; ++i) {
        const int width = Widths[i / stations % WidthCount];
        VARDEF definition;
        definition.regType = static_cast<unsigned char>(width);
        definition.station = static_cast<unsigned char>(1 + i % stations);
        // Scattered, not sorted: 7919 is prime, so that every place is met before one repeats.
        const int place = static_cast<int>(qint64{i / stations} * 7919 % (count / stations));
        definition.addressText = addressOf(width, place * RegistersApart);
        definition.count = RegistersEach;
        definitions.append(definition);
    }
    return definitions;
}

QByteArray benchReply(const Protocol &request) {
    QByteArray reply = request.frame.left(2);
    if (request.dataLength == 0) {
        reply = request.frame.left(qMin(6, request.replyLength));
    } else {
        reply.append(static_cast<char>(request.dataLength));
        reply.append(QByteArray("\x12\x34", 2).repeated(request.dataLength / 2));
    }
    if (reply.isEmpty()) {
        return reply;
    }
    const int crc = CalCRC(reinterpret_cast<unsigned char *>(reply.data()),
                           static_cast<unsigned short>(reply.size()));
    reply.append(static_cast<char>(crc & 0xFF));
    reply.append(static_cast<char>(crc >> 8));
    return reply;
}
