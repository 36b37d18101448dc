// What the driver holds of a variable.
#pragma once

#include "panel/file/variable.h"
#include "panel/line/driver_library.h"

#include <QByteArray>

// As GetRegisterData answers it: what a read has brought or a write has put there, zeros where
// neither has. Any thread.
QByteArray readValue(const Driver &driver, const Variable &variable);
