// The expected image.
#include "shadow_image.h"

namespace {

// Elements of a type, in bytes; 0 for bits.
int widthOf(int regType) {
    static const int Widths[] = {0, 1, 2, 4, 8};
    return regType >= 0 && regType <= 14 ? Widths[regType / 3] : 2;
}

int keyOf(int regType) {
    return regType >= 0 && regType <= 14 ? regType % 3 + FirstArea : regType;
}

int requiredSize(int regType, int address, int count) {
    const int width = widthOf(regType);
    return width == 0 ? count / 9 + address / 8 : (address + count) * width;
}

bool isWritable(int regType) {
    return regType >= 0 && regType <= 14 && regType % 3 != 0;
}

char byteOr0(const QByteArray &bytes, int index) {
    return index < bytes.size() ? bytes.at(index) : '\0';
}

std::string placeOf(int station, int area, int index) {
    return "station " + std::to_string(station) + " area " + std::to_string(area) + " byte " +
           std::to_string(index);
}

std::string differenceOf(const QByteArray &expected, const QByteArray &actual, int station,
                         int area) {
    if (expected == actual)
        return {};
    if (expected.size() != actual.size()) {
        return placeOf(station, area, actual.size()) + " is where the image ends, not at " +
               std::to_string(expected.size());
    }
    int index = 0;
    while (expected.at(index) == actual.at(index))
        ++index;
    return placeOf(station, area, index) + " is " +
           std::to_string(static_cast<unsigned char>(actual.at(index))) + ", not " +
           std::to_string(static_cast<unsigned char>(expected.at(index)));
}

} // namespace

ShadowArea &ShadowImage::area(int station, int regType) {
    return stations[station][keyOf(regType)];
}

void ShadowImage::makeRoom(int station, int regType, int address, int count) {
    ShadowArea &target = area(station, regType);
    const int required = requiredSize(regType, address, count);
    if (required > target.bytes.size())
        target.bytes.append(QByteArray(required - target.bytes.size(), '\0'));
}

void ShadowImage::setByte(ShadowArea &area, int index, char value, Origin origin) {
    if (index >= area.bytes.size())
        area.bytes.append(QByteArray(index + 1 - area.bytes.size(), '\0'));
    area.bytes[index] = value;
    const auto reg = static_cast<size_t>(index / 2);
    if (reg >= area.origins.size())
        area.origins.resize(reg + 1, Origin::Untouched);
    area.origins[reg] = origin;
}

void ShadowImage::store(int station, int areaNumber, int first, const std::vector<quint16> &values,
                        Origin origin) {
    makeRoom(station, areaNumber, first, static_cast<int>(values.size()));
    ShadowArea &target = area(station, areaNumber);
    int index = 2 * first;
    for (const quint16 value : values) {
        setByte(target, index++, static_cast<char>(value & 0xFFU), origin);
        setByte(target, index++, static_cast<char>(value >> 8U), origin);
    }
}

void ShadowImage::writeBits(ShadowArea &target, const RW_VAR &var) {
    for (int i = 0; i < var.count; ++i) {
        const int bit = var.address + i;
        const unsigned mask = 1U << static_cast<unsigned>(bit % 8);
        const auto old = static_cast<unsigned char>(byteOr0(target.bytes, bit / 8));
        const bool set = byteOr0(var.value, i) != 0;
        setByte(target, bit / 8, static_cast<char>(set ? old | mask : old & ~mask), Origin::Other);
    }
}

void ShadowImage::writeBack(const RW_VAR &var) {
    makeRoom(var.station, var.regType, var.address, var.count);
    if (!isWritable(var.regType))
        return;
    ShadowArea &target = area(var.station, var.regType);
    const int width = widthOf(var.regType);
    if (width == 0)
        writeBits(target, var);
    for (int i = 0; i < var.count * width; ++i)
        setByte(target, var.address * width + i, byteOr0(var.value, i), Origin::Other);
}

QByteArray ShadowImage::read(int station, int regType, int address, int count) {
    makeRoom(station, regType, address, count);
    const QByteArray &bytes = area(station, regType).bytes;
    QByteArray answer;
    switch (regType / 3) {
    case 0:
        for (int bit = address; bit < address + count; ++bit)
            answer.append(static_cast<char>((byteOr0(bytes, bit / 8) >> (bit % 8)) & 1));
        return answer;
    case 1:
        for (int i = 0; i < count; ++i)
            answer.append(byteOr0(bytes, address + i)).append('\0');
        return answer;
    case 2:
        return bytes.mid(2 * address, 2 * count);
    case 3:
        return bytes.mid(4 * address, (count + 1) / 2 * 4);
    default:
        return bytes.mid(8 * address, (count + 3) / 4 * 8);
    }
}

std::string ShadowImage::difference(const Image &image) const {
    if (static_cast<int>(stations.size()) != image.size()) {
        return "image has " + std::to_string(image.size()) + " stations, not " +
               std::to_string(stations.size());
    }
    auto actual = image.cbegin();
    for (const auto &[number, areas] : stations) {
        if (actual.key() != number || actual.value().size() != static_cast<int>(areas.size()))
            return "areas of station " + std::to_string(number) + " differ";
        auto actualArea = actual.value().cbegin();
        for (const auto &[key, expected] : areas) {
            if (actualArea.key() != key) {
                return "area " + std::to_string(key) + " of station " + std::to_string(number) +
                       " is missing";
            }
            std::string found = differenceOf(expected.bytes, actualArea.value(), number, key);
            if (!found.empty())
                return found;
            ++actualArea;
        }
        ++actual;
    }
    return {};
}

std::string ShadowImage::unheldRegister(const Image &image, const Plant &plant) const {
    for (const auto &[number, areas] : stations) {
        for (const auto &[key, expected] : areas) {
            const QByteArray bytes = image.value(number).value(key);
            for (size_t reg = 0; reg < expected.origins.size(); ++reg) {
                const int index = static_cast<int>(2 * reg);
                const int value = static_cast<unsigned char>(byteOr0(bytes, index)) +
                                  256 * static_cast<unsigned char>(byteOr0(bytes, index + 1));
                if (expected.origins[reg] == Origin::Plc &&
                    !plant.hasHeld(number, key, index / 2, static_cast<quint16>(value)))
                    return placeOf(number, key, index) + " holds a value its register never had";
            }
        }
    }
    return {};
}
