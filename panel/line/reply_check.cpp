#include "panel/line/reply_check.h"

#include "modbus/checksums.h"
#include "modbus/frame_bytes.h"
#include "panel/line/read_frames.h"

#include <algorithm>
#include <array>

namespace {

constexpr int RefusalLength = 5;
constexpr int ShortFrame = 8; // a read request; a write and its acknowledgement
constexpr int WriteHead = 6;  // station, function, address, count
constexpr int RefusalFlag = 0x80;
constexpr int ShortestReply = 5;

bool hasGoodCrc(const QByteArray &bytes, int length) {
    return length > 2 && length <= bytes.size() &&
           crcOf(bytes, length - 2) == (byteAt(bytes, length - 2) | byteAt(bytes, length - 1) << 8);
}

// The bytes from `at` on, without a copy.
QByteArray restOf(const QByteArray &bytes, int at) {
    return QByteArray::fromRawData(bytes.constData() + at, bytes.size() - at);
}

// As far as both go.
bool fits(const QByteArray &bytes, const QByteArray &head) {
    const int length = std::min(bytes.size(), head.size());
    return bytes.left(length) == head.left(length);
}

// What a frame's own bytes say of its length: as a reply, as a request. 0: nothing.
std::array<int, 2> statedLengths(const QByteArray &bytes) {
    const auto countAt = [&bytes](int index) {
        return index < bytes.size() ? byteAt(bytes, index) : 0;
    };
    const int function = countAt(1);
    if (function >= RefusalFlag)
        return {RefusalLength, 0};
    switch (function) {
    case 1: // reads of bits and registers
    case 2:
    case 3:
    case 4:
        return {ReadOverhead + countAt(2), ShortFrame};
    case 15: // writes of many
    case 16:
        return {ShortFrame, ShortFrame + 1 + countAt(6)};
    case 5: // writes of one
    case 6:
        return {ShortFrame, 0};
    default:
        return {0, 0};
    }
}

} // namespace

int wholeFrameLength(const QByteArray &bytes) {
    for (const int length : statedLengths(bytes)) {
        if (hasGoodCrc(bytes, length))
            return length;
    }
    return 0;
}

ReplyCheck::ReplyCheck(const QByteArray &request, int replyLength)
    : m_request(request), m_replyLength(replyLength) {
    const int function = request.size() > 1 ? byteAt(request, 1) : 0;
    m_refusalHead = request.left(1) + static_cast<char>(function | RefusalFlag);
    const bool isRead = function >= 1 && function <= 4;
    m_replyHead = isRead ? request.left(2) + static_cast<char>(replyLength - ReadOverhead)
                         : request.left(WriteHead);
}

ReplyVerdict ReplyCheck::judge(const QByteArray &heard) const {
    ReplyVerdict verdict;
    if (heard.isEmpty())
        return verdict;
    if (m_replyLength < 0) // not a frame of Modbus
        return {Outcome::Good, ListenUntil::BytePause, 0, 0, heard.size(), -1};

    const std::vector<Stretch> stretches = cut(heard);
    Stretch strongest{Kind::Echo, 0, 0};
    for (const Stretch &stretch : stretches) {
        if (stretch.kind == Kind::Echo)
            verdict.echoBegin = stretch.begin;
        if (stretch.kind >= strongest.kind)
            strongest = stretch;
    }
    if (strongest.kind >= Kind::Refusal) {
        verdict.listen = ListenUntil::Decided;
    } else if (strongest.kind == Kind::Broken) {
        verdict.listen = ListenUntil::BytePause;
    } else if (stretches.back().kind == Kind::Noise) {
        verdict.listen = ListenUntil::LaterOfBoth;
    }
    if (strongest.kind == Kind::Echo)
        return verdict;
    verdict.outcome = outcomeOf(heard, strongest);
    verdict.exceptionCode =
        strongest.kind == Kind::Refusal ? byteAt(heard, strongest.begin + 2) : 0;
    verdict.replyBegin = strongest.begin;
    verdict.replyLength = strongest.length;
    return verdict;
}

// Ends with the reply, if it is there.
std::vector<ReplyCheck::Stretch> ReplyCheck::cut(const QByteArray &heard) const {
    std::vector<Stretch> stretches;
    for (int at = 0; at < heard.size();) {
        const Stretch next = frameAt(heard, at);
        at += next.length;
        const bool isMoreNoise =
            next.kind == Kind::Noise && !stretches.empty() && stretches.back().kind == Kind::Noise;
        if (isMoreNoise) {
            stretches.back().length += next.length;
        } else {
            stretches.push_back(next);
        }
        if (next.kind >= Kind::Refusal)
            break;
    }
    for (Stretch &stretch : stretches) {
        if (stretch.kind == Kind::Noise)
            stretch = brokenPart(heard, stretch);
    }
    return stretches;
}

// The frame that begins here, or a byte of noise, or all the rest when the reply may begin here.
ReplyCheck::Stretch ReplyCheck::frameAt(const QByteArray &heard, int at) const {
    const QByteArray rest = restOf(heard, at);
    if (rest.startsWith(m_replyHead) && hasGoodCrc(rest, m_replyLength))
        return {Kind::Reply, at, m_replyLength};
    if (rest.startsWith(m_refusalHead) && hasGoodCrc(rest, RefusalLength))
        return {Kind::Refusal, at, RefusalLength};
    if (rest.startsWith(m_request))
        return {Kind::Echo, at, m_request.size()};
    if (hasBegunAt(rest))
        return {Kind::Noise, at, rest.size()};
    // A function that nobody knows has no length of its own.
    const int stated = wholeFrameLength(rest);
    const int length = stated == 0 && hasGoodCrc(rest, m_replyLength) ? m_replyLength : stated;
    if (length == 0)
        return {Kind::Noise, at, 1};
    const bool isOfStation = rest[0] == m_request[0];
    return {isOfStation ? Kind::WrongReply : Kind::Foreign, at, length};
}

bool ReplyCheck::hasBegunAt(const QByteArray &rest) const {
    return (fits(rest, m_replyHead) && rest.size() < m_replyLength) ||
           (fits(rest, m_refusalHead) && rest.size() < RefusalLength) ||
           (fits(rest, m_request) && rest.size() < m_request.size());
}

// Noise that is too long for noise, or has the station and the function asked in it, is the reply:
// damaged, or not yet whole.
ReplyCheck::Stretch ReplyCheck::brokenPart(const QByteArray &heard, Stretch noise) const {
    const QByteArray bytes = heard.mid(noise.begin, noise.length);
    const int reply = bytes.indexOf(m_request.left(2));
    const int refusal = bytes.indexOf(m_refusalHead);
    const int head =
        reply >= 0 && refusal >= 0 ? std::min(reply, refusal) : std::max(reply, refusal);
    if (head < 0 && noise.length < ShortestReply)
        return noise;
    const int skipped = std::max(head, 0);
    return {Kind::Broken, noise.begin + skipped, noise.length - skipped};
}

Outcome ReplyCheck::outcomeOf(const QByteArray &heard, const Stretch &stretch) const {
    const bool isRefusal = restOf(heard, stretch.begin).startsWith(m_refusalHead);
    const bool isWhole = stretch.length >= (isRefusal ? RefusalLength : m_replyLength);
    switch (stretch.kind) {
    case Kind::Reply:
        return Outcome::Good;
    case Kind::Refusal:
        return Outcome::Refused;
    case Kind::WrongReply:
        return Outcome::WrongReply;
    case Kind::Foreign:
        return Outcome::Foreign;
    default:
        return isWhole ? Outcome::BadCrc : Outcome::CutShort;
    }
}
