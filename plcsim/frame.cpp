#include "frame.h"

namespace {

constexpr int ChecksumBytes = 2;
constexpr int MinFrame = 4; // station, function, checksum

// Functions whose request tells its length by a count of the data bytes.
int countedLength(const QByteArray &bytes, int countAt) {
    return bytes.size() <= countAt ? MoreBytes
                                   : countAt + 1 + byteAt(bytes, countAt) + ChecksumBytes;
}

} // namespace

std::uint16_t checksum(const QByteArray &bytes) {
    unsigned crc = 0xFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? crc >> 1 ^ 0xA001U : crc >> 1;
    }
    return static_cast<std::uint16_t>(crc);
}

QByteArray sealed(QByteArray frame) {
    const std::uint16_t crc = checksum(frame);
    frame += static_cast<char>(crc & 0xFF);
    frame += static_cast<char>(crc >> 8);
    return frame;
}

// The checksum of a frame that ends with its own is 0.
bool hasGoodChecksum(const QByteArray &frame) {
    return frame.size() >= MinFrame && checksum(frame) == 0;
}

QByteArray resealed(const QByteArray &frame) {
    return sealed(frame.left(frame.size() - ChecksumBytes));
}

QByteArray exceptionAnswer(const QByteArray &request, int code) {
    QByteArray answer = request.left(2);
    answer[1] = static_cast<char>(byteAt(request, 1) | ExceptionBit);
    return sealed(answer + static_cast<char>(code));
}

bool isException(const QByteArray &answer) {
    return answer.size() == 5 && (byteAt(answer, 1) & ExceptionBit) != 0;
}

int requestLength(const QByteArray &bytes) {
    if (bytes.size() < 2)
        return MoreBytes;
    switch (byteAt(bytes, 1)) {
    case 1: // reads of bits and registers, writes of one
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
        return 8;
    case 15: // writes of many
    case 16:
        return countedLength(bytes, 6);
    case 17: // report of the station's name
        return 4;
    case 22: // masked write of one register
        return 10;
    case 23: // write and read
        return countedLength(bytes, 10);
    default:
        return UnknownLength;
    }
}
