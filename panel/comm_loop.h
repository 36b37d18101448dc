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

// When a run ends. With a number of scans it also waits until the jobs of the panel file are done.
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
        const std::atomic<bool> &jobsDone;
        const std::atomic<bool> &stopRequested;
    };

    explicit CommLoop(const Parts &parts) : m_parts(parts) {}

    // Returns when the limit is reached, a stop is requested or the line is gone.
    void run(const RunLimit &limit);

private:
    void takeTurn();
    void exchange(const Protocol &request);
    void account(const RW_VAR &var, Outcome outcome, bool gaveUp);
    void idle();

    Parts m_parts;
    ScanCounter m_scans;
    int m_idleTurns = 0;
};
