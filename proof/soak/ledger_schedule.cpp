// Which request comes next, and what it asks of the station.
#include "ledger.h"

#include "requests.h"

namespace {

constexpr int MostInARow = 5;

int areaOf(int regType) {
    return regType % 3 + FirstArea;
}

bool isPatched(int regType) {
    return regType == 1 || regType == 2 || regType == 4 || regType == 5;
}

} // namespace

const ExpectedRequest *Ledger::next() {
    if (!requests.empty())
        return &requests.front();
    if (chooseWrite() || chooseOnceRead() || chooseCyclic())
        return &requests.front();
    counters.writeBurst = 0;
    counters.onceBurst = 0;
    counters.scanDone = 1;
    return nullptr;
}

bool Ledger::chooseWrite() {
    if (counters.writeBurst >= MostInARow)
        return false;
    while (!writes.empty() && isDisabled(writes.front().station))
        writes.pop_front();
    if (writes.empty())
        return false;
    addWriteRequests(writes.front());
    counters.listKind = 1;
    ++counters.writeBurst;
    return true;
}

bool Ledger::chooseOnceRead() {
    if (counters.onceBurst >= MostInARow)
        return false;
    while (!onceReads.empty() &&
           (isDisabled(onceReads.front().station) || !hasRequest(onceReads.front())))
        onceReads.pop_front();
    if (onceReads.empty())
        return false;
    addReadRequest(onceReads.front());
    counters.listKind = 2;
    ++counters.onceBurst;
    return true;
}

bool Ledger::chooseCyclic() {
    size_t passed = 0;
    while (passed < cyclic.size() &&
           (isDisabled(cyclic.front().station) || !hasRequest(cyclic.front()))) {
        cyclic.push_back(cyclic.front());
        cyclic.pop_front();
        ++passed;
    }
    if (passed == cyclic.size())
        return false;
    addReadRequest(cyclic.front());
    if (settings.remoteMode == 0)
        cyclic.front().result = -1;
    counters.listKind = 0;
    counters.writeBurst = 0;
    counters.onceBurst = 0;
    return true;
}

// A read of another area has no Modbus request; the remote side gets anything.
bool Ledger::hasRequest(const RW_VAR &var) const {
    return settings.remoteMode != 0 || (var.regType >= 6 && var.regType <= 8);
}

void Ledger::addReadRequest(const RW_VAR &var) {
    requests.push_back({var, var.count * 2 + 5, Access()});
    counters.frameCount = 1;
    counters.frameIndex = 0;
}

void Ledger::addWriteRequests(const RW_VAR &var) {
    const bool remote = settings.remoteMode != 0;
    counters.frameIndex = 0;
    counters.frameCount = 1;
    if (!remote && isPatched(var.regType)) {
        const bool bit = var.regType < 3;
        addPatchedWrite(var, areaOf(var.regType), var.address / (bit ? 16 : 2), bit ? -1 : -2);
        counters.frameCount = 2;
    } else {
        requests.push_back({var, var.station == 0 ? 0 : 8, accessOfWrite(var)});
    }
    if (remote || !counters.commFailed)
        image.writeBack(var);
}

// Two requests: the read of the register, and its write, whose data are still zero.
void Ledger::addPatchedWrite(const RW_VAR &var, int regType, int reg, int saveMode) {
    RW_VAR half = var;
    half.regType = regType;
    half.address = reg;
    half.count = 1;
    half.value = QByteArray(2, '\0');
    half.isWrite = 0;
    half.saveMode = saveMode;
    requests.push_back({half, 7, Access()});
    half.isWrite = 1;
    half.saveMode = 0;
    requests.push_back({half, var.station == 0 ? 0 : 8, accessOfWrite(half)});
}

void Ledger::delivered() {
    const ExpectedRequest &request = requests.front();
    if (!request.access.isWrite || !isServed(request.access))
        return;
    for (auto &[number, memory] : plc) {
        const bool addressed = request.var.station == 0 || request.var.station == number;
        if (!addressed || !plant.stations.at(number).alive)
            continue;
        for (const RegisterChange &change : request.access.changes)
            memory.change(request.access.area, change);
    }
}
