// The commands that the simulated PLC takes while it runs.
#pragma once

#include "serial_bus.h"

#include <QString>

// What a command acts on.
struct Controls {
    SerialBus &bus;
    Port &port;
    TimePoint backAt{};   // an unplugged line comes back then
    bool isWanted = true; // false: quit
};

struct CommandResult {
    QString error;  // one line, when it could not be done
    QString output; // what it says when it could
};

CommandResult runCommand(const QString &line, TimePoint now, Controls *controls);
