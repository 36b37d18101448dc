// Reads and writes of single values without a panel file: the driver and the port, one request
// after the other, no polling.
#pragma once

#include "panel/command/device_options.h"
#include "panel/file/variable.h"
#include "panel/line/driver_library.h"
#include "panel/line/serial_port.h"

#include <QByteArray>
#include <QString>

#include <atomic>
#include <functional>

// One for each process: the driver keeps its settings' address. On one thread.
class HandLine {
public:
    // `stopRequested` outlives it.
    HandLine(const DeviceOptions &options, const std::atomic<bool> &stopRequested);

    // Loads the driver and opens the device. After anything but AllHeld one line was said.
    ExitCode open(const std::string &driverLibrary);

    // What the PLC holds now, as valueText takes it. Empty, or the reason why not.
    QString read(const Variable &variable, QByteArray *data);
    // Empty, or the reason why the PLC does not have it. `data` as encodeTyped gives them.
    QString write(const Variable &variable, QByteArray data);

    // The device went away: nothing more can be read or written. What to say then.
    bool isGone() const { return m_port.isGone(); }
    QString goneText() const;

private:
    QString carryOut();
    void exchange(const Protocol &request);
    std::chrono::microseconds hearLateAnswer(const Exchange &exchange);

    LineSettings m_settings;
    const std::atomic<bool> &m_stopRequested;
    SerialPort m_port;
    ComInfo m_info{};
    Driver m_driver;
    bool m_isOver = false; // the request under way, answered or given up
    QString m_failure;     // of the last exchange; empty: good
};

// What a command does on an open line: whether all of it held. Ends early when a stop was requested
// or the device has gone.
using HandWork = std::function<bool(HandLine *line, const std::atomic<bool> &stopRequested)>;

// Opens the line and has the work done, until a signal ends it. The exit status, after a line of
// its own where it is not the work's.
int workByHand(const DeviceOptions &options, const HandWork &work);
