// Runs the simulated PLC: waits for whatever comes next, on the line, in time or as a command.
#pragma once

#include "command_input.h"
#include "commands.h"
#include "options.h"
#include "port.h"
#include "serial_bus.h"

class Simulator {
public:
    // Both outlive the simulator; the port is open.
    Simulator(const Options &options, Port &port);

    // Sets up every station. One line on failure.
    QString open() { return m_bus.open(); }
    // Serves until `stopDescriptor` becomes readable or a command ends it.
    void serve(int stopDescriptor);
    Tally tally() const { return m_bus.tally(); }

private:
    TimePoint nextDue(TimePoint now) const;
    void takeBytes(TimePoint now);
    void plugIn(TimePoint now);
    void takeCommands(TimePoint now);

    Port &m_port;
    SerialBus m_bus;
    Controls m_controls;
    CommandInput m_commands;
    QString m_obstacle; // why the port could not be opened the last time
};
