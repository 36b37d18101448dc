// What the bytes heard after a request mean for it. Pure: no port, no clock.
#pragma once

#include "panel/line/exchange.h"

#include <QByteArray>

#include <vector>

// How long to go on listening.
enum class ListenUntil {
    Decided,         // no longer: whatever else comes changes nothing
    BytePause,       // a reply has begun: until the line pauses
    ResponseTimeout, // nothing that could become the reply has begun
    LaterOfBoth,     // bytes that may be noise or the reply's beginning
};

struct ReplyVerdict {
    Outcome outcome = Outcome::NoReply; // never DeviceGone
    ListenUntil listen = ListenUntil::ResponseTimeout;
    int exceptionCode = 0; // of a refusal
    // Where, in the bytes heard, the frame stands that the outcome is about. Length 0: there is
    // none.
    int replyBegin = 0;
    int replyLength = 0;
    int echoBegin = -1; // where our own request came back whole; -1 it did not
};

// A reply is believed only when station, function, checksum and length fit the request, and the
// byte count of a read or the echoed address and count of a write. It is found behind our own echo,
// whole frames of others and noise.
class ReplyCheck {
public:
    // replyLength as in Protocol: -1 takes whatever comes until the line pauses; not 0.
    ReplyCheck(const QByteArray &request, int replyLength);

    // `heard` is all that came since the request went out. It may be asked again with more.
    ReplyVerdict judge(const QByteArray &heard) const;

private:
    // What a stretch of the bytes heard is; of several the last in this order is the outcome.
    enum class Kind { Echo, Noise, Foreign, WrongReply, Broken, Refusal, Reply };
    struct Stretch {
        Kind kind;
        int begin;
        int length;
    };

    std::vector<Stretch> cut(const QByteArray &heard) const;
    Stretch frameAt(const QByteArray &heard, int at) const;
    bool hasBegunAt(const QByteArray &rest) const;
    Stretch brokenPart(const QByteArray &heard, Stretch noise) const;
    Outcome outcomeOf(const QByteArray &heard, const Stretch &stretch) const;

    QByteArray m_request;
    int m_replyLength;
    QByteArray m_replyHead;   // what the reply begins with
    QByteArray m_refusalHead; // what a refusal begins with
};

// Bytes of the frame with a good checksum that `bytes` begin with, whoever sent it and whatever
// for; 0 when there is none.
int wholeFrameLength(const QByteArray &bytes);
