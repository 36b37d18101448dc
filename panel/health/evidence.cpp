#include "panel/health/evidence.h"

#include "panel/health/exchange_text.h"

#include <tuple>

namespace {

// Exchanges that count, of a station and of the line.
constexpr std::size_t StationWindow = 200;
constexpr std::size_t LineWindow = 400;

using Clock = std::chrono::steady_clock;

// What was heard before the request went out, or after.
std::vector<ReceivedBytes> heard(const Exchange &exchange, bool afterRequest) {
    std::vector<ReceivedBytes> pieces;
    for (const ReceivedBytes &piece : exchange.received) {
        if ((piece.at >= exchange.began) == afterRequest)
            pieces.push_back(piece);
    }
    return pieces;
}

QByteArray joined(const std::vector<ReceivedBytes> &pieces) {
    QByteArray bytes;
    for (const ReceivedBytes &piece : pieces)
        bytes += piece.bytes;
    return bytes;
}

// A write of one register is acknowledged by a copy of itself: one copy is the answer.
bool isEchoed(const Exchange &exchange, const QByteArray &bytes) {
    const bool isOwnAnswer = exchange.reply == exchange.request;
    return bytes.startsWith(isOwnAnswer ? exchange.request + exchange.reply : exchange.request);
}

// When the byte at this place among the pieces came.
Clock::time_point timeOf(const std::vector<ReceivedBytes> &pieces, int offset) {
    Clock::time_point at;
    for (const ReceivedBytes &piece : pieces) {
        at = piece.at;
        if (offset < piece.bytes.size())
            break;
        offset -= piece.bytes.size();
    }
    return at;
}

// When the request had left, which the time of its reply is counted from.
Clock::time_point endOfRequest(const Exchange &exchange) {
    const auto pieces = heard(exchange, true);
    const bool isAnswered = exchange.replyTime.count() > 0 && !pieces.empty();
    return isAnswered ? pieces.front().at - exchange.replyTime : exchange.began;
}

template <typename Entry>
void keepLast(std::size_t most, std::deque<Entry> *entries) {
    while (entries->size() > most)
        entries->pop_front();
}

} // namespace

bool Refusal::operator<(const Refusal &other) const {
    return std::tie(function, firstRegister, registers, code) <
           std::tie(other.function, other.firstRegister, other.registers, other.code);
}

void EvidenceKeeper::observe(const Exchange &exchange) {
    if (exchange.outcome == Outcome::DeviceGone)
        return;
    m_strange.push_back({});
    keepLast(LineWindow, &m_strange);
    Finding finding;
    for (const Stray &stray : straysOf(exchange, &finding.isEchoed))
        sortStray(exchange, stray, &finding);
    // A broadcast is not answered, which says nothing.
    if (exchange.station != 0)
        remember(exchange, finding);
}

std::vector<EvidenceKeeper::Stray> EvidenceKeeper::straysOf(const Exchange &exchange,
                                                            bool *hasEcho) {
    std::vector<Stray> strays;
    bool isReplyLeft = !exchange.reply.isEmpty() && exchange.outcome != Outcome::WrongReply &&
                       exchange.outcome != Outcome::Foreign;
    for (const bool afterRequest : {false, true}) {
        const auto pieces = heard(exchange, afterRequest);
        const QByteArray bytes = joined(pieces);
        *hasEcho = afterRequest && isEchoed(exchange, bytes);
        const int echo = *hasEcho ? exchange.request.size() : 0;
        for (const Frame &frame : cutFrames(bytes.mid(echo))) {
            const bool isReply = afterRequest && isReplyLeft && frame.bytes == exchange.reply;
            isReplyLeft = isReplyLeft && !isReply;
            if (!isReply)
                strays.push_back({frame, timeOf(pieces, frame.offset + echo), afterRequest});
        }
    }
    return strays;
}

void EvidenceKeeper::sortStray(const Exchange &exchange, const Stray &stray, Finding *finding) {
    const Frame &frame = stray.frame;
    if (frame.shape == FrameShape::Noise || frame.bytes == exchange.request)
        return;
    const bool isStrange = m_strangeRequest && answers(frame, *m_strangeRequest);
    if (!isStrange && takeLateAnswer(stray))
        return;
    if (frame.shape == FrameShape::Request) {
        m_strangeRequest = frame;
        noteStranger(true);
        return;
    }
    m_strangeRequest.reset();
    const bool mayBeForUs = stray.isAfterRequest && !isStrange && exchange.outcome != Outcome::Good;
    if (mayBeForUs && frame.station() == exchange.station) {
        finding->kind = Kind::Unfitting;
    } else if (mayBeForUs && frame.function() == exchange.function) {
        finding->kind = Kind::OtherStation;
        finding->answeredBy = frame.station();
    } else {
        noteStranger(false);
    }
}

void EvidenceKeeper::noteStranger(bool isRequest) {
    m_strange.back().isRequest |= isRequest;
    m_strange.back().isAnswer |= !isRequest;
}

// The silence that it ends was a late answer in truth.
bool EvidenceKeeper::takeLateAnswer(const Stray &stray) {
    const auto found = m_stations.find(stray.frame.station());
    if (found == m_stations.end() || !found->second.unanswered ||
        !answers(stray.frame, found->second.unanswered->request)) {
        return false;
    }
    Station &station = found->second;
    Finding &finding = station.findings.back();
    finding.kind = Kind::Late;
    finding.late =
        std::chrono::duration_cast<std::chrono::microseconds>(stray.at - station.unanswered->ended);
    station.unanswered.reset();
    return true;
}

void EvidenceKeeper::remember(const Exchange &exchange, const Finding &finding) {
    Station &station = m_stations[exchange.station];
    Finding entry = finding;
    if (exchange.outcome == Outcome::Good) {
        entry.kind = Kind::Good;
    } else if (exchange.outcome == Outcome::Refused) {
        entry.kind = Kind::Refused;
        entry.refusal = {exchange.exceptionCode, exchange.function, exchange.firstRegister,
                         exchange.registers};
    } else if (exchange.outcome == Outcome::BadCrc || exchange.outcome == Outcome::CutShort) {
        entry.kind = Kind::Garbled;
    }
    if (entry.kind == Kind::Good || entry.kind == Kind::Refused) {
        station.lastAnsweredAt = exchange.sentAt;
        station.lastAnswered = requestText(exchange);
    }
    // What answers a repeat at once may be the late answer to the sending before it: the repeat's
    // own is then yet to come.
    const bool isOwed = entry.kind == Kind::Good && station.unanswered &&
                        station.findings.back().kind == Kind::Silent &&
                        station.unanswered->request.bytes == exchange.request;
    station.findings.push_back(entry);
    keepLast(StationWindow, &station.findings);
    station.unanswered.reset();
    if (entry.kind == Kind::Silent || isOwed)
        station.unanswered = {{FrameShape::Request, 0, exchange.request}, endOfRequest(exchange)};
}

Evidence EvidenceKeeper::evidenceOf(const Station &station) {
    Evidence evidence;
    evidence.lastAnsweredAt = station.lastAnsweredAt;
    evidence.lastAnswered = station.lastAnswered;
    for (const Finding &finding : station.findings) {
        ++evidence.exchanges;
        evidence.echoed += finding.isEchoed ? 1 : 0;
        evidence.good += finding.kind == Kind::Good ? 1 : 0;
        evidence.garbled += finding.kind == Kind::Garbled ? 1 : 0;
        evidence.silent += finding.kind == Kind::Silent ? 1 : 0;
        evidence.silences += finding.kind == Kind::Silent && evidence.silentInARow == 0 ? 1 : 0;
        evidence.unfitting += finding.kind == Kind::Unfitting ? 1 : 0;
        evidence.silentInARow = finding.kind == Kind::Silent ? evidence.silentInARow + 1 : 0;
        if (finding.kind == Kind::Refused) {
            ++evidence.refused;
            evidence.refusals.insert(finding.refusal);
        }
        if (finding.kind == Kind::OtherStation) {
            ++evidence.others;
            evidence.answeredBy.insert(finding.answeredBy);
        }
        if (finding.kind == Kind::Late)
            evidence.late.push_back(finding.late);
    }
    return evidence;
}

Evidence EvidenceKeeper::station(int number) const {
    const auto found = m_stations.find(number);
    return found == m_stations.end() ? Evidence() : evidenceOf(found->second);
}

Strangers EvidenceKeeper::strangers() const {
    Strangers strangers;
    strangers.exchanges = static_cast<int>(m_strange.size());
    for (const Strange &strange : m_strange) {
        strangers.requests += strange.isRequest ? 1 : 0;
        strangers.answers += strange.isAnswer ? 1 : 0;
    }
    return strangers;
}
