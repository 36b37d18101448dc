// The panel at work: sets the driver up, then runs the communication loop on the calling thread,
// the screen and the jobs on theirs.
#pragma once

#include "comm_loop.h"
#include "jobs.h"
#include "panel_file.h"
#include "screen.h"
#include "summary.h"

#include <atomic>

class Runtime {
public:
    // All outlive the runtime; the line is open.
    Runtime(const Driver &driver, const PanelFile &panel, SerialLine &line,
            const std::atomic<bool> &stopRequested);

    // One run for each process: the driver's state stays.
    Summary run(const RunLimit &limit);

private:
    void setUpDriver();
    void registerPolledVariables();

    const Driver &m_driver;
    const PanelFile &m_panel;
    ComInfo &m_port;
    RequestLedger m_ledger;
    Statistics m_statistics;
    Watch m_watch;
    StationRest m_rest;
    Jobs m_jobs;
    Screen m_screen;
    const SerialLine &m_line;
    CommLoop m_loop;
};
