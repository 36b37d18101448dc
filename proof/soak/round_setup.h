// What one round runs with, drawn from its seed.
#pragma once

#include "driver/com_info.h"
#include "lists/vardef.h"
#include "random.h"

#include <QList>

#include <set>
#include <vector>

enum class ScreenChoice { Half, Always, Never };

struct RoundSetup {
    ComInfo info{};
    std::vector<int> stations;
    std::set<int> areasOfScreens; // areas that screens write; the PLC's own program leaves them
    bool screensWrite = false;
    bool hostClearsRetries = true;
    int faultPercent = 0;
    int screenPercent = 0; // chance of a screen's call, before the request and while it is out
    int definitions = 0;
    int exchanges = 0;
};

RoundSetup drawSetup(Random &random, ScreenChoice screens);

// Definitions whose registers the stations have.
QList<VARDEF> drawDefinitions(Random &random, const RoundSetup &setup);

// One definition; `beyond` lets it reach for registers that the stations do not have.
VARDEF drawDefinition(Random &random, const RoundSetup &setup, bool beyond);

// An address text of the type, for `count` host units, within the stations' registers or now and
// then beyond them.
QString drawAddress(Random &random, int regType, int count, bool beyond);
