// The panel at work: the lines, each on a thread of its own, and what listens to them: health,
// freshness, the feed of values, the writer, the jobs of the panel file.
#pragma once

#include "panel/command/jobs.h"
#include "panel/feed/expectations.h"
#include "panel/feed/feed.h"
#include "panel/file/panel_file.h"
#include "panel/health/diagnosis.h"
#include "panel/health/freshness.h"
#include "panel/line/line.h"
#include "panel/line/writer.h"

#include <atomic>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

class Runtime {
public:
    // Both outlive it.
    Runtime(const PanelFile &panel, const std::atomic<bool> &stopRequested);
    // After a stop was requested.
    ~Runtime();
    Runtime(const Runtime &) = delete;
    Runtime &operator=(const Runtime &) = delete;

    // Loads the copies of the driver that the lines need. One line on failure.
    QString loadDrivers(const QString &library);

    // Between loadDrivers() and openLines(). Exchanges of all lines, on their threads.
    void addListener(ExchangeListener listener) { m_listeners.push_back(std::move(listener)); }
    // Its listeners come before begin().
    Feed &feed() { return m_feed.value(); }

    // Opens the devices and begins to poll; of several, one that is missing is waited for. One line
    // when none is there; then a stop is due.
    QString openLines();
    // Tells values from now on, and carries out the jobs of the panel file.
    void begin();
    // Returns when all threads have ended; the listeners have been told everything.
    void finish();

    Writer &writer() { return m_writer.value(); }
    const Freshness &freshness() const { return m_freshness; }
    const Expectations &expectations() const { return m_expectations; }
    const Jobs &jobs() const { return m_jobs.value(); }
    LineReports lineReports() const;
    // Over every line's variables so many times, and, once the jobs are done, all of them again.
    bool hasScanned(quint64 scans);

private:
    void observe(const Exchange &exchange);

    const PanelFile &m_panel;
    const std::atomic<bool> &m_stopRequested;
    std::vector<Driver> m_drivers; // by line
    std::vector<ExchangeListener> m_listeners;
    std::vector<std::unique_ptr<LineWatch>> m_watches; // by line
    Freshness m_freshness;
    Expectations m_expectations;
    std::optional<Feed> m_feed;
    std::vector<std::unique_ptr<Line>> m_lines;
    std::optional<Writer> m_writer;
    std::optional<Jobs> m_jobs;
    std::thread m_jobsThread;
    std::vector<quint64> m_passesAtJobsEnd; // by line; empty until then
};
