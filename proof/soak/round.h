// One round: a fresh driver, stations and a line drawn from a seed, exchanges with faults, and then
// the calm in which image and PLC become equal.
#pragma once

#include "tally.h"

#include <string>

// Screens act between the calls. Empty, or the broken promise with what repeats it.
std::string runRound(quint64 seed, Tally &tally);

// Each screen on a thread of its own.
std::string runThreadedRound(quint64 seed, int threads, Tally &tally);
