// Any definitions and block limits into the cyclic list, any records into the queues.
#include "lists/cyclic_list.h"

#include "driver/Communication_Protocol.h"
#include "fuzzed_host.h"
#include "lists/address.h"
#include "plc_driver.h"

namespace {

constexpr int MostDefinitions = 12;
constexpr int MostRecords = 40;
constexpr int QueueBound = 1024;

bool isOrdered(const RW_VAR &a, const RW_VAR &b) {
    if (a.station != b.station)
        return a.station < b.station;
    return a.regType < b.regType || (a.regType == b.regType && a.address <= b.address);
}

// What lies beyond the int's end wraps around, so order is only promised where nothing does.
void checkCyclicList(int limit) {
    const QList<RW_VAR> &list = PLC_driver.readList;
    require(limit > 0 || list.isEmpty(), "no request with a limit below 1");
    require(list.size() <= MostDefinitions * (MaxPieces + 1), "a variable has a bounded number");
    bool wraps = false;
    for (int i = 0; i < list.size() && limit > 1; ++i) {
        const RW_VAR &request = list.at(i);
        require(request.count >= 1 && request.count <= limit, "a request keeps the limit");
        require(request.result == 0 && request.itemId == -1, "a request is not in flight");
        wraps |= qint64{request.address} + request.count > INT_MAX || request.address < 0;
        require(i == 0 || wraps || isOrdered(list.at(i - 1), request), "the list is in order");
    }
}

void rebuild(FuzzedDataProvider &input, const ComInfo &info) {
    QList<VARDEF> definitions;
    const int count = input.ConsumeIntegralInRange(0, MostDefinitions);
    for (int i = 0; i < count; ++i)
        definitions.append(drawDefinition(input));
    const int length = ReCreatReadVarList(&definitions);
    require(length == PLC_driver.readList.size(), "the rebuild returns the list's length");
    checkCyclicList(info.blockLimit);
}

void queueRecord(FuzzedDataProvider &input) {
    RW_VAR var = drawVar(input);
    const QByteArray value = var.value;
    if (input.ConsumeBool()) {
        const int length = AddListOnceReadVar(&var, 0);
        require(length <= QueueBound, "the one-shot queue is bounded");
    } else {
        const int length = AddListWriteVar(&var, 0);
        require(length <= QueueBound && var.value == value, "the write queue is bounded");
    }
}

void split(FuzzedDataProvider &input) {
    RW_VAR var = drawVar(input);
    QList<RW_VAR> pieces;
    const int count = drawInt(input);
    const int limit = drawInt(input);
    WhetherGroup(count, limit, &var, &pieces);
    require(pieces.size() <= MaxPieces && (limit > 0 || pieces.isEmpty()), "pieces are bounded");
    QList<RW_VAR> group;
    for (int i = input.ConsumeIntegralInRange(0, 6); i > 0; --i) {
        RW_VAR span = drawVar(input);
        updateRwVar(&span);
        group.append(span);
    }
    Bubble_Sort(&group);
    for (int i = 1; i < group.size(); ++i)
        require(group.at(i - 1).address <= group.at(i).address, "sorted by address");
    BitVarReCreat(&group, drawInt(input));
}

} // namespace

// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider input(data, size);
    const ComInfo &info = freshDriver(input);
    rebuild(input, info);
    for (int i = 0; i < MostRecords && input.remaining_bytes() > 0; ++i)
        queueRecord(input);
    split(input);
    ComCommunication();
    checkBounds();
    return 0;
}
