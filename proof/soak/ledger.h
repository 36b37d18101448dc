// What the driver must do next: its queues, its requests, its reports and its counters, predicted
// from the calls that are made to it and from the replies it gets. Written from what the host is
// promised and without any of the driver's code; every turn is compared with it.
#pragma once

#include "driver/com_info.h"
#include "driver/records.h"
#include "lists/vardef.h"
#include "plant.h"
#include "shadow_image.h"

#include <QList>

#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

// One call of a host callback.
struct Report {
    bool fail = false; // failCallback, otherwise finishCallback
    int ownerId = 0;
    int itemId = 0; // 0 for failCallback
    int status = 0; // flag of failCallback

    bool operator==(const Report &other) const {
        return fail == other.fail && ownerId == other.ownerId && itemId == other.itemId &&
               status == other.status;
    }
};

struct ExpectedRequest {
    RW_VAR var;
    int replyLength = 0;
    Access access; // of a write: what it changes
};

// What one DataCom call must return and report.
struct Outcome {
    std::vector<Report> reports;
    bool undetectable = false; // it accepts a reply that is not the request's own
};

// The counters that host and driver share or that the driver shows.
struct Counters {
    int retryCount = 0;
    int frameCount = 0;
    int frameIndex = 0;
    int scanDone = 0;
    int listKind = 100;
    int writeBurst = 0;
    int onceBurst = 0;
    int passCount = 0;
    bool commFailed = false;
};

class Ledger {
public:
    Ledger(const ComInfo &settings, const Plant &plant);

    // Screens. Each answers what the call must return.
    int addWrite(const RW_VAR &var, int mode);
    int addOnceRead(RW_VAR &var, int mode);
    int setRegister(RW_VAR var, const QByteArray &data);
    void switchStation(int station, int flag);
    void rebuilt(const QList<RW_VAR> &list); // the cyclic list as the driver has rebuilt it
    void addCyclic(const RW_VAR &var);

    // The turn. next() is the request that ComCommunication must offer, null for none.
    const ExpectedRequest *next();
    void delivered(); // the stations have heard the request
    Outcome settle(const QByteArray &reply, bool genuine);
    void hostClearsRetries() { counters.retryCount = 0; }

    bool isDisabled(int station) const { return disabled.count(station) != 0; }
    int stationOf(int station) const;

    std::deque<RW_VAR> writes;
    std::deque<RW_VAR> onceReads;
    std::deque<RW_VAR> cyclic;
    std::deque<ExpectedRequest> requests;
    Counters counters;
    RW_VAR currentVar;
    ShadowImage image;
    std::map<int, Memory> plc;    // the stations' registers as they must be
    std::set<int> areasOfScreens; // areas that screens write

private:
    bool chooseWrite();
    bool chooseOnceRead();
    bool chooseCyclic();
    bool hasRequest(const RW_VAR &var) const;
    void addReadRequest(const RW_VAR &var);
    void addWriteRequests(const RW_VAR &var);
    void addPatchedWrite(const RW_VAR &var, int regType, int reg, int saveMode);
    void mirror(const RW_VAR &var);

    int judge(const QByteArray &reply) const;
    int failureCode(int base) const;
    void use(const QByteArray &reply, bool genuine);
    void patch(const std::vector<quint16> &registers);
    void giveUp();
    void finish(bool local, std::vector<Report> &reports);
    void finishQueued(std::deque<RW_VAR> &queue, bool reporting, std::vector<Report> &reports);
    void finishCyclic();
    void dropDuplicates(std::deque<RW_VAR> &queue);
    void countPass(bool local);
    std::vector<quint16> registersOf(const RW_VAR &var, const QByteArray &reply,
                                     bool genuine) const;

    const ComInfo &settings;
    const Plant &plant;
    std::set<int> disabled;
};

// Field by field, `result` aside.
bool sameRecord(const RW_VAR &a, const RW_VAR &b);
std::string describe(const RW_VAR &var);
