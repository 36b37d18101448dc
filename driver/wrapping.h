// Signed 32-bit arithmetic that wraps around, as the panel's processor does it, without undefined
// behaviour: addresses, counts and counters come from the host unchecked.
#pragma once

inline int wrappingAdd(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

inline int wrappingSubtract(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}

inline int wrappingMultiply(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b));
}
