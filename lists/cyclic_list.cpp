// Builds the cyclic read list: parse, group, sort, merge, cut.
#include "lists/cyclic_list.h"

#include "driver/Communication_Protocol.h"
#include "driver/wrapping.h"
#include "lists/address.h"
#include "plc_driver.h"

#include <algorithm>

namespace {

using Groups = QMap<int, QMap<int, QList<RW_VAR>>>; // station -> area -> spans

qint64 endOf(const RW_VAR &span) {
    return qint64{span.address} + span.count;
}

// Pieces of at most `limit` elements in `count`; both at least 1.
qint64 piecesIn(qint64 count, int limit) {
    return (count + limit - 1) / limit;
}

// Appends `count` registers from `address` on, cut at `limit`, as copies of `model`.
void appendPieces(const RW_VAR &model, int address, qint64 count, int limit) {
    if (count < 1 || piecesIn(count, limit) > MaxPieces) {
        return;
    }
    RW_VAR piece = model;
    piece.address = address;
    for (qint64 left = count; left > 0; left -= piece.count) {
        piece.count = static_cast<int>(std::min<qint64>(left, limit));
        PLC_driver.readList.append(piece);
        piece.address = wrappingAdd(piece.address, piece.count);
    }
}

// Lengthens the last request so that it ends with `span`; what goes beyond the limit becomes
// requests of their own.
void growBlock(const RW_VAR &span, int limit) {
    RW_VAR &block = PLC_driver.readList.last();
    const qint64 needed = endOf(span) - block.address;
    const qint64 rest = needed - limit;
    if (rest <= 0) {
        block.count = static_cast<int>(needed);
    } else if (piecesIn(rest, limit) <= MaxPieces) {
        block.count = limit;
        appendPieces(block, wrappingAdd(block.address, limit), rest, limit);
    }
}

void mergeSpans(const QList<RW_VAR> &group, int limit) {
    QList<RW_VAR> &requests = PLC_driver.readList;
    const int before = requests.size();
    for (const RW_VAR &span : group) {
        const bool opened = requests.size() > before;
        if (!opened || span.address >= qint64{requests.constLast().address} + limit) {
            appendPieces(span, span.address, span.count, limit);
        } else if (endOf(span) > endOf(requests.constLast())) {
            growBlock(span, limit);
        }
    }
}

// Without merging: of the spans that start at one register, the longest.
void keepLongest(const QList<RW_VAR> &group) {
    QList<RW_VAR> &requests = PLC_driver.readList;
    const int before = requests.size();
    for (const RW_VAR &span : group) {
        if (requests.size() == before || span.address != requests.constLast().address) {
            requests.append(span);
        } else if (span.count > requests.constLast().count) {
            requests.last().count = span.count;
        }
    }
}

RW_VAR requestTemplate(const VARDEF &definition, int address) {
    const ComInfo &info = *PLC_driver.comInfo;
    RW_VAR request;
    request.itemId = -1;
    request.remoteMode = info.remoteMode;
    request.portId = info.portId;
    request.hostText = definition.hostText;
    request.addressText = definition.addressText;
    request.regType = definition.regType;
    request.address = address;
    request.station = stationOf(definition.station);
    request.count = definition.count;
    return request;
}

// The definitions as spans; addresses that do not parse and station 0 are left out.
Groups groupedSpans(const QList<VARDEF> &definitions) {
    Groups groups;
    for (const VARDEF &definition : definitions) {
        const int address = StringAddressToInt(definition.regType, definition.addressText);
        if (address < 0) {
            continue;
        }
        RW_VAR span = requestTemplate(definition, address);
        if (span.station == 0) {
            continue;
        }
        updateRwVar(&span);
        groups[span.station][span.regType].append(span);
    }
    return groups;
}

} // namespace

int AddListReadVar(RW_VAR *var) {
    PLC_driver.readList.append(*var);
    return PLC_driver.readList.size();
}

int ReCreatReadVarList(QList<VARDEF> *definitions) {
    // readList and the pass: the loop sees the old list or the new one.
    const QMutexLocker lists(&PLC_driver.listMutex);
    PLC_driver.readList.clear();
    if (definitions->isEmpty()) {
        return 0;
    }
    PLC_driver.passCount = 0;
    PLC_driver.comInfo->scanDone = 0;
    const int limit = PLC_driver.comInfo->blockLimit;
    if (limit < 1) {
        return 0;
    }
    Groups groups = groupedSpans(*definitions);
    for (QMap<int, QList<RW_VAR>> &areas : groups) {
        for (QList<RW_VAR> &group : areas) {
            Bubble_Sort(&group);
            BitVarReCreat(&group, limit);
        }
    }
    return PLC_driver.readList.size();
}

void Bubble_Sort(QList<RW_VAR> *vars) {
    std::stable_sort(vars->begin(), vars->end(),
                     [](const RW_VAR &a, const RW_VAR &b) { return a.address < b.address; });
}

void BitVarReCreat(QList<RW_VAR> *group, int blockLimit) {
    if (blockLimit == 1) {
        keepLongest(*group);
    } else if (blockLimit > 1) {
        mergeSpans(*group, blockLimit);
    }
}

void WhetherGroup(int count, int limit, RW_VAR *var, QList<RW_VAR> *pieces) {
    if (limit < 1 || (count > limit && piecesIn(count, limit) > MaxPieces)) {
        return;
    }
    if (count <= limit) {
        pieces->append(*var);
        return;
    }
    const int first = var->address;
    for (int done = 0; done < count; done += var->count) {
        var->address = wrappingAdd(first, done);
        var->count = std::min(limit, count - done);
        pieces->append(*var);
    }
}
