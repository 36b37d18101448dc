// How far a value can be trusted.
#pragma once

enum class Quality {
    Never, // not read yet: there is no value
    Good,  // the last read of it succeeded
    Old,   // was read, but it is no longer known to hold
};
