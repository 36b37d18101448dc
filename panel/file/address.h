// Addresses as people type them on a command line:
//
//     [STATION/]AREA:REGISTER[.BIT][*COUNT][:FORMAT[:ORDER]]
//
// "holding:100", "2/input:10*4:float", "holding:220.5", "holding:30*8:text:ABCD". AREA is input or
// holding, REGISTER 0 to 65535 as on the wire, BIT 0 to 15 of that register. FORMAT is one of a
// 16-bit type, uint16 when it is left out; COUNT counts its values (a text's registers).
#pragma once

#include "panel/file/variable.h"

#include <QString>

#include <optional>

// The variable at the address, named like it, of `station` when the address names none. Station 0
// is taken: that it can only be written is the caller's to say. Otherwise one sentence in `error`.
std::optional<Variable> parseAddress(const QString &address, int station, QString *error);
