// Checks a cyclic list against its definitions, register by register.
#include "cyclic_cover.h"

#include "ledger.h"

#include <map>
#include <set>
#include <tuple>

namespace {

using Place = std::tuple<int, int, int>; // station, area, register

int firstRegister(const VARDEF &definition) {
    const QString text = definition.addressText;
    const int dot = text.indexOf('.');
    switch (definition.regType / 3) {
    case 0:
        return (text.left(dot).toInt() * 8 + text.mid(dot + 1).toInt()) / 16;
    case 1:
        return text.toInt() / 2;
    case 2:
        return text.toInt();
    case 3:
        return text.toInt() * 2;
    default:
        return text.toInt() * 4;
    }
}

int lastRegister(const VARDEF &definition) {
    const QString text = definition.addressText;
    const int dot = text.indexOf('.');
    const int last = definition.count - 1;
    switch (definition.regType / 3) {
    case 0:
        return (text.left(dot).toInt() * 8 + text.mid(dot + 1).toInt() + last) / 16;
    case 1:
        return (text.toInt() + last) / 2;
    case 2:
        return text.toInt() + last;
    case 3:
        return text.toInt() * 2 + last / 2 * 2 + 1;
    default:
        return text.toInt() * 4 + last / 4 * 4 + 3;
    }
}

std::set<Place> placesOf(const QList<VARDEF> &definitions, const ComInfo &info) {
    std::set<Place> places;
    for (const VARDEF &definition : definitions) {
        const int station = info.useVarStation != 0 ? definition.station : info.defaultStation;
        for (int reg = firstRegister(definition); reg <= lastRegister(definition); ++reg)
            places.insert({station, definition.regType % 3 + FirstArea, reg});
    }
    return places;
}

} // namespace

std::string uncovered(const QList<VARDEF> &definitions, const QList<RW_VAR> &requests,
                      const ComInfo &info) {
    const bool merging = info.blockLimit > 1;
    std::set<Place> wanted = placesOf(definitions, info);
    Place end{-1, 0, 0};
    for (const RW_VAR &request : requests) {
        const Place start{request.station, request.regType, request.address};
        if (merging && (start < end || request.count > info.blockLimit))
            return "cyclic list out of order, overlapping or above the limit: " + describe(request);
        if (request.count < 1 || request.result == -1 || request.itemId != -1)
            return "cyclic list has a bad request: " + describe(request);
        end = {request.station, request.regType, request.address + request.count};
        bool useful = false;
        for (int i = 0; i < request.count; ++i)
            useful |= wanted.erase({request.station, request.regType, request.address + i}) != 0;
        if (merging && !useful)
            return "cyclic list reads what nobody asked for: " + describe(request);
    }
    if (wanted.empty())
        return {};
    const auto [station, area, reg] = *wanted.begin();
    return "cyclic list leaves out station " + std::to_string(station) + " area " +
           std::to_string(area) + " register " + std::to_string(reg);
}
