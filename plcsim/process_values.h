// The process that the simulated PLC controls: the registers that move, and those that wait.
//
// A cycle is one request to the station, broadcasts included: nothing moves between requests.
//
// Every table of registers (input, holding, holding from 5000 on) begins with the same block:
//
//   register    width     value
//    0          16-bit    counter: 1000 x station, one more each cycle
//    1          16-bit    ramp, 0 to 1000
//    2          16-bit    sine, -1000 to 1000, signed
//    3          bits      lamps: bit 0 changes every 8 cycles, bit 1 every 16, and so on
//    4,  5      32-bit    counter in steps of 65537, so that both registers move
//    6,  7      32-bit    sine, float
//    8 to 11    64-bit    counter from station x 10^12 in steps of 10^9 + 7
//   12          bytes     low byte: counter; high byte: counting down
//   16 to 19    64-bit    sine, double
//   20 to 27    text      "STATION 1", two characters a register, the first in the low byte
//
// Coils and discrete inputs 0 to 15 are the lamps; coils 100 to 199 wait to be written.
// Holding registers 100 to 199 and 5100 to 5199 start at 0 and wait to be written. Values of more
// than one register have their least significant one first.
#pragma once

#include <cstdint>

constexpr int InputRegisters = 200;
constexpr int HoldingRegisters = 5200;
constexpr int HighHolding = 5000; // first holding register of the third table
constexpr int Coils = 200;
constexpr int DiscreteInputs = 200;

constexpr int MovingRegisters = 28; // at the beginning of each block
constexpr int MovingBits = 16;

// Writes one cycle's values of a station into the block that begins at `block`.
void writeProcessValues(int station, unsigned cycle, std::uint16_t *block);
// The lamps as bits, one in each byte.
void writeProcessBits(unsigned cycle, std::uint8_t *bits);
