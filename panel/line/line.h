// One serial line at work: its device, its copy of the driver and the communication loop, on a
// thread of its own.
#pragma once

#include "panel/line/comm_loop.h"

#include <atomic>
#include <future>
#include <thread>

class Line {
public:
    // All outlive the line. `driver` is a copy that nothing else uses, `driversOwn` what
    // driverBlocks() gave of another one. `listener` gets every exchange. `stopRequested` ends the
    // polling, and the wait for a device in use.
    Line(const PanelFile &panel, std::size_t line, const Driver &driver, Blocks driversOwn,
         ExchangeListener listener, const std::atomic<bool> &stopRequested);
    // After a stop was requested.
    ~Line();
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    // Opens the device and begins to poll. Returns nothing, or one line that says why the device
    // cannot be had. It is then waited for like one that was lost, or nothing runs.
    enum class Missing { IsWaitedFor, EndsIt };
    QString start(Missing missing = Missing::EndsIt);
    // Returns when the thread has ended, soon after a stop was requested; what users have queued
    // ends as RunOver.
    void join();

    // Any thread, while the line exists.
    const Driver &driver() const { return m_driver; }
    RequestLedger &requests() { return m_ledger; }
    LineStatus status() const { return m_loop.status(); }
    quint64 passes() const { return m_loop.passes(); }

    // What the driver calls this port: a one-shot read of another one would not be stored.
    static constexpr int PortId = 1;

private:
    void run(std::promise<QString> *opened, Missing missing);

    const Driver &m_driver;
    SerialPort m_serial;
    RequestLedger m_ledger;
    CommLoop m_loop;
    std::thread m_thread;
};
