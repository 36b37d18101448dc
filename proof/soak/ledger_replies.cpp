// What a reply must lead to.
#include "ledger.h"

#include "requests.h"
#include "sealing.h"

#include <algorithm>

namespace {

enum Base : int { Invalid = 10, NoReply = 40, WrongLength = 70, RemoteStep = 100 };
constexpr int Good = 1;
constexpr int GoodRemote = 100;

bool isGood(int code) {
    return code == Good || code == GoodRemote;
}

unsigned byteOf(const QByteArray &bytes, int index) {
    return static_cast<unsigned char>(bytes.at(index));
}

// Only the remote link asks for anything else.
bool hasArea(const RW_VAR &var) {
    return var.regType >= FirstArea && var.regType < FirstArea + AreaCount;
}

bool sameHostRequest(const RW_VAR &a, const RW_VAR &b) {
    return a.ownerId == b.ownerId && a.itemId == b.itemId;
}

} // namespace

bool sameRecord(const RW_VAR &a, const RW_VAR &b) {
    return a.ownerId == b.ownerId && a.itemId == b.itemId && a.isWrite == b.isWrite &&
           a.remoteMode == b.remoteMode && a.portId == b.portId && a.regType == b.regType &&
           a.address == b.address && a.station == b.station && a.count == b.count &&
           a.saveMode == b.saveMode && a.spare == b.spare && a.hostText == b.hostText &&
           a.addressText == b.addressText && a.value == b.value;
}

std::string describe(const RW_VAR &var) {
    return (var.isWrite != 0 ? "write" : "read") + std::string(" owner ") +
           std::to_string(var.ownerId) + " item " + std::to_string(var.itemId) + " port " +
           std::to_string(var.portId) + " type " + std::to_string(var.regType) + " address " +
           std::to_string(var.address) + " station " + std::to_string(var.station) + " count " +
           std::to_string(var.count) + " saveMode " + std::to_string(var.saveMode) + " result " +
           std::to_string(var.result) + " value " + var.value.toHex().toStdString();
}

int Ledger::failureCode(int base) const {
    const RW_VAR &var = requests.front().var;
    const int offset = var.ownerId >= 0 && var.ownerId <= 11 ? var.ownerId + 1 : 1;
    return base + offset + (var.portId == settings.portId ? 0 : RemoteStep);
}

int Ledger::judge(const QByteArray &reply) const {
    const ExpectedRequest &request = requests.front();
    if (reply.isEmpty() && request.replyLength != 0)
        return failureCode(NoReply);
    if (reply.size() != request.replyLength)
        return failureCode(WrongLength);
    const bool sound =
        request.var.station == 0 ||
        (reply.size() >= 6 && static_cast<int>(byteOf(reply, 0)) == request.var.station &&
         isSealed(reply));
    if (!sound)
        return failureCode(Invalid);
    const bool local = request.var.portId == settings.portId;
    const bool secondHalf = request.var.saveMode == -1 && counters.frameIndex != 1;
    return local || secondHalf ? Good : GoodRemote;
}

Outcome Ledger::settle(const QByteArray &reply, bool genuine) {
    Outcome outcome;
    currentVar.result = Good;
    if (requests.empty())
        return outcome;
    const bool local = requests.front().var.portId == settings.portId;
    const int code = judge(reply);
    if (!isGood(code)) {
        currentVar.result = 0;
        if (++counters.retryCount <= settings.retryLimit)
            return outcome;
        giveUp();
    } else {
        outcome.undetectable = !genuine;
        use(reply, genuine);
        requests.pop_front();
        counters.commFailed = false;
        if (++counters.frameIndex < counters.frameCount) {
            currentVar.result = code;
            return outcome;
        }
        countPass(local);
    }
    finish(local, outcome.reports);
    currentVar.result = code;
    return outcome;
}

std::vector<quint16> Ledger::registersOf(const RW_VAR &var, const QByteArray &reply,
                                         bool genuine) const {
    std::vector<quint16> registers;
    for (int i = 0; i < var.count; ++i) {
        const auto carried =
            static_cast<quint16>(byteOf(reply, 3 + 2 * i) * 256 + byteOf(reply, 4 + 2 * i));
        registers.push_back(genuine ? plc.at(var.station).at(var.regType, var.address + i)
                                    : carried);
    }
    return registers;
}

// A read's data into the image, or into the write that waits for them.
void Ledger::use(const QByteArray &reply, bool genuine) {
    const RW_VAR &var = requests.front().var;
    if (var.isWrite != 0 || var.station == 0)
        return;
    const bool local = var.portId == settings.portId;
    if (var.saveMode != 0) {
        if (local || var.saveMode == -1)
            patch(registersOf(var, reply, genuine));
    } else if (local && !hasArea(var)) {
        image.makeRoom(var.station, var.regType, var.address, var.count);
    } else if (local) {
        const bool written = areasOfScreens.count(var.regType) != 0;
        image.store(var.station, var.regType, var.address, registersOf(var, reply, genuine),
                    genuine && !written ? Origin::Plc : Origin::Other);
    }
}

// The register as read with the one bit or byte changed.
void Ledger::patch(const std::vector<quint16> &registers) {
    Access change = accessOfWrite(writes.front());
    const RegisterChange &part = change.changes.front();
    RegisterChange &whole = requests[1].access.changes.front();
    whole.value = static_cast<quint16>((registers.front() & ~part.mask) | part.value);
}

void Ledger::giveUp() {
    counters.commFailed = true;
    counters.passCount = 0;
    counters.scanDone = 0;
    counters.retryCount = 0;
    requests.clear();
}

void Ledger::countPass(bool local) {
    if (counters.scanDone != 0 || !local)
        return;
    if (++counters.passCount > static_cast<int>(cyclic.size())) {
        counters.passCount = 0;
        counters.scanDone = 1;
    }
}

void Ledger::finish(bool local, std::vector<Report> &reports) {
    const bool failed = counters.commFailed;
    if (counters.listKind == 1) {
        finishQueued(writes, true, reports);
    } else if (counters.listKind == 2) {
        finishQueued(onceReads, local, reports);
    } else if (counters.listKind == 0) {
        finishCyclic();
    }
    if (!failed)
        return;
    reports.push_back({true, currentVar.ownerId, 0, 1});
    if (counters.listKind == 1) {
        dropDuplicates(writes);
    } else if (counters.listKind == 2) {
        dropDuplicates(onceReads);
    }
}

void Ledger::finishQueued(std::deque<RW_VAR> &queue, bool reporting, std::vector<Report> &reports) {
    if (queue.empty())
        return;
    const RW_VAR head = queue.front();
    queue.pop_front();
    const bool again = std::any_of(queue.begin(), queue.end(), [&head](const RW_VAR &waiting) {
        return sameHostRequest(waiting, head);
    });
    if (reporting && (counters.commFailed || !again))
        reports.push_back({false, head.ownerId, head.itemId, counters.commFailed ? 2 : 1});
    currentVar = head;
    currentVar.value.clear();
}

void Ledger::finishCyclic() {
    if (cyclic.empty() || cyclic.front().result != -1)
        return;
    cyclic.front().result = 0;
    currentVar = cyclic.front();
    currentVar.value.clear();
    cyclic.push_back(cyclic.front());
    cyclic.pop_front();
}

void Ledger::dropDuplicates(std::deque<RW_VAR> &queue) {
    const auto same = [this](const RW_VAR &waiting) {
        return sameHostRequest(waiting, currentVar) &&
               (settings.useVarStation == 0 || waiting.station == currentVar.station);
    };
    queue.erase(std::remove_if(queue.begin(), queue.end(), same), queue.end());
}
