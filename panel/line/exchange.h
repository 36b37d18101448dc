// One request on the line and what became of it: the record that everything which watches a line
// listens to (counts, freshness, diagnosis, trace, capture).
#pragma once

#include <QByteArray>

#include <chrono>
#include <cstddef>
#include <functional>
#include <vector>

// What the reply was. Good alone reaches the driver as a reply; every other one is handed on as
// none.
enum class Outcome {
    Good,       // the reply that the request asks for, or a broadcast sent
    NoReply,    // no byte until the time was over
    Refused,    // an exception of the station asked
    BadCrc,     // as long as it should be or longer, with a wrong checksum
    CutShort,   // ended before the frame did
    WrongReply, // a good frame of the station asked, but of another request
    Foreign,    // good frames of other stations only
    DeviceGone, // the device failed: nothing was sent or heard
};
constexpr std::size_t OutcomeCount = 8;

// Why the request was made.
enum class Purpose {
    Poll,     // the line's own reading, again and again
    Probe,    // the same, to see whether a silent station is back
    ReadOnce, // somebody asked for it once
    Write,    // a write, or the read that has to come before one of a bit or byte
};

// Bytes that came together, in the order of their coming.
struct ReceivedBytes {
    std::chrono::steady_clock::time_point at; // when the panel had them
    QByteArray bytes;
};

struct Exchange {
    std::size_t line = 0; // index in PanelFile::lines
    Purpose purpose = Purpose::Poll;
    int station = 0;       // asked; 0 all of them
    int function = 0;      // 3, 4 or 16; 0: the device went while nothing was asked
    int firstRegister = 0; // as on the wire
    int registers = 0;
    // Where the driver keeps what a read brings: 6, 7 or 8; 0 where nobody knows. Holding registers
    // from 5000 can be in area 7 and in area 8.
    int area = 0;

    QByteArray request;                           // the frame as it was sent
    std::chrono::system_clock::time_point sentAt; // when its first byte went out, for people
    std::chrono::steady_clock::time_point began;  // the same, to count from

    // Everything that was heard since the exchange before: what belongs to nobody, our own echo,
    // frames of others, the reply. In the order of coming.
    std::vector<ReceivedBytes> received;
    QByteArray reply; // the frame that the outcome is about; empty when there is none

    Outcome outcome = Outcome::Good;
    int exceptionCode = 0; // of a refusal
    int attempt = 1;       // 1 the first sending, 2 the first repeat, ...
    bool gaveUp = false;   // failed for good: no repeat follows
    // The station is left alone from now on, or is still: tries aside, nothing of it is read.
    bool stationRests = false;

    std::chrono::microseconds replyTime{0}; // end of the request to first byte of the reply; 0 none
    std::chrono::microseconds duration{0};  // of line time, the silence before it included
};

// The same question would get the same answer: a refusal of this kind is an answer like any other.
// Of any other kind (busy, a gateway in trouble) it may be another one soon.
inline bool isFinalRefusal(const Exchange &exchange) {
    return exchange.outcome == Outcome::Refused && exchange.exceptionCode >= 1 &&
           exchange.exceptionCode <= 3;
}

// Called on the line's communication thread, once for each exchange, right after it. Never waits
// for a disk, a socket or a terminal: a bounded queue stands between.
using ExchangeListener = std::function<void(const Exchange &)>;
