#include "panel/health/replay.h"

#include "panel/health/heard.h"

#include <utility>

namespace {

using std::chrono::microseconds;

// No master gives up a station sooner.
constexpr std::chrono::milliseconds ShortestTimeout{20};
// A byte takes 1.2 ms at 9600 baud, and adapters hand on what they have every 16 ms.
constexpr std::chrono::milliseconds AdapterDelay{30};
constexpr std::chrono::microseconds ByteTime{1200};
constexpr int LongestRest = 256;

// A steady clock for the recording: nothing but differences count.
std::chrono::steady_clock::time_point steady(std::chrono::system_clock::time_point at) {
    return std::chrono::steady_clock::time_point(at.time_since_epoch());
}

// When what follows these bytes without a pause has come.
std::chrono::microseconds timeOf(const QByteArray &bytes) {
    return AdapterDelay + ByteTime * bytes.size();
}

// What begins with a frame is the end of no other.
bool beginsWithFrame(const QByteArray &bytes) {
    const std::vector<Frame> frames = cutFrames(bytes);
    return !frames.empty() && frames.front().shape != FrameShape::Noise;
}

bool canBeRequest(const Frame &frame) {
    return frame.shape == FrameShape::Request || frame.shape == FrameShape::Echo ||
           frame.shape == FrameShape::Other;
}

} // namespace

Replay::Replay(ExchangeListener listener, IsOurs isOurs)
    : m_listener(std::move(listener)), m_isOurs(std::move(isOurs)) {}

void Replay::take(const CapturedPacket &packet) {
    if (packet.at > m_restUntil || m_rest.bytes.size() > LongestRest ||
        beginsWithFrame(packet.bytes))
        takeRest();
    const CapturedPacket rest = std::exchange(m_rest, {});
    for (const Frame &frame : cutFrames(rest.bytes + packet.bytes)) {
        const Time at = frame.offset < rest.bytes.size() ? rest.at : packet.at;
        takeRest();
        if (frame.shape == FrameShape::Noise) {
            m_rest = {at, frame.bytes};
        } else {
            takeFrame(frame, at);
        }
    }
    m_restUntil = packet.at + timeOf(packet.bytes);
}

// Nothing that came behind it made it a frame.
void Replay::takeRest() {
    const CapturedPacket rest = std::exchange(m_rest, {});
    if (!rest.bytes.isEmpty())
        takeFrame({FrameShape::Noise, 0, rest.bytes}, rest.at);
}

void Replay::finish() {
    takeRest();
    if (m_request)
        end();
}

Replay::LeftOver Replay::leftOver() const {
    LeftOver left;
    for (const Frame &frame : cutFrames(heardOf(m_between).bytes)) {
        left.bytes += frame.bytes.size();
        left.frames += frame.shape != FrameShape::Noise ? 1 : 0;
        left.requests += frame.shape == FrameShape::Request ? 1 : 0;
    }
    return left;
}

void Replay::takeFrame(const Frame &frame, Time at) {
    if (m_request && !isEcho(frame, at) && answers(frame, *m_request)) {
        answer(frame, at);
    } else if (isNewRequest(frame, at)) {
        if (m_request)
            end();
        if (!m_isOurs || m_isOurs(frame)) {
            begin(frame, at);
        } else {
            hear(frame, at);
        }
    } else {
        hear(frame, at);
    }
}

// An echo comes while its request goes out, a repeat later. An acknowledgement may be a copy of its
// request too, and no echo.
bool Replay::isEcho(const Frame &frame, Time at) const {
    return m_request && m_request->shape != FrameShape::Echo && frame.bytes == m_request->bytes &&
           m_exchange.received.empty() && at - m_exchange.sentAt < timeOf(frame.bytes);
}

bool Replay::isNewRequest(const Frame &frame, Time at) const {
    // Many are acknowledged, never asked for, in this form.
    const bool isAcknowledgement =
        frame.shape == FrameShape::Echo && (frame.function() == 15 || frame.function() == 16);
    if (!canBeRequest(frame) || isAcknowledgement || isEcho(frame, at))
        return false;
    return !m_request || at - m_exchange.sentAt >= ShortestTimeout;
}

void Replay::begin(const Frame &request, Time at) {
    m_exchange = {};
    m_exchange.station = request.station();
    m_exchange.function = request.function();
    m_exchange.firstRegister = request.firstRegister();
    m_exchange.registers = request.registers();
    m_exchange.request = request.bytes;
    m_exchange.sentAt = at;
    m_exchange.began = steady(at);
    m_exchange.received = std::exchange(m_between, {});
    m_exchange.outcome = request.station() == 0 ? Outcome::Good : Outcome::NoReply;
    m_request = request;
    if (request.station() == 0)
        end();
}

void Replay::hear(const Frame &frame, Time at) {
    if (!m_request) {
        m_between.push_back({steady(at), frame.bytes});
        return;
    }
    const bool isOwnEcho = isEcho(frame, at);
    m_exchange.received.push_back({steady(at), frame.bytes});
    if (!isOwnEcho)
        judge(frame);
}

// What is no answer says why there is none; the last of it counts, and damage most.
void Replay::judge(const Frame &frame) {
    if (m_exchange.outcome == Outcome::BadCrc)
        return;
    m_exchange.reply = frame.bytes;
    if (frame.shape == FrameShape::Noise) {
        m_exchange.outcome = Outcome::BadCrc;
    } else {
        m_exchange.outcome =
            frame.station() == m_exchange.station ? Outcome::WrongReply : Outcome::Foreign;
    }
}

void Replay::answer(const Frame &frame, Time at) {
    m_exchange.received.push_back({steady(at), frame.bytes});
    m_exchange.reply = frame.bytes;
    const bool isRefusal = frame.shape == FrameShape::Refusal;
    m_exchange.outcome = isRefusal ? Outcome::Refused : Outcome::Good;
    m_exchange.exceptionCode = isRefusal ? frame.exceptionCode() : 0;
    m_exchange.replyTime = std::chrono::duration_cast<microseconds>(at - m_exchange.sentAt);
    m_exchange.duration = m_exchange.replyTime;
    end();
}

void Replay::end() {
    m_request.reset();
    m_listener(m_exchange);
}
