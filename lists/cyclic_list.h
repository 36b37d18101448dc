// The parts of which the cyclic list is built. The entry points are in plc_driver.h.
#pragma once

#include "driver/records.h"

#include <QList>

// Most requests of the cyclic list, or queued writes, that one variable is cut into: more than the
// registers that an address on the wire can tell apart. A longer variable gets none at all.
constexpr int MaxPieces = 65536;

// Sorts by address, ascending; equal addresses keep their order.
Q_DECL_EXPORT void Bubble_Sort(QList<RW_VAR> *vars);

// Appends to readList the requests that cover one sorted group of spans, all of one station and
// area, with at most blockLimit registers each; a block limit of 1 joins equal start registers only
// and cuts nothing. Below 1 it appends nothing. The caller holds listMutex.
Q_DECL_EXPORT void BitVarReCreat(QList<RW_VAR> *group, int blockLimit);

// Appends `var` to `pieces`, cut into pieces of at most `limit` elements when `count` is larger;
// `var` is left as the last piece. A limit below 1 appends nothing and leaves `var` alone.
Q_DECL_EXPORT void WhetherGroup(int count, int limit, RW_VAR *var, QList<RW_VAR> *pieces);
