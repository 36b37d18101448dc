// What there is to know of a read: its functions and the bytes of its two frames.
#pragma once

constexpr int ReadHolding = 3;
constexpr int ReadInput = 4;

constexpr int ReadRequestBytes = 8;
constexpr int ReadOverhead = 5; // of a reply: station, function, byte count, two of the checksum

constexpr int readReplyBytes(int registers) {
    return ReadOverhead + 2 * registers;
}
