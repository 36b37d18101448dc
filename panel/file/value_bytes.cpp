#include "panel/file/value_bytes.h"

#include "panel/file/registers.h"

#include <cstring>

namespace {

bool isSwapped(const Variable &variable) {
    if (variable.display == Display::Text)
        return variable.order == Order::ABCD;
    return variable.order == Order::BADC || variable.order == Order::DCBA;
}

// Where byte `index` of a value lies in its data, 0 the least significant one. The driver answers
// registers as they lie on the wire, but each with its low byte first.
int positionOf(const Variable &variable, int index) {
    const int registers = variable.valueBits() / RegisterBits;
    if (registers == 0)
        return index;
    const bool isLowRegisterFirst = variable.order == Order::CDAB || variable.order == Order::DCBA;
    const int place = isLowRegisterFirst ? index / 2 : registers - 1 - index / 2;
    return place * 2 + (isSwapped(variable) ? 1 - index % 2 : index % 2);
}

int valueBytes(const Variable &variable) {
    return variable.width().valueBytes * variable.words;
}

int beginOf(const Variable &variable, int index) {
    return index * variable.width().hostBytes * variable.words;
}

template <typename To, typename From>
To sameBits(From from) {
    static_assert(sizeof(To) == sizeof(From));
    To to;
    std::memcpy(&to, &from, sizeof to);
    return to;
}

} // namespace

quint64 bitsAt(const Variable &variable, const QByteArray &data, int index) {
    quint64 bits = 0;
    for (int i = valueBytes(variable) - 1; i >= 0; --i) {
        const int position = beginOf(variable, index) + positionOf(variable, i);
        const int byte = position < data.size() ? static_cast<uchar>(data[position]) : 0;
        bits = bits << 8 | static_cast<quint64>(byte);
    }
    return bits;
}

void putBits(const Variable &variable, int index, quint64 bits, QByteArray *data) {
    for (int i = 0; i < valueBytes(variable); ++i) {
        const int position = beginOf(variable, index) + positionOf(variable, i);
        (*data)[position] = static_cast<char>(bits >> (8 * i) & 0xFFU);
    }
}

qint64 signedOf(quint64 bits, int width) {
    const quint64 sign = quint64(1) << (width - 1);
    return static_cast<qint64>((bits ^ sign) - sign);
}

double floatOf(quint64 bits, int width) {
    return width == 32 ? static_cast<double>(sameBits<float>(static_cast<quint32>(bits)))
                       : sameBits<double>(bits);
}

quint64 bitsOfFloat(double number, int width) {
    return width == 32 ? sameBits<quint32>(static_cast<float>(number)) : sameBits<quint64>(number);
}
