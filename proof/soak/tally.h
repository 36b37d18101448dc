// Counts of one run.
#pragma once

#include <QtGlobal>

#include <map>

// What the line does to one exchange.
enum class Fault {
    None,
    RequestLost, // the station never hears it
    ReplyLost,   // carried out, no reply
    Late,        // the reply comes after the time-out, and perhaps in a later exchange
    Short,
    Long,
    Flipped,   // one to three bits turned over, which a CRC always shows
    Foreign,   // a sound reply of another station
    Stale,     // a late reply to an earlier request
    Exception, // the station refuses
    Noise,
    Dead // the station has no power
};

struct Tally {
    quint64 exchanges = 0;
    std::map<Fault, quint64> faults;
};
