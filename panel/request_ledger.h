// The one-shot reads and writes that are under way: who asked, and how each one ended.
#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>

class RequestLedger {
public:
    static constexpr int OwnerId = 1; // of every request of this panel

    // Opens an entry and returns its itemId, which no other request has.
    int open(int station);
    // Blocks until the request has ended; true when it was answered. Closes the entry.
    bool waitForEnd(int itemId);

    // The driver's report, see FinishCallback; `context` is the ledger. It runs with the driver's
    // listMutex held and therefore only takes a note.
    static int finished(void *context, int ownerId, int itemId, int status);

    // The driver drops what it has queued for a station that is off without a report.
    void stationOff(int station);
    void stationOn(int station);
    // No report will come any more.
    void close();

private:
    enum class State { Waiting, Answered, Failed };
    struct Entry {
        int station;
        State state;
    };

    std::mutex m_mutex; // guards all below
    std::condition_variable m_changed;
    std::map<int, Entry> m_entries; // by itemId
    std::set<int> m_stationsOff;
    int m_lastItemId = 0;
    bool m_closed = false;
};
