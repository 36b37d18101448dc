// The host's side of the two callbacks: remembers every report of the driver.
#pragma once

#include "driver/com_info.h"
#include "ledger.h"

#include <vector>

class Recorder {
public:
    // Registers the callbacks and hands itself to the driver as the host's context.
    void attach(ComInfo &info);

    std::vector<Report> reports;
    bool foreignContext = false; // a callback came with a wrong context or list
};
