#include "line_timing.h"

namespace {

constexpr std::int64_t Second = 1'000'000'000;
constexpr int FastBaud = 19200; // above it the silence does not get shorter

} // namespace

Nanoseconds LineTiming::charactersAt(std::int64_t count, int hostBaud) const {
    return Nanoseconds(baud > 0 ? count * bitsPerCharacter * Second / hostBaud : 0);
}

Nanoseconds LineTiming::silence() const {
    if (baud == 0)
        return Nanoseconds(0);
    return baud > FastBaud ? Nanoseconds(1'750'000) : Nanoseconds(77 * Second / 2 / baud);
}
