// What the baud rate makes of characters, frames and the silence between them.
#pragma once

#include "panel/file/line_settings.h"

#include <chrono>

using LineTime = std::chrono::nanoseconds;

LineTime characterTime(const LineSettings &settings);
// That many characters without a gap.
LineTime frameTime(const LineSettings &settings, int bytes);

// Between the last byte of a frame and the first of the next: silenceUs, or where it is 0 what the
// baud rate asks for.
LineTime silentInterval(const LineSettings &settings);

// A response time-out for a station whose latest answer took that long: half as much again, in
// steps that people would choose.
int sufficientTimeoutMs(std::chrono::microseconds latest);
