// Reads the lines of a panel file.
#pragma once

#include "panel/file/json_fields.h"
#include "panel/file/line_settings.h"

#include <vector>

// The one of `port`, or those of `lines`; those that are wrong are among them.
std::vector<LineSettings> readLines(const JsonFields &top);
