// The one-shot reads and writes that are under way: who asked, and how each one ended.
#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>

class RequestLedger {
public:
    static constexpr int OwnerId = 1; // of every request of this panel

    enum class End { Waiting, Answered, Failed, Refused, Gone, RunOver };

    // Opens an entry and returns its itemId, a positive number that no other open request has.
    int open(int station);
    // False when the request has failed before it was queued: its station is off, the device gone
    // or the run over.
    bool isWaiting(int itemId);
    // The driver did not take the request.
    void refused(int itemId);
    // Blocks until the request has ended. Closes the entry.
    End waitForEnd(int itemId);

    // Blocks until the device is there, or the run is over.
    void waitForDevice();

    // The driver's report, see FinishCallback; `context` is the ledger. It runs with the driver's
    // listMutex held and therefore only takes a note.
    static int finished(void *context, int ownerId, int itemId, int status);

    // The driver drops what it has queued for a station that is off without a report.
    void stationOff(int station);
    void stationOn(int station);
    // The device is gone: what waits has failed, and so has all that follows until it is back.
    void deviceGone();
    void deviceBack();
    // No report will come any more.
    void close();
    bool isClosed();

private:
    // Ends all entries that wait; the caller holds m_mutex.
    void endAll(End state);

    struct Entry {
        int station;
        End state;
    };

    std::mutex m_mutex; // guards all below
    std::condition_variable m_changed;
    std::map<int, Entry> m_entries; // by itemId
    std::set<int> m_stationsOff;
    int m_lastItemId = 0;
    bool m_isDeviceGone = false;
    bool m_closed = false;
};
