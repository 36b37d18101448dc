// Builds read frames and checks replies.
#include "modbus/read_request.h"

#include "driver/Communication_Protocol.h"
#include "driver/register_types.h"
#include "driver/requests.h"
#include "driver/wrapping.h"
#include "modbus/checksums.h"
#include "modbus/frame_bytes.h"

namespace {

constexpr int InputRegisterArea = 6;
constexpr int ReadHoldingRegisters = 3;
constexpr int ReadInputRegisters = 4;

bool hasGoodCrc(const QByteArray &reply) {
    const int body = reply.size() - 2;
    return crcOf(reply, body) == byteAt(reply, body) + 256 * byteAt(reply, body + 1);
}

} // namespace

// An area has the number of its word type.
bool isReadableArea(int regType) {
    return widthOf(regType) == Width::Word;
}

void ReadRegister(RW_VAR *var) {
    ReadAnalog(var);
}

void ReadAnalog(RW_VAR *var) {
    if (!isReadableArea(var->regType)) {
        return;
    }
    QByteArray frame;
    appendBigEndian(frame, var->station, 1);
    const bool inputs = var->regType == InputRegisterArea;
    appendBigEndian(frame, inputs ? ReadInputRegisters : ReadHoldingRegisters, 1);
    appendBigEndian(frame, wrappingAdd(var->address, getOffsetAddress(var->regType)), 2);
    appendBigEndian(frame, var->count, 2);
    appendCrc(frame);
    queueReadRequest(frame, *var);
}

int CheckGetData(QByteArray *reply, int /*length*/) {
    const RW_VAR &asked = PLC_driver.requestList.constFirst().var;
    if (asked.station == 0) {
        return NothingToStore;
    }
    if (reply->size() < ShortestReply) {
        return BadReply;
    }
    if (byteAt(*reply, 0) != asked.station || !hasGoodCrc(*reply)) {
        return BadReply;
    }
    return asked.isWrite != 0 ? NothingToStore : DataToStore;
}
