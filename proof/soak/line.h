// The line between the driver and the stations, with its faults.
#pragma once

#include "driver/records.h"
#include "random.h"
#include "tally.h"
#include "tests/stations.h"

#include <deque>

struct Received {
    QByteArray bytes;     // what the host collects before its time-out
    bool genuine = false; // the station's own reply, unharmed; of a broadcast, silence
};

// Never makes what no master could tell from the awaited reply: a late one of the same station and
// length, four or more turned bits that leave the CRC right, or a broadcast that is lost.
class Line {
public:
    Line(Stations &stations, Random &random, Tally &tally)
        : stations(stations), random(random), tally(tally) {}

    Received exchange(const Protocol &request);

    int faultPercent = 0;

private:
    Fault draw(const Protocol &request);
    QByteArray heard(Fault fault, const Protocol &request, const QByteArray &own);
    QByteArray flipped(QByteArray reply);
    QByteArray foreign(QByteArray reply);
    QByteArray refusal(const Protocol &request);
    void keepLate(const QByteArray &reply);
    QByteArray takeLate();
    QByteArray noise(int size);

    Stations &stations;
    Random &random;
    Tally &tally;
    std::deque<QByteArray> late;
};
