// Variables as a host names them, and what they are in the registers of a station.
#pragma once

#include "tests/stations.h"

#include <QByteArray>
#include <QString>

// A station's registers of each area from 0 on: the PLC's own program changes the first, screens
// write the next, and a value of many bits stands behind them, where nothing is read.
constexpr int FirstOfScreen = 64;
constexpr int RegistersRead = 128;
constexpr int RegistersInUse = 200;

struct Variable {
    int station = 0;
    int regType = 0;
    int address = 0; // in units of the type
    int elements = 1;

    int area() const { return regType % 3 + 6; }
    int width() const; // bits of an element
    int firstBit() const { return address * width(); }
    int bits() const { return elements * width(); }

    // As entry points take them. A count of registers is one short, which the driver rounds up.
    QString addressText() const;
    int hostCount() const;

    // The value of which every bit is clear: a byte for each bit, otherwise the bytes.
    QByteArray zeros() const;
};

// A register of an area; area 8 begins at holding register 5000.
quint16 &registerOf(Stations &stations, int station, int area, int reg);

// The bits of one register that belong to a variable, and what they are when it has the value.
struct Part {
    quint16 mask = 0;
    quint16 value = 0;
};
Part partOf(const Variable &variable, int reg, const QByteArray &value);

// What the station holds, least significant byte first.
QByteArray heldValue(Stations &stations, const Variable &variable);

// A value as hosts hand it in and get it: bytes stand in items of two.
QByteArray hostForm(const Variable &variable, const QByteArray &value);
