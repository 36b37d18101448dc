// A PLC variable as the panel file names it, and what its register type means for the panel.
#pragma once

#include <QByteArray>
#include <QString>

// One row for each element width; the register type divided by 3 is its index.
struct ElementWidth {
    int bits;
    int hostBytes;  // bytes of one element in the data of GetRegisterData and SetRegisterData
    int valueBytes; // how many of these carry the value; they come first, the lowest byte leading
    int hostCount;  // what one element adds to the count that the driver is given
    int maxRead;    // elements that one read request (125 registers) is sure to hold
    int maxWrite;   // elements that one write request (123 registers) holds
};

enum class Display { Bit, Signed, Unsigned, Float, Hex, Text };

// What a variable covers on the wire's side: registers of one area.
struct RegisterSpan {
    int station = 0;
    int area = 0; // 6, 7 or 8
    int first = 0;
    int count = 0;
};

struct Variable {
    QString name;
    int station = 0;     // 0: all stations, which can only be written
    int regType = 0;     // 0 to 14, see driver/records.h
    QString addressText; // as the driver takes it
    int address = 0;     // the same in units of the register type
    int count = 1;       // elements
    Display display = Display::Unsigned;
    bool moves = false;  // expected to change while the panel runs
    QByteArray expected; // a value that is to show up, as GetRegisterData answers; empty: none
    bool once = false;   // read once, not polled

    const ElementWidth &width() const;
    bool isBroadcast() const { return station == 0; }
    // Area 6 holds the PLC's inputs.
    bool isReadOnly() const { return regType % 3 == 0; }
    // The count in the driver's units: bits, bytes or registers.
    int hostCount() const { return count * width().hostCount; }
    RegisterSpan span() const;
};

// The display that a format's name means for elements of `bits` bits, as a pair: whether the name
// is known at all, and whether it fits. `display` is set when both hold.
struct FormatMatch {
    bool known;
    bool fits;
};
FormatMatch findFormat(const QString &name, int bits, Display *display);
