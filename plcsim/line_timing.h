// How long characters and silences take on the line.
#pragma once

#include "clock.h"

#include <cstdint>

struct LineTiming {
    int baud = 0; // 0: the line takes no time at all
    int bitsPerCharacter = 11;
    bool isReal = false; // a real port: bytes are seen when they are through, and sent at once

    // Each byte is to be held back for as long as it is on the line.
    bool isPaced() const { return baud > 0 && !isReal; }
    Nanoseconds characters(std::int64_t count) const { return charactersAt(count, baud); }
    // Characters of a host that is set to another speed.
    Nanoseconds charactersAt(std::int64_t count, int hostBaud) const;
    // What parts two frames: 3.5 characters of 11 bits, 1.75 ms above 19200 baud.
    Nanoseconds silence() const;
};
