// Reads the variables of a panel file.
#pragma once

#include "panel/file/json_fields.h"
#include "panel/file/line_settings.h"
#include "panel/file/variable.h"

#include <vector>

// One of `variables`, or of `onceReads`. What is wrong with it becomes errors.
Variable readVariable(const JsonFields &fields, const std::vector<LineSettings> &lines, bool once);
