// What a rebuilt cyclic list owes its definitions.
#pragma once

#include "driver/com_info.h"
#include "driver/records.h"
#include "lists/vardef.h"

#include <QList>

#include <string>

// Empty when the requests are in order, do not overlap, keep the block limit, begin with a defined
// register and cover every register of every definition; otherwise what is wrong.
std::string uncovered(const QList<VARDEF> &definitions, const QList<RW_VAR> &requests,
                      const ComInfo &info);
