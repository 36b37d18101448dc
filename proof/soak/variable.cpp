// Bits of registers, by plain counting.
#include "variable.h"

namespace {

constexpr int WireOffsetOfArea8 = 5000;
constexpr int Widths[] = {1, 8, 16, 32, 64};

} // namespace

int Variable::width() const {
    return Widths[regType / 3];
}

QString Variable::addressText() const {
    return width() > 1 ? QString::number(address)
                       : QString::number(address / 8) + '.' + QString::number(address % 8);
}

int Variable::hostCount() const {
    return width() <= 16 ? elements : elements * width() / 16 - 1;
}

QByteArray Variable::zeros() const {
    return QByteArray(width() == 1 ? elements : bits() / 8, '\0');
}

quint16 &registerOf(Stations &stations, int station, int area, int reg) {
    return area == 6   ? stations.input(station, reg)
           : area == 7 ? stations.holding(station, reg)
                       : stations.holding(station, WireOffsetOfArea8 + reg);
}

Part partOf(const Variable &variable, int reg, const QByteArray &value) {
    Part part;
    for (int bit = 0; bit < 16; ++bit) {
        const int i = 16 * reg + bit - variable.firstBit();
        if (i < 0 || i >= variable.bits())
            continue;
        const int byte = variable.width() == 1 ? i : i / 8;
        const bool set =
            variable.width() == 1 ? value.at(byte) != 0 : (value.at(byte) >> i % 8 & 1) != 0;
        part.mask = static_cast<quint16>(part.mask | 1 << bit);
        part.value = static_cast<quint16>(part.value | (set ? 1 << bit : 0));
    }
    return part;
}

QByteArray heldValue(Stations &stations, const Variable &variable) {
    const bool single = variable.width() == 1;
    QByteArray value = variable.zeros();
    for (int i = 0; i < variable.bits(); ++i) {
        const int bit = variable.firstBit() + i;
        const int reg = registerOf(stations, variable.station, variable.area(), bit / 16);
        const int set = reg >> bit % 16 & 1;
        const int byte = single ? i : i / 8;
        value[byte] = static_cast<char>(value.at(byte) | set << (single ? 0 : i % 8));
    }
    return value;
}

QByteArray hostForm(const Variable &variable, const QByteArray &value) {
    if (variable.width() != 8)
        return value;
    QByteArray items(2 * value.size(), '\0');
    for (int i = 0; i < value.size(); ++i)
        items[2 * i] = value.at(i);
    return items;
}
