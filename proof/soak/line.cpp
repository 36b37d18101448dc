// Draws a fault for an exchange and does it.
#include "line.h"

#include <algorithm>

namespace {

constexpr size_t MostLate = 8;

const Fault ReplyFaults[] = {Fault::RequestLost, Fault::ReplyLost, Fault::Late,      Fault::Late,
                             Fault::Short,       Fault::Long,      Fault::Flipped,   Fault::Foreign,
                             Fault::Stale,       Fault::Stale,     Fault::Exception, Fault::Noise};

bool isUnheard(Fault fault) {
    return fault == Fault::RequestLost || fault == Fault::Exception;
}

bool looksAwaited(const Protocol &request, const QByteArray &bytes) {
    return bytes.size() == request.replyLength && !bytes.isEmpty() &&
           bytes.at(0) == request.frame.at(0) && hasItsCrc(bytes);
}

} // namespace

// Of a broadcast there is no reply that could be harmed.
Fault Line::draw(const Protocol &request) {
    if (!random.percent(faultPercent))
        return Fault::None;
    if (request.replyLength == 0)
        return Fault::Noise;
    const Fault fault = random.pick(ReplyFaults);
    return fault == Fault::Stale && late.empty() ? Fault::Late : fault;
}

Received Line::exchange(const Protocol &request) {
    const Fault fault = draw(request);
    const bool broadcast = request.replyLength == 0;
    stations.changes.clear();
    const QByteArray own =
        isUnheard(fault) ? QByteArray() : stations.answer(request.frame.left(request.frameLength));
    const bool dead = !isUnheard(fault) && own.isEmpty() && !broadcast;
    ++tally.faults[dead ? Fault::Dead : fault];
    QByteArray bytes = heard(fault, request, own);
    if (bytes != own && looksAwaited(request, bytes))
        bytes.clear();
    return {bytes, bytes == own && own.size() == request.replyLength};
}

QByteArray Line::heard(Fault fault, const Protocol &request, const QByteArray &own) {
    switch (fault) {
    case Fault::RequestLost:
    case Fault::ReplyLost:
        return {};
    case Fault::Late:
        keepLate(own);
        return {};
    case Fault::Short:
        return own.left(random.below(std::max(1, own.size())));
    case Fault::Long:
        return own + noise(random.between(1, 40));
    case Fault::Flipped:
        return flipped(own);
    case Fault::Foreign:
        return foreign(own);
    case Fault::Stale:
        return takeLate();
    case Fault::Exception:
        return refusal(request);
    case Fault::Noise:
        return noise(random.oneIn(2) ? request.replyLength : random.between(1, 40));
    default:
        return own;
    }
}

QByteArray Line::flipped(QByteArray reply) {
    const int bits = random.between(1, 3);
    for (int i = 0; i < bits && !reply.isEmpty(); ++i) {
        const int at = random.below(reply.size());
        reply[at] = static_cast<char>(reply.at(at) ^ (1 << random.below(8)));
    }
    return reply;
}

// The same reply, sound, from another station.
QByteArray Line::foreign(QByteArray reply) {
    if (reply.isEmpty())
        return reply;
    reply[0] = static_cast<char>(reply.at(0) + random.between(1, 255));
    return withCrc(reply.chopped(2));
}

QByteArray Line::refusal(const Protocol &request) {
    QByteArray reply = request.frame.left(2);
    reply[1] = static_cast<char>(reply.at(1) | 0x80);
    return withCrc(reply.append(static_cast<char>(random.between(1, 6))));
}

void Line::keepLate(const QByteArray &reply) {
    late.push_back(reply);
    if (late.size() > MostLate)
        late.pop_front();
}

QByteArray Line::takeLate() {
    const auto chosen = late.begin() + random.below(static_cast<int>(late.size()));
    QByteArray reply = *chosen;
    late.erase(chosen);
    return reply;
}

QByteArray Line::noise(int size) {
    QByteArray bytes(size, '\0');
    for (char &byte : bytes)
        byte = random.byte();
    return bytes;
}
