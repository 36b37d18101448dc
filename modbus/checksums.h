// Checksums of frames, and hexadecimal digits. Stateless; any thread.
#pragma once

#include <QByteArray>

// Each takes the first byte and the number of bytes, reads them as unsigned and changes nothing.
// With no bytes the pointer may be null.

// Modbus CRC-16, in the low 16 bits. A frame carries it low byte first. Of no bytes: 0xFFFF.
Q_DECL_EXPORT int CalCRC(unsigned char *bytes, unsigned short length);
// Sum of all bytes modulo 65,536.
Q_DECL_EXPORT int CalSUM(unsigned char *bytes, unsigned short length);
// Modbus ASCII LRC in the low 8 bits; 256 in place of 0.
Q_DECL_EXPORT int CalLRC(unsigned char *bytes, unsigned short length);
// All bytes joined by exclusive or. Of no bytes: 0.
Q_DECL_EXPORT int CalXOR(unsigned char *bytes, unsigned short length);

// 0 to 15 to '0' to '9', 'A' to 'F'; no range check.
Q_DECL_EXPORT int DigitalToASCII(int digit);
// '0' to '9', 'A' to 'F' to 0 to 15; lower case is not folded, below '0' and '@' are 0.
Q_DECL_EXPORT int ASCIIToDigital(int character);

// The driver's own frames, which may be longer than a 16-bit length tells.

// CalCRC over the first `length` bytes of a frame.
int crcOf(const QByteArray &frame, int length);
// Appends the CRC of the whole frame, low byte first.
void appendCrc(QByteArray &frame);
// Appends the low byte of the sum of the whole frame.
void appendSum(QByteArray &frame);
