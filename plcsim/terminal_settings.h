// Speed and framing of a terminal device, at any speed: the kernel's own interface knows them all.
#pragma once

#include <optional>

enum class Parity { None, Odd, Even };

struct LineSettings {
    int baud = 19200;
    Parity parity = Parity::Even;
    int stopBits = 1;
};

// What is set on the device; on the near end of a pseudo-terminal, what its far end is set to. The
// kernel keeps no parity there.
std::optional<LineSettings> readSettings(int descriptor);

// Raw bytes with these settings. False with errno on failure.
bool applySettings(int descriptor, const LineSettings &settings);
