// The bits of a variable's values in the data that the driver takes and gives.
#pragma once

#include "panel/file/variable.h"

#include <QByteArray>

// Beyond it a JSON number, which is a double, no longer tells neighbours apart.
constexpr double MaxExactNumber = 9007199254740992.0;

// Value `index` as a number of Variable::valueBits() bits; in a text the first character of the
// element is the lowest byte. Data that are too short count as zero.
quint64 bitsAt(const Variable &variable, const QByteArray &data, int index);

// The inverse; `data` has Variable::hostBytes() bytes.
void putBits(const Variable &variable, int index, quint64 bits, QByteArray *data);

// What the bits are as a number, before scaling.
qint64 signedOf(quint64 bits, int width);
double floatOf(quint64 bits, int width);
quint64 bitsOfFloat(double number, int width);
