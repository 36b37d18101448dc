// Draws a fault for an exchange and does it.
#include "line.h"

#include "sealing.h"

namespace {

constexpr size_t MostLate = 8;

// An exchange of a broadcast has no reply that could be harmed.
const Fault BroadcastFaults[] = {Fault::RequestLost, Fault::Noise};
const Fault ReplyFaults[] = {Fault::RequestLost, Fault::ReplyLost, Fault::Late,      Fault::Short,
                             Fault::Long,        Fault::Flipped,   Fault::Foreign,   Fault::Stale,
                             Fault::Stale,       Fault::Late,      Fault::Exception, Fault::Noise};

// The same reply, sound, from another station.
QByteArray foreignReply(QByteArray reply, int step) {
    if (reply.size() <= 2)
        return reply;
    reply.chop(2);
    reply[0] = static_cast<char>(static_cast<unsigned char>(reply.at(0)) + step);
    return sealed(reply);
}

QByteArray refusal(const RW_VAR &asked, int code) {
    QByteArray reply(1, static_cast<char>(asked.station));
    reply.append(static_cast<char>(asked.isWrite != 0 ? 0x90 : 0x83));
    return sealed(reply.append(static_cast<char>(code)));
}

} // namespace

Fault Line::draw(const Protocol &request) {
    if (!random.percent(faultPercent))
        return Fault::None;
    const Fault fault =
        request.replyLength == 0 ? random.pick(BroadcastFaults) : random.pick(ReplyFaults);
    return fault == Fault::Stale && late.empty() ? Fault::Late : fault;
}

Received Line::exchange(const Protocol &request) {
    Received received;
    Fault fault = draw(request);
    received.delivered = fault != Fault::RequestLost && fault != Fault::Exception;
    QByteArray reply;
    if (received.delivered)
        reply = plant.serve(request.frame.left(request.frameLength), remote);
    const auto target = plant.stations.find(request.var.station);
    const bool dead = target != plant.stations.end() && !target->second.alive;
    if (dead && fault != Fault::Stale && fault != Fault::Noise)
        fault = Fault::Dead;
    ++tally[fault];
    received.bytes = reply;
    damage(fault, request, received.bytes);
    received.genuine = received.delivered && received.bytes == reply;
    return received;
}

void Line::damage(Fault fault, const Protocol &request, QByteArray &reply) {
    switch (fault) {
    case Fault::Late:
        late.push_back(reply);
        if (late.size() > MostLate)
            late.pop_front();
        reply.clear();
        break;
    case Fault::ReplyLost:
    case Fault::RequestLost:
        reply.clear();
        break;
    case Fault::Short:
        reply.truncate(random.below(qMax(1, reply.size())));
        break;
    case Fault::Long:
        reply += noise(0);
        break;
    case Fault::Flipped:
        flip(reply);
        break;
    case Fault::Foreign:
        reply = foreignReply(reply, random.between(1, 255));
        break;
    case Fault::Stale:
        reply = staleReply(request);
        break;
    case Fault::Exception:
        reply = refusal(request.var, random.between(1, 6));
        break;
    case Fault::Noise:
        reply = noise(request.replyLength);
        break;
    default:
        break;
    }
}

// A CRC notices up to three bits always, more nearly always.
void Line::flip(QByteArray &reply) {
    const int flips = undetectable && random.oneIn(8) ? 40 : random.between(1, 3);
    for (int i = 0; i < flips && !reply.isEmpty(); ++i) {
        const int at = random.below(reply.size());
        reply[at] = static_cast<char>(reply.at(at) ^ (1 << random.below(8)));
    }
}

// Half of the time one that the master cannot tell from its own reply, when there is one.
QByteArray Line::staleReply(const Protocol &request) {
    size_t chosen = static_cast<size_t>(random.below(static_cast<int>(late.size())));
    const auto alike = [&request](const QByteArray &reply) {
        return reply.size() == request.replyLength && !reply.isEmpty() &&
               reply.at(0) == static_cast<char>(request.var.station);
    };
    if (undetectable && random.oneIn(2)) {
        for (size_t i = 0; i < late.size(); ++i) {
            if (alike(late[i]))
                chosen = i;
        }
    }
    const QByteArray reply = late[chosen];
    late.erase(late.begin() + static_cast<std::ptrdiff_t>(chosen));
    return !undetectable && alike(reply) ? QByteArray() : reply;
}

QByteArray Line::noise(int usualLength) {
    const bool usual = undetectable && usualLength > 0 && random.oneIn(2);
    QByteArray bytes(usual ? usualLength : random.between(1, 40), '\0');
    for (char &byte : bytes)
        byte = random.byte();
    return bytes;
}
