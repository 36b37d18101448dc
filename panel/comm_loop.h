// The communication loop: asks the driver for the next request, exchanges it on the line and hands
// back what came, until the run ends.
#pragma once

#include "driver_library.h"
#include "request_ledger.h"
#include "scan_counter.h"
#include "serial_line.h"
#include "station_rest.h"
#include "statistics.h"
#include "watch.h"

#include <atomic>
#include <chrono>
#include <optional>

// When a run ends. With a number of scans it also waits until the jobs of the panel file are done
// and everything has been polled once more.
struct RunLimit {
    std::optional<int> seconds;
    std::optional<int> scans;
};

class CommLoop {
public:
    // All parts outlive the loop.
    struct Parts {
        const Driver &driver;
        ComInfo &port;
        SerialLine &line;
        Statistics &statistics;
        Watch &watch;
        StationRest &rest;
        std::chrono::milliseconds quietAfterFailure; // see PortSettings
        const std::atomic<bool> &jobsDone;
        const std::atomic<bool> &stopRequested; // the line's too
    };

    explicit CommLoop(const Parts &parts) : m_parts(parts) {}

    // Returns when the limit is reached, a stop is requested or the line is gone.
    void run(const RunLimit &limit);

private:
    bool scansDone(const RunLimit &limit);
    void takeTurn();
    void exchange(const Protocol &request);
    void account(const RW_VAR &var, Outcome outcome, bool gaveUp);
    void settle(Outcome outcome, bool isOver);
    void idle();

    Parts m_parts;
    ScanCounter m_scans;
    std::optional<quint64> m_scansAtJobsEnd;
    bool m_wasIdle = false;
    // Of the request in flight: it is sent again until it is answered or given up.
    int m_unanswered = 0; // sends without a reply so far
    std::chrono::steady_clock::time_point m_firstSend;
};
