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
    bool asRecord = false; // through AddListWriteVar
};

class ScreenThread {
public:
    ScreenThread(int number, quint64 seed, const std::vector<int> &stations, int switchedStation,
                 const QList<VARDEF> &definitions, int portId);

    void run(int calls);

    int number;
    int station; // of the registers that it writes
    std::vector<Writable> writables;
    std::string wrong; // read it when the thread has ended

private:
    void addWritable(int regType, int address, int hostCount, int elements, bool asRecord);
    void write();
    void readBlock();
    void queueRead();
    void call();

    Random random;
    std::vector<int> stations;
    int switchedStation;
    QList<VARDEF> definitions;
    int portId;
    int nextItem = 1;
};
