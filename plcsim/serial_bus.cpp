#include "serial_bus.h"

#include "frame.h"
#include "spoiled_answer.h"

#include <algorithm>

namespace {

constexpr int Broadcast = 0;
// A part of a request with nothing behind it for this long is no request. Longer than a real line
// grants, because the host's bytes come in pieces where its machine is busy, and a port hands on as
// many characters at once as its buffer holds.
constexpr Nanoseconds PartSilence = std::chrono::milliseconds(20);
constexpr int PortBuffer = 16;

// Another master waits at least this long after our answer, and its station before its own.
constexpr Nanoseconds OtherMastersPause = std::chrono::milliseconds(5);

constexpr FaultKind AnswerFaults[] = {FaultKind::Function, FaultKind::Count, FaultKind::Acknowledge,
                                      FaultKind::Foreign,  FaultKind::Flip,  FaultKind::Cut,
                                      FaultKind::Extra,    FaultKind::Late,  FaultKind::Drop};

LineTiming timingOf(const Options &options) {
    const int parityBit = options.line.parity == Parity::None ? 0 : 1;
    const bool isReal = !options.device.isEmpty();
    return {options.isPaced || isReal ? options.line.baud : 0,
            1 + 8 + parityBit + options.line.stopBits, isReal};
}

Nanoseconds milliseconds(double count) {
    return Nanoseconds(static_cast<std::int64_t>(count * 1e6));
}

} // namespace

SerialBus::SerialBus(const Options &options, Port &port)
    : m_options(options), m_port(port), m_timing(timingOf(options)), m_wire(m_timing),
      m_dice(options.seed), m_faults(options.faults), m_mute(options.silent) {
    for (const int number : options.stations) {
        m_outlets.try_emplace(number, number);
        m_tally.stations[number];
    }
}

QString SerialBus::open() {
    for (auto &[number, outlet] : m_outlets) {
        QString error = outlet.station.open();
        if (!error.isEmpty())
            return error;
        for (const MapEntry &entry : m_options.map) {
            if (entry.concerns(number))
                outlet.station.apply(entry);
        }
    }
    return {};
}

void SerialBus::takeBytes(TimePoint now) {
    const QByteArray bytes = m_port.read();
    if (bytes.isEmpty())
        return;
    const int wrongBaud = m_port.wrongHostBaud();
    noteSilence(now);
    m_heardUntil = m_wire.arrive(now, bytes.size(), wrongBaud > 0 ? wrongBaud : m_timing.baud);
    if (wrongBaud > 0) {
        m_tally.wrongSpeed += bytes.size();
        answerGarbage();
    } else {
        hear(bytes, now);
    }
}

void SerialBus::hear(QByteArray bytes, TimePoint now) {
    if (m_wire.isTaken(now)) {
        m_wire.spoil(bytes.size());
        m_tally.collisions += bytes.size();
        bytes = m_dice.bytes(bytes.size());
    }
    m_cutter.append(bytes);
    for (QByteArray request = m_cutter.next(); !request.isEmpty(); request = m_cutter.next())
        serveRequest(request);
}

// The stations make nothing of it, and the host nothing of what is on the line.
void SerialBus::answerGarbage() {
    m_wire.send(m_heardUntil + m_timing.silence(), m_dice.bytes(4 + m_dice.below(8)));
}

void SerialBus::serveRequest(const QByteArray &request) {
    const int target = byteAt(request, 0);
    disturbLine(target, request);
    const auto found = m_outlets.find(target);
    if (target == Broadcast) {
        for (auto &[number, outlet] : m_outlets)
            serveStation(number, &outlet, request);
    } else if (found == m_outlets.end()) {
        ++m_tally.absent;
    } else {
        serveStation(target, &found->second, request);
    }
    if (strike(FaultKind::Master, target, &m_tally.lineFaults) != nullptr)
        letOtherMasterTalk();
}

// What is heard between the request and the answer, whether one comes or not.
void SerialBus::disturbLine(int target, const QByteArray &request) {
    if (strike(FaultKind::Echo, target, &m_tally.lineFaults) != nullptr)
        m_wire.echo(m_heardUntil - m_timing.characters(request.size()), request);
    if (strike(FaultKind::Noise, target, &m_tally.lineFaults) != nullptr)
        m_wire.send(m_heardUntil, m_dice.bytes(1 + m_dice.below(8)));
}

void SerialBus::letOtherMasterTalk() {
    const Nanoseconds pause = std::max(OtherMastersPause, 2 * m_timing.silence());
    const Exchange exchange = otherMastersExchange(&m_dice);
    const TimePoint asked = std::max(m_heardUntil, m_answeredUntil) + pause;
    m_wire.send(asked, exchange.request);
    m_wire.send(asked + m_timing.characters(exchange.request.size()) + pause, exchange.answer);
}

void SerialBus::serveStation(int number, Outlet *outlet, const QByteArray &request) {
    StationTally &tally = m_tally.stations[number];
    const bool isDeaf = isSilent(number, tally);
    ++tally.requests;
    if (isDeaf)
        return;
    const QByteArray answer = answerOf(outlet, request, &tally);
    if (answer.isEmpty())
        return;
    ++tally.answers;
    tally.exceptions += isException(answer) ? 1 : 0;
    outlet->busyUntil = answerTime(number, *outlet);
    send(answer, outlet, &tally.faults);
}

QByteArray SerialBus::answerOf(Outlet *outlet, const QByteArray &request, StationTally *tally) {
    const int target = byteAt(request, 0);
    const Fault *refusal =
        target == Broadcast ? nullptr : strike(FaultKind::Exception, target, &tally->faults);
    return refusal != nullptr ? exceptionAnswer(request, refusal->value)
                              : outlet->station.answer(request);
}

void SerialBus::send(const QByteArray &frame, Outlet *outlet, FaultCounts *counts) {
    Answer answer{frame};
    const int station = byteAt(frame, 0);
    for (const FaultKind kind : AnswerFaults) {
        const Fault *fault = canSpoil(kind, frame) ? strike(kind, station, counts) : nullptr;
        if (fault != nullptr)
            spoil(*fault, &m_dice, &answer);
    }
    outlet->busyUntil += answer.late;
    m_answeredUntil = outlet->busyUntil + m_timing.characters(answer.bytes.size());
    if (!answer.bytes.isEmpty())
        m_wire.send(outlet->busyUntil, answer.bytes);
}

// The fault when it happens this time, which is counted; null when it does not.
const Fault *SerialBus::strike(FaultKind kind, int station, FaultCounts *counts) {
    const auto fault = std::find_if(m_faults.begin(), m_faults.end(), [&](const Fault &each) {
        return each.kind == kind && each.concerns(station);
    });
    if (fault == m_faults.end() || !m_dice.strikes(fault->share))
        return nullptr;
    ++(*counts)[nameOf(kind)];
    return &*fault;
}

bool SerialBus::isSilent(int number, const StationTally &tally) const {
    const auto limit = m_options.silentAfter.find(number);
    return m_mute.count(number) != 0 ||
           (limit != m_options.silentAfter.end() && tally.requests >= limit->second);
}

TimePoint SerialBus::answerTime(int number, const Outlet &outlet) const {
    const auto delay = m_options.lateByMs.find(number);
    const TimePoint heard = m_heardUntil + m_timing.silence();
    const TimePoint done =
        std::max(m_heardUntil, outlet.busyUntil) + milliseconds(m_options.replyTimeMs);
    return std::max(heard, done) +
           milliseconds(delay == m_options.lateByMs.end() ? 0 : delay->second);
}

TimePoint SerialBus::partIsOver() const {
    return m_heardUntil + PartSilence + m_timing.characters(PortBuffer);
}

void SerialBus::advance(TimePoint now) {
    const QByteArray bytes = m_wire.take(now);
    if (!bytes.isEmpty())
        m_port.write(bytes);
    if (!m_cutter.hasPart() || now < partIsOver())
        return;
    for (QByteArray request = m_cutter.nextAfterSilence(); !request.isEmpty();
         request = m_cutter.nextAfterSilence()) {
        serveRequest(request);
    }
}

std::optional<TimePoint> SerialBus::nextDue() const {
    auto due = m_wire.nextDue();
    if (m_cutter.hasPart()) {
        due = std::min(due.value_or(partIsOver()), partIsOver());
    }
    return due;
}

void SerialBus::clear() {
    m_wire.clear();
    m_cutter.clear();
    m_heardUntil = {};
    m_answeredUntil = {};
}

void SerialBus::noteSilence(TimePoint now) {
    const TimePoint free = m_wire.freeSince();
    if (!m_timing.isPaced() || m_cutter.hasPart() || free == TimePoint{} || now < free)
        return;
    m_tally.shortestSilence = std::min(m_tally.shortestSilence.value_or(now - free), now - free);
}

bool SerialBus::mute(int station, bool isMute) {
    if (m_outlets.count(station) == 0)
        return false;
    if (isMute) {
        m_mute.insert(station);
    } else {
        m_mute.erase(station);
    }
    return true;
}

bool SerialBus::set(int station, Table table, int address, int value) {
    const auto found = m_outlets.find(station);
    return found != m_outlets.end() && found->second.station.set(table, address, value);
}

Tally SerialBus::tally() const {
    Tally tally = m_tally;
    tally.strayBytes = m_cutter.strayBytes();
    return tally;
}
