// A screen that runs on a thread of its own: it reads, writes, switches and rebuilds, a bounded
// number of times, and knows what must be in the PLC when all is done.
#pragma once

#include "driver/records.h"
#include "lists/vardef.h"
#include "memory.h"
#include "random.h"

#include <QList>

#include <string>
#include <vector>

// Registers of one screen; no other screen writes them.
constexpr int RegistersPerScreen = 16;
constexpr int MostScreens = RegistersPerArea / RegistersPerScreen;

// Area 6 is read in blocks of this many registers, and all registers of a station change at once:
// register n holds the station's generation plus n. A block of two generations was torn.
constexpr int BlockSize = 16;

struct Writable {
    RW_VAR latest;         // as it was queued last; itemId 0: never
    int hostCount = 0;     // count as SetRegisterData takes it
    bool asRecord = false; // through AddListWriteVar, for a port of portId
    bool dropped = false;  // perhaps: the queue was full
};

// What the screens of a round share.
struct ScreenSetup {
    std::vector<int> stations;
    int switchedStation = 0; // switched off and on; nobody writes to it
    QList<VARDEF> definitions;
    int portId = 0;
    // True: the image has its full size from the start, and screens also rewrite bytes of it in
    // place with imageMutex alone: the one who holds it owns them. False: they make it grow.
    bool holdsImage = false;
    bool floods = false; // screens also write more than the queue holds
};

class ScreenThread {
public:
    ScreenThread(int number, quint64 seed, const ScreenSetup &setup);

    void run(int calls);

    int number;
    int station; // of the registers that it writes
    std::vector<Writable> writables;
    std::string wrong; // read it when the thread has ended

private:
    void addWritable(int regType, int address, int hostCount, int elements);
    void addRecord(int regType, int address, int portId);
    void call();
    void write();
    void flood();
    void readBlock();
    void queueRead();
    void touchImage();
    void readAnywhere();
    int anyStation();

    Random random;
    ScreenSetup setup;
    int nextItem = 1;
};
