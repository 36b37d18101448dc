// Numbers as they stand in a frame.
#pragma once

#include <QByteArray>

// Appends the low `bytes` bytes of a value, most significant first; 1 to 4 bytes.
inline void appendBigEndian(QByteArray &frame, int value, int bytes) {
    for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) {
        frame.append(static_cast<char>(static_cast<unsigned>(value) >> shift & 0xFFU));
    }
}

// The byte at an index, as an unsigned number.
inline int byteAt(const QByteArray &frame, int index) {
    return static_cast<unsigned char>(frame.at(index));
}
