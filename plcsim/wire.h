// The wire: when each byte is on it, one direction at a time.
#pragma once

#include "line_timing.h"

#include <QByteArray>

#include <algorithm>
#include <map>
#include <optional>

class Wire {
public:
    explicit Wire(const LineTiming &timing) : m_timing(timing) {}

    // The host has handed over `count` bytes, at its own speed: when the last of them will be
    // through.
    TimePoint arrive(TimePoint now, int count, int hostBaud);
    // When bytes that the host hands over now begin to go through.
    TimePoint hostStart(TimePoint now) const;

    // Bytes for the host, one after the other from `earliest` on or when the wire gets free. Bytes
    // queued for the same time keep their order.
    void send(TimePoint earliest, const QByteArray &bytes);
    // What the host hears of its own bytes, while they go through.
    void echo(TimePoint start, const QByteArray &bytes);

    // The bytes that are through by `now` and have not been taken yet.
    QByteArray take(TimePoint now);
    // When take() has the next byte; nothing with nothing to send.
    std::optional<TimePoint> nextDue() const;

    // When the last byte known so far is through, in either direction.
    TimePoint freeSince() const { return std::max(m_sentUntil, m_hostUntil); }

    // Somebody else's bytes are on the wire now: what the host sends meets them.
    bool isTaken(TimePoint now) const;
    // What spoils those bytes: the next `count` of them come out wrong.
    void spoil(int count);

    void clear();

private:
    struct Transmission {
        QByteArray bytes;
        bool isEcho = false;
    };
    using Waiting = std::multimap<TimePoint, Transmission>;

    // When the first `count` bytes of the current one are to be handed on.
    TimePoint dueTime(int count) const;
    TimePoint startOf(const Waiting::value_type &next) const;
    bool begin(TimePoint now);

    LineTiming m_timing;
    Waiting m_waiting; // by the earliest time
    Transmission m_current;
    TimePoint m_start; // of the current one
    int m_taken = 0;   // bytes of the current one
    TimePoint m_sentUntil;
    TimePoint m_hostUntil;
};
