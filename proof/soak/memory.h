// The registers of one PLC station, and changes to them.
#pragma once

#include <QtGlobal>

#include <array>
#include <vector>

// Every area of a simulated station has registers 0 to 255; what lies beyond is answered with an
// exception.
constexpr int RegistersPerArea = 256;
constexpr int FirstArea = 6;
constexpr int AreaCount = 3;

// The bits of `mask` in register `reg` take their value from `value`.
struct RegisterChange {
    int reg = 0;
    quint16 mask = 0xFFFF;
    quint16 value = 0;
};

class Memory {
public:
    quint16 at(int area, int reg) const { return areas[index(area)][static_cast<size_t>(reg)]; }

    void change(int area, const RegisterChange &change) {
        quint16 &target = areas[index(area)][static_cast<size_t>(change.reg)];
        target = static_cast<quint16>((target & ~change.mask) | (change.value & change.mask));
    }

    bool operator==(const Memory &other) const { return areas == other.areas; }

private:
    static size_t index(int area) { return static_cast<size_t>(area - FirstArea); }
    std::array<std::array<quint16, RegistersPerArea>, AreaCount> areas{};
};

// One access of a master: registers to read, or changes to make.
struct Access {
    bool isWrite = false;
    int area = 0;
    int first = 0;
    int count = 0;
    std::vector<RegisterChange> changes;
};

// Whether a station carries the access out: it has the registers, and their number is within what
// the protocol allows.
inline bool isServed(const Access &access) {
    const int most = access.isWrite ? 123 : 125;
    return access.area >= FirstArea && access.area < FirstArea + AreaCount && access.count >= 1 &&
           access.count <= most && access.first >= 0 &&
           access.first + access.count <= RegistersPerArea;
}
