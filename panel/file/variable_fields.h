// Reads the variables of a panel file.
#pragma once

#include "panel/file/json_fields.h"
#include "panel/file/line_settings.h"
#include "panel/file/variable.h"

#include <vector>

// One of `variables`, or of `onceReads`. What is wrong with it becomes errors. Its values can be
// read from the file while `isValueKnown`, whatever else is wrong.
Variable readVariable(const JsonFields &fields, const std::vector<LineSettings> &lines, bool once,
                      bool *isValueKnown);
