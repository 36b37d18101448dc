#include "process_values.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <string>

namespace {

double sine(unsigned cycle) {
    return std::sin(cycle * 0.05);
}

template <typename Value>
void put(std::uint16_t *registers, Value value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof value);
    for (std::size_t i = 0; i < sizeof value / 2; ++i)
        registers[i] = static_cast<std::uint16_t>(bits >> (16 * i));
}

void putText(std::uint16_t *registers, const std::string &text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned character = static_cast<unsigned char>(text[i]);
        const unsigned other = i % 2 == 0 ? 0U : registers[i / 2];
        registers[i / 2] = static_cast<std::uint16_t>(other | (character << (8 * (i % 2))));
    }
}

} // namespace

void writeProcessValues(int station, unsigned cycle, std::uint16_t *block) {
    const auto number = static_cast<unsigned>(station);
    put(block + 0, static_cast<std::uint16_t>(1000 * number + cycle));
    put(block + 1, static_cast<std::uint16_t>(cycle % 1001));
    put(block + 2, static_cast<std::int16_t>(std::lround(1000 * sine(cycle))));
    put(block + 3, static_cast<std::uint16_t>(cycle / 8));
    put(block + 4, static_cast<std::uint32_t>(cycle * 65537U));
    put(block + 6, static_cast<float>(sine(cycle)));
    put(block + 8, number * 1'000'000'000'000ULL + cycle * 1'000'000'007ULL);
    put(block + 12, static_cast<std::uint16_t>((~cycle << 8) | (cycle & 0xFFU)));
    put(block + 16, sine(cycle));
    putText(block + 20, "STATION " + std::to_string(station));
}

void writeProcessBits(unsigned cycle, std::uint8_t *bits) {
    for (unsigned i = 0; i < MovingBits; ++i)
        bits[i] = cycle / 8 >> i & 1U;
}
