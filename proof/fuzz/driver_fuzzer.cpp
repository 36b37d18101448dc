// Any calls of a host, with any arguments, and any bytes as replies.
#include "driver/Communication_Protocol.h"
#include "driver/register_types.h"
#include "driver/requests.h"
#include "fuzzed_host.h"
#include "image/store.h"
#include "image/write_back.h"
#include "lists/address.h"
#include "lists/cyclic_list.h"
#include "modbus/checksums.h"
#include "modbus/write_request.h"
#include "plc_driver.h"
#include "remote/remote_frames.h"

#include <algorithm>

namespace {

constexpr int MostSteps = 40;
constexpr int MostDefinitions = 12;
constexpr int QueueBound = 1024;

// A count that is refused, or few elements (twice what a queue holds): those that lie between take
// the sanitizers seconds.
int affordable(int count, int refusedFrom) {
    return count < refusedFrom ? count % 2048 : count;
}

void read(FuzzedDataProvider &input) {
    QString text;
    QByteArray answer("old");
    const int regType = drawRegType(input);
    const QString address = drawAddress(input);
    const int count = drawInt(input);
    const int result = GetRegisterData(&text, regType, address, drawInt(input), &answer, count);
    require(result == 0 || StringAddressToInt(regType, address) >= 0, "a bad address is refused");
    require(result == 1 || answer.count('\0') == answer.size(), "a refusal answers zeros");
}

void write(FuzzedDataProvider &input) {
    QString text;
    QString address = drawAddress(input);
    const int regType = drawRegType(input);
    QByteArray data = drawBytes(input, 64);
    const Width width = widthOf(regType);
    const bool isCutSingly = width == Width::Bit || width == Width::Byte;
    const int count = affordable(drawInt(input), isCutSingly ? MaxPieces : MaxAreaBytes);
    const int queued = PLC_driver.writeList.size();
    const int result = SetRegisterData(&text, regType, &address, drawInt(input), &data, count,
                                       drawInt(input), drawInt(input));
    require(PLC_driver.writeList.size() <= std::max(QueueBound, queued), "writes are bounded");
    require(result != 0 || PLC_driver.writeList.size() == queued, "a refusal queues nothing");
}

void build(FuzzedDataProvider &input) {
    void (*const functions[])(RW_VAR *) = {WriteRegister, WriteAnalog, Remote_WriteVar,
                                           Remote_ReadVar};
    RW_VAR var = drawVar(input);
    var.count = affordable(var.count, 10 * MaxAreaBytes);
    functions[input.ConsumeIntegralInRange(0, 3)](&var);
    require(!PLC_driver.requestList.isEmpty(), "a request is built");
    PLC_driver.requestList.clear();
}

void others(FuzzedDataProvider &input) {
    RW_VAR var = drawVar(input);
    var.count = affordable(var.count, 10 * MaxAreaBytes);
    WriteDataToLocal(&var);
    ControlInformationM request{drawInt(input), drawRegType(input), drawInt(input), drawInt(input)};
    checkTheStorage(request);
    updateRwVar(&var);
    getOffsetAddress(drawInt(input));
    DigitalToASCII(drawInt(input));
    ASCIIToDigital(drawInt(input));
    QByteArray bytes = drawBytes(input, 32);
    auto *first = reinterpret_cast<unsigned char *>(bytes.data());
    for (const auto checksum : {CalCRC, CalSUM, CalLRC, CalXOR})
        checksum(first, static_cast<unsigned short>(bytes.size()));
}

void rebuild(FuzzedDataProvider &input, int limit) {
    QList<VARDEF> definitions;
    const int count = input.ConsumeIntegralInRange(0, MostDefinitions);
    for (int i = 0; i < count; ++i)
        definitions.append(drawDefinition(input));
    ReCreatReadVarList(&definitions);
    require(PLC_driver.readList.size() <= MostDefinitions * (MaxPieces + 1), "the list is bounded");
    for (const RW_VAR &request : qAsConst(PLC_driver.readList)) {
        const bool keepsLimit = request.count >= 1 && request.count <= limit;
        require(limit == 1 || keepsLimit, "a request keeps the limit");
    }
}

// Only what the host appends as it is makes a queue longer than its bound.
void queueRecord(FuzzedDataProvider &input) {
    RW_VAR var = drawVar(input);
    const bool isRead = input.ConsumeBool();
    const int mode = input.ConsumeIntegralInRange(0, 1);
    const int before = (isRead ? PLC_driver.onceReadList : PLC_driver.writeList).size();
    const int length = isRead ? AddListOnceReadVar(&var, mode) : AddListWriteVar(&var, mode);
    require(mode == 1 || length <= std::max(QueueBound, before), "the queues are bounded");
}

void readCyclically(FuzzedDataProvider &input) {
    RW_VAR var = drawVar(input);
    AddListReadVar(&var);
}

void switchStation(FuzzedDataProvider &input) {
    EnCommStation(input.ConsumeIntegralInRange(-1, 3), input.ConsumeIntegralInRange(0, 2));
}

void ask(FuzzedDataProvider & /*input*/) {
    ComCommunication();
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
    BitVarReCreat(&group, drawInt(input));
}

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
    const int result = DataCom(none ? nullptr : &bytes, bytes.size())->result;
    auto after = DataStorage;
    if (asked && result == 1) {
        auto same = before;
        after[var.station].remove(getPlcReg(var.regType));
        same[var.station].remove(getPlcReg(var.regType));
        require(after == same, "a reply changes its own area only");
    } else {
        require(after == before, "a rejected reply changes nothing");
    }
}

} // namespace

// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    void (*const steps[])(FuzzedDataProvider &) = {
        read,          write, build,         others, queueRecord, readCyclically,
        switchStation, ask,   appendRequest, reply,  ask,         reply};
    FuzzedDataProvider input(data, size);
    const int limit = freshDriver(input).blockLimit;
    if (input.ConsumeBool())
        rebuild(input, limit);
    for (int i = 0; i < MostSteps && input.remaining_bytes() > 0; ++i)
        input.PickValueInArray(steps)(input);
    split(input);
    ComCommunication();
    checkBounds();
    return 0;
}
