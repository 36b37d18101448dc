// Appends requests with their expected replies.
#include "driver/requests.h"

#include "driver/Communication_Protocol.h"
#include "driver/wrapping.h"

namespace {

constexpr int ReplyHeadLength = 3; // station, function code, byte count
constexpr int CrcLength = 2;
constexpr int AcknowledgementLength = 8;

void queueRequest(const Protocol &request) {
    PLC_driver.requestList.append(request);
    PLC_driver.comInfo->frameCount = 1;
    PLC_driver.comInfo->frameIndex = 0;
}

} // namespace

void queueReadRequest(const QByteArray &frame, const RW_VAR &var) {
    Protocol request;
    request.frame = frame;
    request.frameLength = frame.size();
    request.dataOffset = ReplyHeadLength;
    request.dataLength = wrappingMultiply(var.count, 2);
    request.replyLength = wrappingAdd(request.dataLength, ReplyHeadLength + CrcLength);
    request.var = var;
    queueRequest(request);
}

void queueWriteRequest(const QByteArray &frame, const RW_VAR &var) {
    Protocol request;
    request.frame = frame;
    request.frameLength = frame.size();
    request.replyLength = var.station == 0 ? 0 : AcknowledgementLength;
    request.var = var;
    queueRequest(request);
}
