// Counts of one run: exchanges, faults by kind, and what no master on this protocol can tell apart.
#pragma once

#include <QtGlobal>

#include <array>
#include <cstdio>

// What the line does to one exchange.
enum class Fault : int {
    None,
    RequestLost, // the station never hears it
    ReplyLost,   // carried out, no reply
    Late,        // the reply comes after the time-out, and perhaps in a later exchange
    Short,
    Long,
    Flipped,   // bits turned over
    Foreign,   // a sound reply of another station
    Stale,     // a late reply to an earlier request
    Exception, // the station refuses
    Noise,
    Dead, // the station is switched off
    Kinds
};

struct Tally {
    quint64 rounds = 0;
    quint64 exchanges = 0;
    quint64 violations = 0;
    quint64 undetectable = 0; // wrong replies with the right station, length and CRC
    quint64 writes = 0;       // queued
    quint64 oneShots = 0;
    quint64 finished = 0; // reports with status 1
    quint64 givenUp = 0;  // calls of failCallback
    std::array<quint64, static_cast<size_t>(Fault::Kinds)> faults{};

    quint64 &operator[](Fault fault) { return faults[static_cast<size_t>(fault)]; }

    // The last line of a run.
    void print() const;
};
