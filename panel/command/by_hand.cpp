#include "panel/command/by_hand.h"

#include "panel/command/stop_request.h"
#include "panel/health/exchange_text.h"
#include "panel/health/frames.h"
#include "panel/health/heard.h"
#include "panel/line/driver_copy.h"
#include "panel/line/line_time.h"

namespace {

constexpr int PortId = 1;
constexpr int OwnerId = 1;
constexpr int ItemId = 1;
constexpr int WriteToPlc = 2; // ComInfo.commMode
constexpr int Good = 1;
// The driver gives the polling, of which there is none, its turn between writes.
constexpr int MostEmptyTurns = 2;

int noteEnd(void *isOver, int /*ownerId*/, int /*itemId*/, int /*status*/) {
    *static_cast<bool *>(isOver) = true;
    return 0;
}

// When nothing came in time. `late` is what an answer took all the same, 0 when none came.
QString silenceText(const Exchange &exchange, int timeoutMs, std::chrono::microseconds late) {
    const QString text = QString("no answer within %1 ms").arg(timeoutMs);
    if (late.count() > 0) {
        return text + QString("; it came after %1: try --timeout %2")
                          .arg(durationText(late))
                          .arg(sufficientTimeoutMs(late));
    }
    return hasEcho(exchange) ? text + "; only our own request came back (echo)" : text;
}

// For the one who stands at the machine.
QString failureText(const Exchange &exchange, const QString &silence) {
    switch (exchange.outcome) {
    case Outcome::Good:
        return {};
    case Outcome::NoReply:
        return silence;
    case Outcome::Refused:
        return outcomeText(exchange);
    case Outcome::BadCrc:
        return "wrong checksum: baud rate or parity, or noise";
    case Outcome::CutShort:
        return "the answer breaks off";
    case Outcome::WrongReply:
        return "an answer to something else";
    case Outcome::Foreign:
        return "another station answers";
    case Outcome::DeviceGone:
        return "the device is gone";
    }
    return {};
}

} // namespace

HandLine::HandLine(const DeviceOptions &options, const std::atomic<bool> &stopRequested)
    : m_settings(options.line()), m_stopRequested(stopRequested),
      m_port(m_settings, stopRequested) {}

ExitCode HandLine::open(const std::string &driverLibrary) {
    QString error = loadDriverCopy(libraryPath(driverLibrary), &m_driver);
    if (!error.isEmpty()) {
        complain(error, WrongInput);
        return WrongInput;
    }
    m_info.blockLimit = m_settings.blockLimit;
    m_info.retryLimit = m_settings.retryLimit;
    m_info.useVarStation = 1;
    m_info.portId = PortId;
    m_info.commMode = WriteToPlc;
    m_info.hostContext = &m_isOver;
    m_driver.SetComInfo(&m_info);
    m_driver.RegistCallBackFuncIntf(&noteEnd, nullptr);
    error = m_port.open();
    if (!error.isEmpty()) {
        complain(error, DeviceLost);
        return DeviceLost;
    }
    return AllHeld;
}

QString HandLine::read(const Variable &variable, QByteArray *data) {
    RW_VAR request;
    request.ownerId = OwnerId;
    request.itemId = ItemId;
    request.portId = PortId;
    request.regType = variable.regType;
    request.addressText = variable.addressText;
    request.station = variable.station;
    request.count = variable.hostCount();
    if (m_driver.AddListOnceReadVar(&request, 0) == 0)
        return "the driver does not take it";
    QString reason = carryOut();
    if (reason.isEmpty()) {
        m_driver.GetRegisterData(nullptr, variable.regType, variable.addressText, variable.station,
                                 data, variable.hostCount());
    }
    return reason;
}

QString HandLine::write(const Variable &variable, QByteArray data) {
    QString address = variable.addressText;
    if (m_driver.SetRegisterData(nullptr, variable.regType, &address, variable.station, &data,
                                 variable.hostCount(), OwnerId, ItemId) == 0)
        return "the driver does not take it";
    return carryOut();
}

QString HandLine::goneText() const {
    return m_port.device() + ": gone";
}

// Until the request that was queued has ended.
QString HandLine::carryOut() {
    m_isOver = false;
    int emptyTurns = 0;
    while (!m_isOver && emptyTurns < MostEmptyTurns && !m_port.isGone() && !m_stopRequested) {
        const Protocol *request = m_driver.ComCommunication();
        if (request == nullptr) {
            ++emptyTurns;
        } else {
            exchange(*request);
        }
    }
    if (m_isOver)
        return m_failure;
    return m_port.isGone() ? "the device is gone" : "not asked to the end";
}

void HandLine::exchange(const Protocol &request) {
    const std::chrono::milliseconds timeout(m_settings.responseTimeoutMs);
    const Exchange exchange =
        m_port.exchange(request.frame.left(request.frameLength), request.replyLength, timeout);
    if (m_port.isGone() || m_stopRequested)
        return;
    const bool isGood = exchange.outcome == Outcome::Good;
    // A late answer must not pass for the next one.
    const bool isOwed = !isGood && exchange.outcome != Outcome::Refused;
    const auto late = isOwed ? hearLateAnswer(exchange) : std::chrono::microseconds(0);
    m_failure = failureText(exchange, silenceText(exchange, m_settings.responseTimeoutMs, late));
    QByteArray reply = isGood ? exchange.reply : QByteArray();
    // To ask again would get the same refusal.
    if (isFinalRefusal(exchange))
        m_info.retryCount = m_info.retryLimit;
    if (m_driver.DataCom(&reply, reply.size())->result == Good)
        m_info.retryCount = 0;
}

// Listens until the line is quiet. What the answer took from the end of its request; 0: none came.
std::chrono::microseconds HandLine::hearLateAnswer(const Exchange &exchange) {
    m_port.waitUntilQuiet(std::chrono::milliseconds(m_settings.responseTimeoutMs));
    const Heard heard = heardOf(m_port.takeReceived());
    const Frame request{FrameShape::Request, 0, exchange.request};
    for (const Frame &frame : cutFrames(heard.bytes)) {
        if (!answers(frame, request))
            continue;
        const auto sent = exchange.began + frameTime(m_settings, exchange.request.size());
        return std::chrono::duration_cast<std::chrono::microseconds>(
            heard.times.at(static_cast<std::size_t>(frame.offset)) - sent);
    }
    return std::chrono::microseconds(0);
}

int workByHand(const DeviceOptions &options, const HandWork &work) {
    const std::atomic<bool> &stopRequested = stopOnSignals();
    HandLine line(options, stopRequested);
    const ExitCode opened = line.open(options.driverLibrary);
    if (opened != AllHeld)
        return opened;
    const bool allHeld = work(&line, stopRequested);
    if (line.isGone())
        return complain(line.goneText(), DeviceLost);
    return allHeld ? AllHeld : NotAllHeld;
}
