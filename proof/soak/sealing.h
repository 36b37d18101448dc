// CRC-16 of the line's far end, by table: none of the driver's code judges the driver here.
#pragma once

#include <QByteArray>

quint16 lineCrc(const QByteArray &bytes, int length);

// The bytes with their CRC appended, low byte first.
QByteArray sealed(const QByteArray &bytes);

// True when the last two bytes are the CRC of those before.
bool isSealed(const QByteArray &frame);
