// The clock that the simulated PLC keeps time by; changes of the time of day do not reach it.
#pragma once

#include <chrono>

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;
using Nanoseconds = std::chrono::nanoseconds;
