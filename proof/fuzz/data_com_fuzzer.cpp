// Any bytes as replies, over any state of the requests and lists.
#include "driver/Communication_Protocol.h"
#include "driver/requests.h"
#include "fuzzed_host.h"
#include "modbus/checksums.h"
#include "plc_driver.h"

namespace {

constexpr int MostSteps = 40;

// A request that nobody built: its fields need not fit each other.
void appendRequest(FuzzedDataProvider &input) {
    Protocol request;
    request.frame = drawBytes(input, 16);
    request.frameLength = drawInt(input);
    request.replyLength = drawInt(input);
    request.dataOffset = drawInt(input);
    request.dataLength = drawInt(input);
    request.var = drawVar(input);
    if (PLC_driver.requestList.size() < 4)
        PLC_driver.requestList.append(request);
    PLC_driver.listKind = input.ConsumeIntegralInRange(0, 3);
}

// Bytes as they come, or with the station, the length and the CRC that the request asks for.
QByteArray drawReply(FuzzedDataProvider &input) {
    if (PLC_driver.requestList.isEmpty() || input.ConsumeBool())
        return drawBytes(input, 300);
    const Protocol &request = PLC_driver.requestList.constFirst();
    QByteArray reply(qBound(3, request.replyLength, 300) - 2, '\0');
    reply.replace(0, 1, QByteArray(1, static_cast<char>(request.var.station)));
    const QByteArray body = drawBytes(input, 32);
    reply.replace(1, qMin(body.size(), reply.size() - 1), body.left(reply.size() - 1));
    appendCrc(reply);
    return reply;
}

// A reply may change the area it is for, when it is good, and nothing else.
void reply(FuzzedDataProvider &input) {
    const auto before = DataStorage;
    const bool asked = !PLC_driver.requestList.isEmpty();
    const RW_VAR var = asked ? PLC_driver.requestList.constFirst().var : RW_VAR();
    QByteArray bytes = drawReply(input);
    const bool none = bytes.isEmpty() && input.ConsumeBool();
    const RW_VAR *current = DataCom(none ? nullptr : &bytes, bytes.size());
    require(current == &PLC_driver.currentVar, "DataCom returns currentVar");
    require(current->result >= 0 && current->result <= 182, "the result is one of the codes");
    auto after = DataStorage;
    if (asked && current->result == 1) {
        auto same = before;
        after[var.station].remove(getPlcReg(var.regType));
        same[var.station].remove(getPlcReg(var.regType));
        require(after == same, "a reply changes its own area only");
    } else {
        require(after == before, "a rejected reply changes nothing");
    }
}

void step(FuzzedDataProvider &input) {
    switch (input.ConsumeIntegralInRange(0, 9)) {
    case 0: {
        RW_VAR var = drawVar(input);
        AddListWriteVar(&var, input.ConsumeIntegralInRange(0, 1));
        break;
    }
    case 1: {
        RW_VAR var = drawVar(input);
        AddListOnceReadVar(&var, input.ConsumeIntegralInRange(0, 1));
        break;
    }
    case 2: {
        RW_VAR var = drawVar(input);
        AddListReadVar(&var);
        break;
    }
    case 3:
        EnCommStation(input.ConsumeIntegralInRange(-1, 3), input.ConsumeIntegralInRange(0, 2));
        break;
    case 4:
        appendRequest(input);
        break;
    case 5:
    case 6: {
        const Protocol *request = ComCommunication();
        require(request == nullptr || request == &PLC_driver.requestList.constFirst(),
                "the request offered is the head of requestList");
        break;
    }
    default:
        reply(input);
        break;
    }
}

} // namespace

// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider input(data, size);
    freshDriver(input);
    for (int i = 0; i < MostSteps && input.remaining_bytes() > 0; ++i)
        step(input);
    checkBounds();
    return 0;
}
