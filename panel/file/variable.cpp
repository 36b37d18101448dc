#include "panel/file/variable.h"

#include "panel/file/registers.h"

#include <QStringList>

#include <algorithm>
#include <array>

namespace {

constexpr int LastRegister = 65535;

constexpr std::array<ElementWidth, 5> Widths{{
    // bits, hostBytes, valueBytes, hostCount, maxRead, maxWrite
    {1, 1, 1, 1, 1984, 1},
    {8, 2, 1, 1, 248, 1},
    {16, 2, 2, 1, 125, 123},
    {32, 4, 4, 2, 62, 61},
    {64, 8, 8, 4, 31, 30},
}};

struct Format {
    const char *name;
    Display display;
    int bits;
};

constexpr std::array<Format, 20> Formats{{
    {"bit", Display::Bit, 1},          {"int8", Display::Signed, 8},
    {"int16", Display::Signed, 16},    {"int32", Display::Signed, 32},
    {"int64", Display::Signed, 64},    {"uint8", Display::Unsigned, 8},
    {"uint16", Display::Unsigned, 16}, {"uint32", Display::Unsigned, 32},
    {"uint64", Display::Unsigned, 64}, {"float", Display::Float, 32},
    {"float", Display::Float, 64},     {"double", Display::Float, 64},
    {"hex", Display::Hex, 8},          {"hex", Display::Hex, 16},
    {"hex", Display::Hex, 32},         {"hex", Display::Hex, 64},
    {"hex32", Display::Hex, 32},       {"hex64", Display::Hex, 64},
    {"text", Display::Text, 8},        {"text", Display::Text, 16},
}};

struct OrderName {
    const char *name;
    Order order;
    bool forText;
};

constexpr std::array<OrderName, 4> OrderNames{{
    {"CDAB", Order::CDAB, false},
    {"ABCD", Order::ABCD, true},
    {"BADC", Order::BADC, true},
    {"DCBA", Order::DCBA, false},
}};

// How many elements of `bits` bits a value of the format takes; 0 when it fits none.
int elementsFor(const Format &format, int bits) {
    if (format.bits == bits)
        return 1;
    return bits == RegisterBits && format.bits > bits ? format.bits / bits : 0;
}

} // namespace

const ElementWidth &Variable::width() const {
    return Widths.at(static_cast<size_t>(regType / 3));
}

bool Variable::isNumber() const {
    return display == Display::Signed || display == Display::Unsigned || display == Display::Float;
}

RegisterSpan Variable::span() const {
    const int firstBit = address * width().bits;
    const int endBit = firstBit + count * valueBits();
    const int first = firstBit / RegisterBits;
    const int end = (endBit + RegisterBits - 1) / RegisterBits;
    return {station, regType % 3 + 6, first, end - first};
}

FormatMatch findFormat(const QString &name, int bits) {
    FormatMatch match;
    // An element of the format's own width goes before several that form it.
    for (const bool several : {false, true}) {
        for (const Format &format : Formats) {
            if (name != format.name)
                continue;
            match.known = true;
            const int words = elementsFor(format, bits);
            if (!match.fits && words > 0 && (words > 1) == several)
                match = {true, true, format.display, words};
        }
    }
    return match;
}

QString formatsFor(int bits) {
    QStringList names;
    for (const Format &format : Formats) {
        if (elementsFor(format, bits) > 0)
            names += format.name;
    }
    names.removeDuplicates();
    return names.join(", ");
}

QString allFormats() {
    QStringList names;
    for (const Format &format : Formats)
        names += format.name;
    names.removeDuplicates();
    return names.join(", ");
}

std::optional<Order> findOrder(const QString &name, bool isText) {
    for (const OrderName &entry : OrderNames) {
        if (name == entry.name && (entry.forText || !isText))
            return entry.order;
    }
    return {};
}

QString ordersFor(bool isText) {
    QStringList names;
    for (const OrderName &entry : OrderNames) {
        if (entry.forText || !isText)
            names += entry.name;
    }
    return names.join(", ");
}

QString writeObstacle(const Variable &variable, int blockLimit) {
    if (variable.isReadOnly())
        return "it is in the input area";
    // The driver cuts a write by elements, and bits and bytes one by one.
    const int most = std::min(variable.width().maxWrite, blockLimit) / variable.words;
    if (variable.count > most)
        return QString("it has more than the %1 values of one write").arg(most);
    return {};
}

QString beyondArea(const Variable &variable) {
    const RegisterSpan span = variable.span();
    const int most = LastRegister - wireOffset(span.area);
    const int last = span.first + span.count - 1;
    return last > most ? QString("register %1 is beyond %2").arg(last).arg(most) : QString();
}

QString placeText(const Variable &variable) {
    const RegisterSpan span = variable.span();
    const int first = span.first + wireOffset(span.area);
    const int last = first + span.count - 1;
    const QString text = span.area == InputArea ? "input " : "holding ";
    if (variable.width().bits > 1)
        return text + QString::number(first) + (last > first ? QString(" to %1").arg(last) : "");
    const auto bit = [&](int index) {
        return QString("%1.%2").arg(first + index / RegisterBits).arg(index % RegisterBits);
    };
    const int firstBit = variable.address % RegisterBits;
    return text + bit(firstBit) +
           (variable.count > 1 ? " to " + bit(firstBit + variable.count - 1) : "");
}
