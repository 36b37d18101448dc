// The host of one round: its communication thread, the stations at the far end of the line, and the
// promises that are looked at in every exchange.
#pragma once

#include "driver/Communication_Protocol.h"
#include "line.h"
#include "order.h"
#include "screen.h"

#include <deque>
#include <set>

using Image = QMap<int, QMap<int, QByteArray>>;

// The driver's reports in one call of DataCom.
struct Reports {
    struct Finish {
        int ownerId;
        int itemId;
        int status;
    };
    std::vector<Finish> finished;
    std::vector<int> failedOwners;
    bool wrongContext = false;
};

// Stations that screens have switched off, and how often they have switched.
struct Off {
    std::set<int> stations;
    int switches = 0;
    bool holds(int station) const { return stations.count(station) != 0; }
};

class Host {
public:
    Host(const Setup &setup, quint64 seed, Tally &tally);

    // The stations have a life of their own: their program changes registers, they die and return.
    void liveOn();
    void letScreensAct();
    void turn();

    // Without faults: the queues run empty, then one pass over the cyclic list.
    void calmDown();
    void passOnce();

    // The first broken promise, empty while all hold. The screens' threads have ended.
    std::string broken() const;

    std::deque<Screen> screens;
    int turns = 0;

private:
    enum class Next { New, TheSame, WriteHalf }; // what the driver owes in the next turn
    struct Exchange {
        Protocol request;
        Received received;
        Image before; // the image, as the reply finds it
        int result = 0;
    };

    void newGeneration();
    void growImage();
    void setRegisters(int from, int to);
    Waiting whatWaits(const Off &off) const;
    Off whatIsOff() const;
    bool queuesAreEmpty() const;
    void checkRequest(const Protocol &request, const Waiting &waiting, const Off &off);
    void checkNew(const RW_VAR &var, const Waiting &waiting, const Off &off);
    void checkPlc(const RW_VAR &var);
    void checkVerdict(const Exchange &exchange);
    void checkImage(const Exchange &exchange);
    void checkReports(const RW_VAR &var, bool ended, bool givenUp);
    void settle();

    const Setup setup;
    Random random;
    Tally &tally;
    ComInfo info;
    Stations stations;
    Line line;
    Order order;
    Reports reports;
    Promises promises;
    QByteArray lastFrame;
    Next next = Next::New;
    int failures = 0;  // in a row, as the host counts them
    bool calm = false; // screens have stopped
    int generation = 0;
};
