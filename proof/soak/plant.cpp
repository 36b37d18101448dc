// The stations' side of the line: frame in, reply out.
#include "plant.h"

#include "random.h"
#include "requests.h"
#include "sealing.h"

#include <algorithm>

namespace {

constexpr unsigned char IllegalFunction = 1;
constexpr unsigned char IllegalAddress = 2;

QByteArray exceptionReply(int number, unsigned char function, unsigned char code) {
    QByteArray reply;
    reply.append(static_cast<char>(number));
    reply.append(static_cast<char>(function | 0x80U));
    reply.append(static_cast<char>(code));
    return sealed(reply);
}

QByteArray readReply(int number, unsigned char function, const Access &access,
                     const Memory &memory) {
    QByteArray reply;
    reply.append(static_cast<char>(number));
    reply.append(static_cast<char>(function));
    reply.append(static_cast<char>(access.count * 2));
    for (int i = 0; i < access.count; ++i) {
        const quint16 value = memory.at(access.area, access.first + i);
        reply.append(static_cast<char>(value >> 8U));
        reply.append(static_cast<char>(value & 0xFFU));
    }
    return sealed(reply);
}

QByteArray writeReply(int number, unsigned char function, const Access &access) {
    QByteArray reply;
    reply.append(static_cast<char>(number));
    reply.append(static_cast<char>(function));
    reply.append(static_cast<char>(access.first / 256));
    reply.append(static_cast<char>(access.first % 256));
    reply.append('\0');
    reply.append(static_cast<char>(access.count));
    return sealed(reply);
}

} // namespace

Plant::Plant(const std::vector<int> &numbers, quint64 seed) {
    Random random(seed);
    for (const int number : numbers) {
        stations[number] = Station();
        for (int area = FirstArea; area < FirstArea + AreaCount; ++area) {
            for (int reg = 0; reg < RegistersPerArea; ++reg)
                tick(number, area, reg, static_cast<quint16>(random.below(65536)));
        }
    }
}

QByteArray Plant::serve(const QByteArray &frame, bool remote) {
    const Request request = remote ? decodeRemote(frame) : decodeModbus(frame);
    if (!request.sound)
        return {};
    if (request.station != 0)
        return serveAt(request.station, request.function, request.access);
    for (const auto &entry : stations)
        serveAt(entry.first, request.function, request.access);
    return {};
}

QByteArray Plant::serveAt(int number, unsigned char function, const Access &access) {
    const auto found = stations.find(number);
    if (found == stations.end() || !found->second.alive)
        return {};
    if (function == 0)
        return exceptionReply(number, function, IllegalFunction);
    if (!isServed(access))
        return exceptionReply(number, function, IllegalAddress);
    Memory &memory = found->second.memory;
    if (!access.isWrite)
        return readReply(number, function, access, memory);
    for (const RegisterChange &change : access.changes)
        memory.change(access.area, change);
    return writeReply(number, function, access);
}

void Plant::tick(int number, int area, int reg, quint16 value) {
    Station &station = stations[number];
    station.memory.change(area, {reg, 0xFFFF, value});
    station.held[static_cast<size_t>(area - FirstArea)][static_cast<size_t>(reg)].push_back(value);
}

bool Plant::hasHeld(int number, int area, int reg, quint16 value) const {
    const auto found = stations.find(number);
    if (found == stations.end() || reg >= RegistersPerArea)
        return false;
    const auto &values =
        found->second.held[static_cast<size_t>(area - FirstArea)][static_cast<size_t>(reg)];
    return std::find(values.rbegin(), values.rend(), value) != values.rend();
}
