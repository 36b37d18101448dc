// A PLC variable as the panel file names it, and what its register type means for the panel.
#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <optional>

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

// How the bytes of a value lie on the wire, A the most significant one, two to a register; longer
// values alike: CDAB has its lowest register first. In a text A is the first character of a
// register: in its high byte with ABCD, in its low byte with any other.
enum class Order { ABCD, BADC, CDAB, DCBA };

// What a variable covers on the wire's side: registers of one area.
struct RegisterSpan {
    int station = 0;
    int area = 0; // 6, 7 or 8
    int first = 0;
    int count = 0;
};

struct Variable {
    QString name;
    size_t line = 0;     // index in PanelFile::lines
    int station = 0;     // 0: all stations, which can only be written
    int regType = 0;     // 0 to 14, see driver/records.h
    QString addressText; // as the driver takes it
    int address = 0;     // the same in units of the register type
    int count = 1;       // values

    Display display = Display::Unsigned;
    int words = 1; // elements of the type that form one value: 2 or 4 only over a 16-bit type
    Order order = Order::CDAB;

    // What people read is raw * scale + offset; for numbers alone.
    double scale = 1;
    double offset = 0;
    int decimals = -1; // behind the point; -1 as many as it takes
    QString unit;      // shown after the value, not part of its text

    std::optional<double> min; // of what is written, in what people read
    std::optional<double> max;
    bool writable = false; // from outside the file: the page, the broker

    bool moves = false;  // expected to change while the panel runs
    QByteArray expected; // a value that is to show up, as GetRegisterData answers; empty: none
    bool once = false;   // read once, not polled

    const ElementWidth &width() const;
    int valueBits() const { return width().bits * words; }
    bool isBroadcast() const { return station == 0; }
    // Area 6 holds the PLC's inputs.
    bool isReadOnly() const { return regType % 3 == 0; }
    bool isNumber() const;
    bool isScaled() const { return scale != 1 || offset != 0; }
    // Values that one read request is sure to hold.
    int maxCount() const { return width().maxRead / words; }
    // The count in the driver's units: bits, bytes or registers.
    int hostCount() const { return count * words * width().hostCount; }
    // The length of its data as the driver gives and takes them.
    int hostBytes() const { return count * words * width().hostBytes; }
    RegisterSpan span() const;
};

// What a format's name means for elements of `bits` bits. Over 16-bit elements it may be one of 32
// or 64 bits, which takes several.
struct FormatMatch {
    bool known = false; // the name, for whatever width
    bool fits = false;  // the rest holds only then
    Display display = Display::Unsigned;
    int words = 1;
};
FormatMatch findFormat(const QString &name, int bits);
// The names that fit, for an error: "hex, int16, int32, ...".
QString formatsFor(int bits);
// Those of all widths.
QString allFormats();

// A text knows ABCD and BADC alone, where its first character lies in each register.
std::optional<Order> findOrder(const QString &name, bool isText);
QString ordersFor(bool isText);

// Why nobody can write the variable, whatever the value; empty when it can be written. Every write
// travels in one request of at most `blockLimit` elements, so that it is acknowledged once.
QString writeObstacle(const Variable &variable, int blockLimit);

// Which of its registers no area has, "register 65540 is beyond 65535"; empty when all are there.
QString beyondArea(const Variable &variable);

// Where the variable lies, for people: "holding 100", "input 10 to 17", "holding 220.5". Registers
// as they are on the wire.
QString placeText(const Variable &variable);
