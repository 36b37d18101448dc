// A screen: it reads, writes, switches its station and rebuilds the cyclic list, one call at a
// time, between the calls of the communication thread or on a thread of its own. It knows what must
// become of what it asked for.
#pragma once

#include "driver/records.h"
#include "promises.h"
#include "setup.h"

#include <atomic>
#include <map>
#include <vector>

// Where a screen writes; no other screen writes there.
struct Place {
    enum Way { Value, Record, RecordOfOtherPort, Broadcast };
    bool isRecord() const { return way == Record || way == RecordOfOtherPort; }

    Variable variable;
    Way way = Value; // with SetRegisterData, or as a record with AddListWriteVar
};

// What the reports said about one request.
struct End {
    int reports = 0;
    bool answered = true; // never given up
};

class Screen {
public:
    Screen(int number, quint64 seed, const Setup &setup);

    void act();

    // All queues are empty: what was asked for has ended, and the PLC has it.
    void settle(Stations &stations);

    // Whom an item belongs to is in its number: null for a read.
    const Place *placeOf(int item) const;
    QByteArray valueOf(int item) const;
    bool isOff() const { return offEpoch % 2 != 0; }
    void switchOn();

    const int number; // the ownerId of its requests
    const int station;
    std::atomic<int> offEpoch{0}; // odd from when it has switched off until it switches on
    Promises promises;

    // Of the communication thread.
    std::map<int, End> ends; // by item

private:
    void write();
    void queueRead();
    void queueReadAsItIs();
    void noteRead(const RW_VAR &read, int length, bool excused);
    void readBlock();
    void touchImage();
    void readAnywhere();
    void switchStation();
    void rebuild();
    Variable anyBlock(int owner);
    int nextItem(size_t kind);
    RW_VAR recordOf(const Variable &variable, int item) const;
    bool isInOnePiece(const Place &place) const;

    const Setup &setup;
    Random random;
    std::vector<Place> places;
    std::vector<int> newest; // of each place: the item written last, or 0
    // Requests since the queues were empty last: by item, whether it may have ended without a
    // report, because a newer write of its place, a full queue or a switched-off station took it.
    std::map<int, bool> asked;
    int sequence = 0;
    int imageEnd = RegistersInUse; // how far it has lengthened the image
};
