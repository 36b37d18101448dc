// Address texts, and the way from a variable in host form to its span of registers.
#pragma once

#include "driver/records.h"

#include <QString>

// The address in units of the register type; negative when the text is no address. Bit types (0 to
// 2): "a.b" is 8a + b, a part that is no number counts as 0. All others: one decimal number.
Q_DECL_EXPORT int StringAddressToInt(int regType, QString addressText);

// Rewrites regType, address and count of a variable from host form to span form, in place. Types
// outside 0 to 14 stay as they are. Always 0.
Q_DECL_EXPORT int updateRwVar(RW_VAR *var);
