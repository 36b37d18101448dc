// What a run came to: the lines for the person and the verdict for the exit status.
#pragma once

#include "panel/command/runtime.h"

#include <QString>

struct Summary {
    QString text; // several lines
    bool allHeld; // every variable read to the end, moved or as expected where wanted, every write
                  // held
};

// After the run: nothing may change any more.
Summary summarise(const PanelFile &panel, const Runtime &runtime);
