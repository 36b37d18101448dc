// Modbus RTU frames: their checksum, and how long a request is.
#pragma once

#include <QByteArray>

#include <cstdint>

constexpr int MaxFrame = 256;

// An exception's function code is that of the request with this bit.
constexpr int ExceptionBit = 0x80;
constexpr int IllegalFunction = 1;
constexpr int IllegalAddress = 2;

inline int byteAt(const QByteArray &frame, int index) {
    return static_cast<unsigned char>(frame[index]);
}
// The 16-bit number in two bytes, high byte first.
inline int numberAt(const QByteArray &frame, int index) {
    return byteAt(frame, index) << 8 | byteAt(frame, index + 1);
}

std::uint16_t checksum(const QByteArray &bytes);
// The frame with its checksum behind it.
QByteArray sealed(QByteArray frame);
bool hasGoodChecksum(const QByteArray &frame);
// A frame that was changed gets a checksum that is right again.
QByteArray resealed(const QByteArray &frame);

QByteArray exceptionAnswer(const QByteArray &request, int code);
bool isException(const QByteArray &answer);

// Bytes of the request that `bytes` begins with, checksum included.
constexpr int UnknownLength = -1;
constexpr int MoreBytes = 0;
int requestLength(const QByteArray &bytes);
