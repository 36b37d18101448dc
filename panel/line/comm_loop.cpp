#include "panel/line/comm_loop.h"

#include "modbus/frame_bytes.h"
#include "panel/line/span_text.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <thread>
#include <utility>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int Good = 1; // results of DataCom
constexpr int SentAgain = 0;
constexpr int Off = 0; // flags of EnCommStation
constexpr int On = 1;
constexpr int AllStations = -1;

// What the loop itself asks for, told apart by its itemId; users' requests have positive ones.
constexpr int CyclicItem = -1;
constexpr int TryItem = -2;
constexpr int ReaskItem = -3;

constexpr auto IdlePause = 10ms; // until a write that comes meanwhile is seen
constexpr auto LookForDevice = 500ms;
constexpr auto Slice = 50ms;      // how soon a stop is seen
constexpr auto ReaskPause = 2s;   // between two questions whether a refusal still holds
constexpr auto FirstMeasure = 3s; // from then on the plan goes by measured reply times
constexpr auto MeasureAgain = 60s;
constexpr int Smoothing = 8;
constexpr int EmptyTurnsToBeSure = 2; // the first may be owed to the limit of requests in a row

Purpose purposeOf(const RW_VAR &var) {
    if (var.isWrite != 0 || var.saveMode != OrdinaryRequest)
        return Purpose::Write;
    if (var.itemId == TryItem)
        return Purpose::Probe;
    return var.itemId == CyclicItem || var.itemId == ReaskItem ? Purpose::Poll : Purpose::ReadOnce;
}

std::set<int> stationsOf(const PanelFile &panel, std::size_t line) {
    std::set<int> stations{0};
    for (const Variable &variable : panel.variables) {
        if (variable.line == line)
            stations.insert(variable.station);
    }
    return stations;
}

std::set<int> stationsOf(const Blocks &blocks) {
    std::set<int> stations;
    for (const RegisterSpan &block : blocks)
        stations.insert(block.station);
    return stations;
}

} // namespace

CommLoop::CommLoop(Parts parts)
    : m_parts(std::move(parts)), m_settings(withUsualTimes(m_parts.panel.lines[m_parts.line])),
      m_stations(stationsOf(m_parts.panel, m_parts.line)),
      m_plan(m_parts.panel, m_parts.line, m_parts.driversOwn),
      m_polls(m_parts.driver, m_parts.port.portId,
              std::chrono::milliseconds(m_settings.scanIntervalMs), Clock::now()),
      m_care(m_settings, stationsOf(m_plan.blocks()), Clock::now()),
      m_owed(std::chrono::milliseconds(m_settings.responseTimeoutMs),
             std::chrono::milliseconds(m_settings.quietAfterFailureMs)),
      m_reaskAt(Clock::now() + ReaskPause), m_measureAt(Clock::now() + FirstMeasure) {}

QString CommLoop::open() {
    QString problem = m_parts.serial.open();
    if (!problem.isEmpty())
        m_parts.ledger.deviceGone();
    const std::lock_guard lock(m_mutex); // m_remarks to m_goneSince
    m_remarks = m_parts.serial.remarks();
    const bool isAbsent = problem.endsWith(qt_error_string(ENOENT));
    m_problem = isAbsent ? QString() : problem.mid(m_settings.device.size() + 2);
    m_wasOpen = m_wasOpen || problem.isEmpty();
    if (!problem.isEmpty() && !m_isGone) {
        m_isGone = true;
        m_goneSince = Clock::now();
    }
    return problem;
}

void CommLoop::run() {
    while (!m_parts.stopRequested) {
        if (m_parts.serial.isGone() || !m_parts.serial.isOpen()) {
            waitForDevice();
        } else {
            takeTurn();
        }
    }
}

void CommLoop::takeTurn() {
    if (m_attempt == 0)
        prepareTurn(Clock::now());
    const Protocol *request = m_parts.driver.ComCommunication();
    if (m_attempt == 0)
        noteWhatIsQueued(request);
    if (request == nullptr) {
        idle();
    } else {
        exchange(*request);
    }
}

void CommLoop::prepareTurn(Clock::time_point now) {
    const std::lock_guard lock(m_mutex); // plan, polls, care
    takeMeasuredTimes(now);
    if (m_haveBlocksChanged)
        polledBlocksChanged();
    m_polls.turn(m_care.hasTriedEnough(m_polls.began(), now), now);
    queueTry(now);
    askRefusedAgain(now);
}

// A station that does not answer has its blocks outside of the driver's list.
void CommLoop::polledBlocksChanged() {
    Blocks polled;
    std::copy_if(m_plan.blocks().begin(), m_plan.blocks().end(), std::back_inserter(polled),
                 [this](const RegisterSpan &block) { return m_care.isAnswering(block.station); });
    m_polls.setBlocks(polled);
    m_haveBlocksChanged = false;
}

void CommLoop::queueTry(Clock::time_point now) {
    if (m_isTryQueued)
        return;
    const auto due = m_care.dueTry(now);
    if (!due || m_dropping.count(due->station) != 0)
        return;
    const auto block =
        std::find_if(m_plan.blocks().begin(), m_plan.blocks().end(),
                     [&due](const RegisterSpan &each) { return each.station == due->station; });
    if (block == m_plan.blocks().end()) {
        m_care.trust(due->station);
        m_parts.ledger.stationOn(due->station);
        return;
    }
    m_try = *due;
    m_isTryQueued = true;
    queueOnce(*block, TryItem);
}

// One at a time: a station that refuses everything takes next to none of the line's time.
void CommLoop::askRefusedAgain(Clock::time_point now) {
    if (now < m_reaskAt)
        return;
    m_reaskAt = now + ReaskPause;
    const Blocks refused = m_plan.refusedAlone();
    if (refused.empty())
        return;
    const RegisterSpan &block = refused[m_reasked++ % refused.size()];
    if (m_care.isAnswering(block.station))
        queueOnce(block, ReaskItem);
}

void CommLoop::queueOnce(const RegisterSpan &block, int itemId) {
    RW_VAR request = m_polls.request(block, itemId);
    m_parts.driver.AddListOnceReadVar(&request, 1);
}

void CommLoop::takeMeasuredTimes(Clock::time_point now) {
    if (m_settings.plan != PlanChoice::Fastest || now < m_measureAt)
        return;
    m_measureAt = now + MeasureAgain;
    m_plan.setReplyTimes(m_replyTimes);
    m_haveBlocksChanged = true;
}

void CommLoop::idle() {
    const bool isSure = m_emptyTurns >= EmptyTurnsToBeSure;
    if (!isSure)
        return;
    {
        const std::lock_guard lock(m_mutex); // care
        m_care.idle();
    }
    m_parts.serial.listen(IdlePause);
}

void CommLoop::exchange(const Protocol &request) {
    const RW_VAR var = request.var; // the record is gone once the driver has its reply
    const QByteArray frame = request.frame.left(request.frameLength);
    if (m_attempt == 0)
        waitForOwedAnswers(frame);
    Exchange exchange = m_parts.serial.exchange(frame, request.replyLength, responseTimeout(var));
    if (m_parts.stopRequested)
        return;
    exchange.line = m_parts.line;
    exchange.area = var.regType;
    exchange.purpose = purposeOf(var);
    exchange.attempt = ++m_attempt;
    const int result = handOn(&exchange);
    exchange.gaveUp = result != Good && result != SentAgain;
    if (result != SentAgain)
        m_attempt = 0;
    m_isLossTold = exchange.outcome == Outcome::DeviceGone;
    learn(&exchange, {var.station, var.regType, var.address, var.count}, var.itemId);
    m_parts.listener(exchange);
}

// What was asked before may still be answered, and pass for the answer to this one.
void CommLoop::waitForOwedAnswers(const QByteArray &frame) {
    const auto clear = m_owed.clearFrom(byteAt(frame, 0), byteAt(frame, 1));
    for (auto now = Clock::now(); now < clear; now = Clock::now()) {
        if (m_parts.stopRequested || m_parts.serial.isGone())
            return;
        m_parts.serial.listen(std::chrono::ceil<std::chrono::microseconds>(clear - now));
    }
}

std::chrono::microseconds CommLoop::responseTimeout(const RW_VAR &var) const {
    return purposeOf(var) == Purpose::Probe
               ? m_try.responseTimeout
               : std::chrono::milliseconds(m_settings.responseTimeoutMs);
}

// Whether a failure is worth another sending at once.
bool CommLoop::isRepeated(const Exchange &exchange) const {
    return exchange.outcome != Outcome::DeviceGone && !isFinalRefusal(exchange) &&
           m_care.isRepeated(exchange.station);
}

// The driver gets nothing but good replies. Failures of different requests do not add up.
int CommLoop::handOn(Exchange *exchange) {
    if (exchange->outcome != Outcome::Good) {
        if (!isRepeated(*exchange))
            m_parts.port.retryCount = m_parts.port.retryLimit;
        return m_parts.driver.DataCom(nullptr, 0)->result;
    }
    const int result = m_parts.driver.DataCom(&exchange->reply, exchange->reply.size())->result;
    if (result == Good) {
        m_parts.port.retryCount = 0;
    } else {
        exchange->outcome = Outcome::WrongReply;
    }
    return result;
}

void CommLoop::learn(Exchange *exchange, const RegisterSpan &block, int itemId) {
    m_owed.observe(*exchange, exchange->began + frameTime(m_settings, exchange->request.size()));
    const std::lock_guard lock(m_mutex); // plan, polls, care
    if (itemId == TryItem && m_attempt == 0)
        m_isTryQueued = false;
    if (itemId == CyclicItem && m_attempt == 0)
        m_polls.finished(block);
    if (isFinalRefusal(*exchange) && (itemId == CyclicItem || itemId == TryItem)) {
        m_plan.refuse(block);
        m_haveBlocksChanged = true;
    }
    if (exchange->outcome == Outcome::Good && exchange->purpose != Purpose::Write)
        learnFromRead(*exchange, itemId);
    learnOfStation(exchange);
}

void CommLoop::learnOfStation(Exchange *exchange) {
    switch (m_care.observe(*exchange, Clock::now())) {
    case StationCare::Change::Rests:
        stationRests(exchange->station);
        break;
    case StationCare::Change::Returns:
        stationReturns(*exchange);
        break;
    case StationCare::Change::None:
        break;
    }
    exchange->stationRests = m_care.isResting(exchange->station);
}

void CommLoop::learnFromRead(const Exchange &exchange, int itemId) {
    const LineTime measured = exchange.replyTime;
    if (measured.count() > 0) {
        LineTime &known = m_replyTimes[exchange.station];
        known = known.count() == 0 ? measured : known + (measured - known) / Smoothing;
    }
    if (itemId == ReaskItem) {
        m_plan.forgetRefusals(exchange.station);
        m_haveBlocksChanged = true;
    }
}

// What users have queued for it has failed. The driver drops it while the station is off.
void CommLoop::stationRests(int station) {
    m_parts.ledger.stationOff(station);
    m_parts.driver.EnCommStation(station, Off);
    m_dropping.insert(station);
    m_emptyTurns = 0;
    if (m_isTryQueued && m_try.station == station)
        m_isTryQueued = false;
    m_haveBlocksChanged = true;
}

// Perhaps it has other registers than before.
void CommLoop::stationReturns(const Exchange &exchange) {
    m_parts.ledger.stationOn(exchange.station);
    if (exchange.outcome == Outcome::Good)
        m_plan.forgetRefusals(exchange.station);
    m_haveBlocksChanged = true;
}

// A station that rests is off in the driver until nothing of its requests is queued any more: they
// were reported as failed and must not go out with a later try.
void CommLoop::noteWhatIsQueued(const Protocol *request) {
    const bool isEmpty = request == nullptr || (request->var.itemId == CyclicItem &&
                                                purposeOf(request->var) == Purpose::Poll);
    m_emptyTurns = isEmpty ? std::min(m_emptyTurns + 1, EmptyTurnsToBeSure) : 0;
    if (m_emptyTurns < EmptyTurnsToBeSure)
        return;
    for (const int station : m_dropping)
        m_parts.driver.EnCommStation(station, On);
    m_dropping.clear();
}

void CommLoop::waitForDevice() {
    deviceGone();
    for (;;) {
        const auto lookAgain = Clock::now() + LookForDevice;
        while (!m_parts.stopRequested && Clock::now() < lookAgain)
            std::this_thread::sleep_for(Slice);
        if (m_parts.stopRequested)
            return;
        if (open().isEmpty())
            break;
    }
    deviceBack();
}

void CommLoop::deviceGone() {
    m_parts.serial.close();
    m_parts.ledger.deviceGone();
    for (const int station : m_stations)
        m_parts.driver.EnCommStation(station, Off);
    dropAllQueued();
    if (!m_isLossTold && m_wasOpen)
        tellOfLoss();
    m_isLossTold = false;
    const std::lock_guard lock(m_mutex); // m_isGone, m_goneSince
    if (m_isGone)
        return; // from the start
    m_isGone = true;
    m_goneSince = Clock::now();
}

// It went while nothing was asked.
void CommLoop::tellOfLoss() {
    Exchange lost;
    lost.line = m_parts.line;
    lost.outcome = Outcome::DeviceGone;
    lost.sentAt = std::chrono::system_clock::now();
    lost.began = Clock::now();
    lost.gaveUp = true;
    m_parts.listener(lost);
}

// What was queued meanwhile was reported as failed: it is dropped before anything can go out.
void CommLoop::deviceBack() {
    dropAllQueued();
    m_parts.driver.EnCommStation(AllStations, On);
    m_dropping.clear();
    m_parts.ledger.deviceBack();
    const std::lock_guard lock(m_mutex); // polls, care, m_isGone
    const auto now = Clock::now();
    m_polls.startAfresh(now);
    m_care.startAfresh(now);
    m_isTryQueued = false;
    m_haveBlocksChanged = true;
    m_isGone = false;
}

void CommLoop::dropAllQueued() {
    QList<VARDEF> nothing;
    m_parts.driver.ReCreatReadVarList(&nothing);
    for (int empty = 0; empty < EmptyTurnsToBeSure;) {
        if (m_parts.driver.ComCommunication() == nullptr) {
            ++empty;
            continue;
        }
        m_parts.port.retryCount = m_parts.port.retryLimit;
        m_parts.driver.DataCom(nullptr, 0);
    }
    m_attempt = 0;
}

LineStatus CommLoop::status() const {
    const std::lock_guard lock(m_mutex); // plan, polls, care, m_isGone
    const auto now = Clock::now();
    LineStatus status;
    if (m_isGone) {
        const QString state = m_wasOpen ? "gone" : "missing";
        const auto span = std::chrono::duration_cast<std::chrono::seconds>(now - m_goneSince);
        status.deviceGone = QString("%1: %2 for %3").arg(m_settings.device, state, spanText(span));
        status.deviceTrouble = m_settings.device + " is " + state;
        if (!m_problem.isEmpty()) {
            status.deviceGone += ": " + m_problem;
            status.deviceTrouble = m_settings.device + ": " + m_problem;
        }
    }
    status.remarks = m_remarks;
    status.passes = m_polls.passes();
    status.lastPass = m_polls.lastPass();
    status.restingStations = m_care.texts(now);
    status.refusedVariables = m_plan.refusedVariables();
    return status;
}

quint64 CommLoop::passes() const {
    const std::lock_guard lock(m_mutex); // polls
    return m_polls.passes();
}
