// Checksums in one pass, without tables or allocation.
#include "modbus/checksums.h"

#include "driver/wrapping.h"

namespace {

unsigned crc16(const unsigned char *bytes, int length) {
    constexpr unsigned ReflectedPolynomial = 0xA001;
    unsigned crc = 0xFFFF;
    for (int i = 0; i < length; ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? crc >> 1 ^ ReflectedPolynomial : crc >> 1;
        }
    }
    return crc;
}

unsigned sum(const unsigned char *bytes, int length) {
    unsigned total = 0;
    for (int i = 0; i < length; ++i) {
        total += bytes[i];
    }
    return total;
}

const unsigned char *bytesOf(const QByteArray &frame) {
    return reinterpret_cast<const unsigned char *>(frame.constData());
}

} // namespace

int CalCRC(unsigned char *bytes, unsigned short length) {
    return static_cast<int>(crc16(bytes, length));
}

int CalSUM(unsigned char *bytes, unsigned short length) {
    return static_cast<int>(sum(bytes, length) & 0xFFFFU);
}

int CalLRC(unsigned char *bytes, unsigned short length) {
    return static_cast<int>((~sum(bytes, length) & 0xFFU) + 1U);
}

int CalXOR(unsigned char *bytes, unsigned short length) {
    unsigned joined = 0;
    for (int i = 0; i < length; ++i) {
        joined ^= bytes[i];
    }
    return static_cast<int>(joined);
}

int DigitalToASCII(int digit) {
    return digit <= 9 ? wrappingAdd(digit, '0') : wrappingAdd(digit, 'A' - 10);
}

int ASCIIToDigital(int character) {
    if (character < '0' || character == '@') {
        return 0;
    }
    return character < '@' ? character - '0' : character - ('A' - 10);
}

int crcOf(const QByteArray &frame, int length) {
    return static_cast<int>(crc16(bytesOf(frame), length));
}

void appendCrc(QByteArray &frame) {
    const int crc = crcOf(frame, frame.size());
    frame.append(static_cast<char>(crc & 0xFF));
    frame.append(static_cast<char>(crc >> 8));
}

void appendSum(QByteArray &frame) {
    frame.append(static_cast<char>(sum(bytesOf(frame), frame.size()) & 0xFFU));
}
