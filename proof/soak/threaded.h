// A round whose screens are real threads.
#pragma once

#include "tally.h"

#include <string>

// Runs the round; empty, or the violation. What holds whatever the order of the threads' steps is
// checked: see threaded.cpp.
std::string runThreadedRound(quint64 seed, int threads, Tally &tally);
