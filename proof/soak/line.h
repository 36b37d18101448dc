// The line between the driver and the stations, with its faults.
#pragma once

#include "driver/records.h"
#include "plant.h"
#include "random.h"
#include "tally.h"

#include <QByteArray>

#include <deque>

struct Received {
    QByteArray bytes;       // what the host collects before its time-out
    bool delivered = false; // the request reached the stations
    bool genuine = false;   // the bytes are this request's own reply, unharmed
};

class Line {
public:
    Line(Plant &plant, Random &random, Tally &tally) : plant(plant), random(random), tally(tally) {}

    Received exchange(const Protocol &request);

    int faultPercent = 0;
    bool remote = false;      // request frames are those of the remote-mode link
    bool undetectable = true; // late replies may take the place of another reply of their length

private:
    Fault draw(const Protocol &request);
    void damage(Fault fault, const Protocol &request, QByteArray &reply);
    void flip(QByteArray &reply);
    QByteArray staleReply(const Protocol &request);
    QByteArray noise(int usualLength);

    Plant &plant;
    Random &random;
    Tally &tally;
    std::deque<QByteArray> late;
};
