#include "variable.h"

#include <array>

namespace {

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

constexpr std::array<Format, 17> Formats{{
    {"bit", Display::Bit, 1},
    {"int8", Display::Signed, 8},
    {"int16", Display::Signed, 16},
    {"int32", Display::Signed, 32},
    {"int64", Display::Signed, 64},
    {"uint8", Display::Unsigned, 8},
    {"uint16", Display::Unsigned, 16},
    {"uint32", Display::Unsigned, 32},
    {"uint64", Display::Unsigned, 64},
    {"float", Display::Float, 32},
    {"float", Display::Float, 64},
    {"hex", Display::Hex, 8},
    {"hex", Display::Hex, 16},
    {"hex", Display::Hex, 32},
    {"hex", Display::Hex, 64},
    {"text", Display::Text, 8},
    {"text", Display::Text, 16},
}};

} // namespace

const ElementWidth &Variable::width() const {
    return Widths.at(static_cast<size_t>(regType / 3));
}

RegisterSpan Variable::span() const {
    constexpr int RegisterBits = 16;
    const int bits = width().bits;
    const int firstBit = address * bits;
    const int endBit = firstBit + count * bits;
    const int first = firstBit / RegisterBits;
    const int end = (endBit + RegisterBits - 1) / RegisterBits;
    return {station, regType % 3 + 6, first, end - first};
}

FormatMatch findFormat(const QString &name, int bits, Display *display) {
    FormatMatch match{false, false};
    for (const Format &format : Formats) {
        if (name != format.name)
            continue;
        match.known = true;
        if (bits == format.bits) {
            match.fits = true;
            *display = format.display;
        }
    }
    return match;
}
