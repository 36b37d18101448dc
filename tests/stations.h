// PLC stations in memory, at the far end of the line: frame in, reply out. They share no code with
// the driver, the CRC included. For tests, soak and fuzz targets.
#pragma once

#include <QByteArray>

#include <map>
#include <set>
#include <vector>

// The Modbus CRC of a frame's first `length` bytes.
inline int crcOfBytes(const QByteArray &frame, int length) {
    unsigned crc = 0xFFFF;
    for (int bit = 0; bit < 8 * length; ++bit) {
        const auto byte = static_cast<unsigned char>(frame.at(bit / 8));
        const bool odd = ((crc ^ static_cast<unsigned>(byte >> bit % 8)) & 1U) != 0;
        crc = crc >> 1U ^ (odd ? 0xA001U : 0U);
    }
    return static_cast<int>(crc);
}

// The frame with its CRC, low byte first.
inline QByteArray withCrc(QByteArray frame) {
    const int crc = crcOfBytes(frame, frame.size());
    return frame.append(static_cast<char>(crc & 0xFF)).append(static_cast<char>(crc >> 8));
}

inline bool hasItsCrc(const QByteArray &frame) {
    return frame.size() > 2 && withCrc(frame.chopped(2)) == frame;
}

class Stations {
public:
    // A register that a write has reached.
    struct Change {
        int station;
        int address;
        quint16 before;
        quint16 after;
    };

    // Registers by their number on the wire, 0 to 65535; the first use makes the station.
    quint16 &input(int station, int address) { return registers(station).input[index(address)]; }
    quint16 &holding(int station, int address) {
        return registers(station).holding[index(address)];
    }

    // What the line brings back: a reply, or nothing from a station that is silent or not there,
    // for a broadcast, and for a frame that is no request.
    QByteArray answer(const QByteArray &frame);

    // What the last frame has written, each register once, in every station that heard it.
    std::vector<Change> changes;

    std::set<int> silent; // stations without power

private:
    static constexpr int MostRead = 125;
    static constexpr int MostWritten = 123;
    static constexpr int WriteHead = 7; // bytes before the data of a write
    static constexpr int AddressSpace = 65536;
    enum Function : int { ReadHolding = 3, ReadInput = 4, WriteRegisters = 16 };

    struct Registers {
        std::vector<quint16> input = std::vector<quint16>(AddressSpace);
        std::vector<quint16> holding = std::vector<quint16>(AddressSpace);
    };

    static size_t index(int address) { return static_cast<size_t>(address); }
    static int byteAt(const QByteArray &frame, int i) {
        return static_cast<unsigned char>(frame.at(i));
    }
    static int wordAt(const QByteArray &frame, int i) {
        return 256 * byteAt(frame, i) + byteAt(frame, i + 1);
    }
    static bool isRequest(const QByteArray &frame);
    Registers &registers(int station) { return stations[station]; }
    void write(int station, const QByteArray &frame);
    QByteArray readReply(int station, const QByteArray &frame);

    std::map<int, Registers> stations;
};

inline bool Stations::isRequest(const QByteArray &frame) {
    if (frame.size() < 8 || !hasItsCrc(frame)) {
        return false;
    }
    const int function = byteAt(frame, 1);
    const int count = wordAt(frame, 4);
    const bool fits = count >= 1 && wordAt(frame, 2) + count <= AddressSpace;
    if (function == WriteRegisters) {
        return fits && count <= MostWritten && byteAt(frame, 6) == 2 * count &&
               frame.size() == WriteHead + 2 * count + 2;
    }
    const bool isRead = function == ReadHolding || function == ReadInput;
    return fits && isRead && count <= MostRead && frame.size() == 8;
}

inline void Stations::write(int station, const QByteArray &frame) {
    for (int i = 0; i < wordAt(frame, 4); ++i) {
        const int address = wordAt(frame, 2) + i;
        quint16 &reg = holding(station, address);
        const auto value = static_cast<quint16>(wordAt(frame, WriteHead + 2 * i));
        changes.push_back({station, address, reg, value});
        reg = value;
    }
}

inline QByteArray Stations::readReply(int station, const QByteArray &frame) {
    const int count = wordAt(frame, 4);
    QByteArray reply = frame.left(2).append(static_cast<char>(2 * count));
    for (int address = wordAt(frame, 2); reply.size() < 3 + 2 * count; ++address) {
        const bool isInput = byteAt(frame, 1) == ReadInput;
        const quint16 value = isInput ? input(station, address) : holding(station, address);
        reply.append(static_cast<char>(value >> 8)).append(static_cast<char>(value & 0xFF));
    }
    return withCrc(reply);
}

inline QByteArray Stations::answer(const QByteArray &frame) {
    changes.clear();
    if (!isRequest(frame)) {
        return {};
    }
    const int asked = byteAt(frame, 0);
    const bool isWrite = byteAt(frame, 1) == WriteRegisters;
    for (const auto &station : stations) {
        const bool isMeant = asked == 0 || asked == station.first;
        if (isWrite && isMeant && silent.count(station.first) == 0) {
            write(station.first, frame);
        }
    }
    if (asked == 0 || stations.count(asked) == 0 || silent.count(asked) != 0) {
        return {};
    }
    return isWrite ? withCrc(frame.left(6)) : readReply(asked, frame);
}
