// One round: a fresh driver, a plant and a line drawn from a seed, exchanges with faults and then
// the calm in which image and PLC must become equal.
#pragma once

#include "round_setup.h"
#include "tally.h"

#include <string>

// Runs the round; empty, or the violation that ended it.
std::string runRound(quint64 seed, ScreenChoice screens, Tally &tally);

// Puts the loaded driver back to where loading it left it.
void resetDriver();
