// The faults of a bad line or a bad station that the simulated PLC shows when asked to.
#pragma once

#include "station_numbers.h"

#include <QString>

#include <vector>

// In the order in which they strike: the first makes the answer, the next ones act on it.
enum class FaultKind {
    Exception,   // the station refuses and does nothing
    Function,    // right station, length and checksum, but the answer of another function
    Count,       // a read's answer counts more bytes than it has, with a right checksum
    Acknowledge, // a write's answer names another register, with a right checksum
    Foreign,     // a good frame, of another station
    Flip,        // one wrong bit
    Cut,         // the end is missing
    Extra,       // bytes behind the answer
    Late,        // the answer comes later
    Drop,        // no answer
    Echo,        // the request comes back first
    Noise,       // bytes of nobody between request and answer
    Master,      // another master's request and its answer, behind ours
};

struct Fault {
    FaultKind kind = FaultKind::Drop;
    double share = 0;        // of the answers, or of the requests from Echo on; 0 to 1
    int value = 0;           // Exception: its code. Late: milliseconds
    StationNumbers stations; // none: all, and the broadcasts

    bool concerns(int station) const { return stations.empty() || stations.count(station) != 0; }
};

using Faults = std::vector<Fault>; // of two for the same kind and station the first counts

const char *nameOf(FaultKind kind);

// "drop=1%,late=20%:140ms,exception=1%:2@3+7-9,cut"; what is left out has a default, "none" is no
// fault. One line when it is no such list; `faults` is then as it was.
QString readFaults(const QString &text, Faults *faults);
