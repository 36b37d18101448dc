// CRC-16 by table.
#include "sealing.h"

#include <array>

namespace {

constexpr quint16 Polynomial = 0xA001;

quint16 entryOf(int index) {
    auto crc = static_cast<quint16>(index);
    for (int bit = 0; bit < 8; ++bit) {
        const bool carry = (crc & 1U) != 0;
        crc = static_cast<quint16>(crc >> 1U);
        if (carry)
            crc = static_cast<quint16>(crc ^ Polynomial);
    }
    return crc;
}

std::array<quint16, 256> makeTable() {
    std::array<quint16, 256> table{};
    for (int i = 0; i < 256; ++i)
        table[static_cast<std::size_t>(i)] = entryOf(i);
    return table;
}

const std::array<quint16, 256> Table = makeTable();

} // namespace

quint16 lineCrc(const QByteArray &bytes, int length) {
    unsigned crc = 0xFFFF;
    const char *data = bytes.constData();
    for (int i = 0; i < length; ++i)
        crc = (crc >> 8U) ^ Table[(crc ^ static_cast<unsigned char>(data[i])) & 0xFFU];
    return static_cast<quint16>(crc);
}

QByteArray sealed(const QByteArray &bytes) {
    const quint16 crc = lineCrc(bytes, bytes.size());
    QByteArray frame = bytes;
    frame.append(static_cast<char>(crc & 0xFFU));
    frame.append(static_cast<char>(crc >> 8U));
    return frame;
}

bool isSealed(const QByteArray &frame) {
    const int size = frame.size();
    if (size < 2)
        return false;
    const auto low = static_cast<unsigned char>(frame.at(size - 2));
    const auto high = static_cast<unsigned char>(frame.at(size - 1));
    return lineCrc(frame, size - 2) == low + 256 * high;
}
