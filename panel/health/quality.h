// How far a value can be trusted.
#pragma once

#include <array>
#include <cstddef>

enum class Quality {
    Never, // not read yet: there is no value
    Good,  // the last read of it succeeded
    Old,   // was read, but it is no longer known to hold
};

// As the log, the page and the broker have it.
inline const char *qualityName(Quality quality) {
    constexpr std::array<const char *, 3> Names{"never", "good", "old"};
    return Names.at(static_cast<std::size_t>(quality));
}
