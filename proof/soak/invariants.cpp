// The comparison, thing by thing.
#include "invariants.h"

#include "driver/Communication_Protocol.h"

#include <algorithm>

namespace {

std::string mismatch(const char *name, int actual, int expected) {
    return std::string(name) + " is " + std::to_string(actual) + ", not " +
           std::to_string(expected);
}

std::string checkCounters(const Counters &expected, const ComInfo &info) {
    const struct {
        const char *name;
        int actual;
        int expected;
    } counters[] = {
        {"retryCount", info.retryCount, expected.retryCount},
        {"frameCount", info.frameCount, expected.frameCount},
        {"frameIndex", info.frameIndex, expected.frameIndex},
        {"scanDone", info.scanDone, expected.scanDone},
        {"listKind", PLC_driver.listKind, expected.listKind},
        {"writeBurst", PLC_driver.writeBurst, expected.writeBurst},
        {"onceBurst", PLC_driver.onceBurst, expected.onceBurst},
        {"passCount", PLC_driver.passCount, expected.passCount},
        {"commFailed", PLC_driver.commFailed ? 1 : 0, expected.commFailed ? 1 : 0},
    };
    for (const auto &counter : counters) {
        if (counter.actual != counter.expected)
            return mismatch(counter.name, counter.actual, counter.expected);
    }
    return {};
}

bool sameEntry(const RW_VAR &a, const RW_VAR &b) {
    return a.result == b.result && sameRecord(a, b);
}

std::string checkEnds(const char *name, const QList<RW_VAR> &list,
                      const std::deque<RW_VAR> &expected) {
    if (list.size() != static_cast<int>(expected.size()))
        return mismatch(name, list.size(), static_cast<int>(expected.size()));
    if (list.isEmpty())
        return {};
    if (!sameEntry(list.constFirst(), expected.front())) {
        return std::string("head of ") + name + " is " + describe(list.constFirst()) + ", not " +
               describe(expected.front());
    }
    return sameEntry(list.constLast(), expected.back())
               ? std::string()
               : std::string("end of ") + name + " is " + describe(list.constLast()) + ", not " +
                     describe(expected.back());
}

std::string checkEntries(const char *name, const QList<RW_VAR> &list,
                         const std::deque<RW_VAR> &expected) {
    return list.size() == static_cast<int>(expected.size()) &&
                   std::equal(list.begin(), list.end(), expected.begin(), sameEntry)
               ? std::string()
               : std::string("entries of ") + name + " differ";
}

std::string checkStations(const Ledger &ledger, const Plant &plant) {
    for (const auto &[number, station] : plant.stations) {
        const Memory &expected = ledger.plc.at(number);
        if (expected == station.memory)
            continue;
        for (int area = FirstArea; area < FirstArea + AreaCount; ++area) {
            for (int reg = 0; reg < RegistersPerArea; ++reg) {
                if (expected.at(area, reg) != station.memory.at(area, reg)) {
                    return "PLC station " + std::to_string(number) + " area " +
                           std::to_string(area) + " register " + std::to_string(reg) + ": " +
                           mismatch("value", station.memory.at(area, reg), expected.at(area, reg));
                }
            }
        }
    }
    return {};
}

} // namespace

std::string checkRequest(const ExpectedRequest *expected, const Protocol *offered) {
    if ((expected == nullptr) != (offered == nullptr)) {
        return expected == nullptr ? "a request where none is due: " + describe(offered->var)
                                   : "no request, due is " + describe(expected->var);
    }
    if (expected == nullptr)
        return {};
    if (!sameRecord(expected->var, offered->var))
        return "request for " + describe(offered->var) + ", due is " + describe(expected->var);
    if (offered->frameLength != offered->frame.size())
        return mismatch("frameLength", offered->frameLength, offered->frame.size());
    if (offered->replyLength != expected->replyLength)
        return mismatch("replyLength", offered->replyLength, expected->replyLength);
    return {};
}

std::string checkState(const Ledger &ledger, const ComInfo &info, const Plant &plant) {
    std::string wrong = checkCounters(ledger.counters, info);
    if (wrong.empty() &&
        PLC_driver.requestList.size() != static_cast<int>(ledger.requests.size())) {
        wrong = mismatch("requestList", PLC_driver.requestList.size(),
                         static_cast<int>(ledger.requests.size()));
    }
    if (wrong.empty())
        wrong = checkEnds("writeList", PLC_driver.writeList, ledger.writes);
    if (wrong.empty())
        wrong = checkEnds("onceReadList", PLC_driver.onceReadList, ledger.onceReads);
    if (wrong.empty())
        wrong = checkEnds("readList", PLC_driver.readList, ledger.cyclic);
    if (wrong.empty())
        wrong = ledger.image.difference(DataStorage);
    return wrong.empty() ? checkStations(ledger, plant) : wrong;
}

std::string checkEverything(const Ledger &ledger, const ComInfo &info, const Plant &plant) {
    std::string wrong = checkState(ledger, info, plant);
    if (wrong.empty())
        wrong = checkEntries("writeList", PLC_driver.writeList, ledger.writes);
    if (wrong.empty())
        wrong = checkEntries("onceReadList", PLC_driver.onceReadList, ledger.onceReads);
    if (wrong.empty())
        wrong = checkEntries("readList", PLC_driver.readList, ledger.cyclic);
    return wrong.empty() ? ledger.image.unheldRegister(DataStorage, plant) : wrong;
}

std::string checkCurrent(const Ledger &ledger, const RW_VAR *returned) {
    if (returned != &PLC_driver.currentVar)
        return "DataCom returned another record";
    return sameEntry(*returned, ledger.currentVar)
               ? std::string()
               : "currentVar is " + describe(*returned) + ", not " + describe(ledger.currentVar);
}

std::string checkPassedOver(const Plant &plant) {
    for (const RW_VAR &request : PLC_driver.readList) {
        const QByteArray bytes = DataStorage.value(request.station).value(request.regType);
        const Memory &memory = plant.stations.at(request.station).memory;
        for (int reg = request.address; reg < request.address + request.count; ++reg) {
            const auto low = static_cast<unsigned char>(bytes.at(2 * reg));
            const auto high = static_cast<unsigned char>(bytes.at(2 * reg + 1));
            if (low + 256 * high != memory.at(request.regType, reg)) {
                return "after a full pass register " + std::to_string(reg) + " of " +
                       describe(request) + " is not the PLC's";
            }
        }
    }
    return {};
}
