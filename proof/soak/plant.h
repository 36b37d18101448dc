// The simulated PLC stations: they know nothing but the bytes that arrive, and remember every value
// that a register has held.
#pragma once

#include "memory.h"

#include <QByteArray>

#include <array>
#include <map>
#include <vector>

struct Station {
    bool alive = true;
    Memory memory;
    // Values that each register was given by the PLC itself, oldest first.
    std::array<std::array<std::vector<quint16>, RegistersPerArea>, AreaCount> held;
};

class Plant {
public:
    // Stations with random registers.
    explicit Plant(const std::vector<int> &numbers, quint64 seed);

    // Carries a request frame out and returns the reply, empty when none comes: a dead or absent
    // station, a frame that is not sound, a broadcast. `remote`: a frame of the remote-mode link.
    QByteArray serve(const QByteArray &frame, bool remote);

    // The PLC's own program changes a register.
    void tick(int number, int area, int reg, quint16 value);

    bool hasHeld(int number, int area, int reg, quint16 value) const;

    std::map<int, Station> stations;

private:
    QByteArray serveAt(int number, unsigned char function, const Access &access);
};
