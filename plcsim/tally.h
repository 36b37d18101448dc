// What was served, for the summary at the end and the command `count`.
#pragma once

#include "clock.h"

#include <QString>

#include <map>
#include <optional>

using FaultCounts = std::map<QString, qint64>; // by the name of the kind

struct StationTally {
    qint64 requests = 0; // good ones, broadcasts included
    qint64 answers = 0;  // exceptions included, and those that a fault kept back
    qint64 exceptions = 0;
    FaultCounts faults;
};

struct Tally {
    std::map<int, StationTally> stations;
    FaultCounts lineFaults;                     // those that are no station's
    qint64 absent = 0;                          // requests for stations that are not here
    qint64 collisions = 0;                      // bytes of the host that met an answer
    qint64 wrongSpeed = 0;                      // bytes of a host at another speed
    qint64 strayBytes = 0;                      // part of no request
    std::optional<Nanoseconds> shortestSilence; // between the bytes before and a request
};

// The lines of the summary, each with its line end.
QString tallyText(const Tally &tally);
