// What one round runs with, drawn from its seed.
#pragma once

#include "driver/com_info.h"
#include "lists/vardef.h"
#include "random.h"
#include "variable.h"

#include <QList>

// Registers of a request on threads, where every block is read in one: register n of area 6 holds
// the station's generation plus n, so that a block of two generations was torn.
constexpr int BlockSize = 16;

// Screens of one round at most; each has a station of its own that nobody else writes or switches.
constexpr int MostScreens = 16;

struct Setup {
    ComInfo info{};
    std::vector<int> stations;       // of the screens
    std::vector<Variable> variables; // that are read in cycles
    QList<VARDEF> definitions;       // of them
    bool threaded = false;
    bool stationsDie = true;
    bool switches = false; // screens switch their stations off and on
    bool floods = false;   // screens also queue more than a queue holds
    // The image has its full size from the start, and screens also rewrite bytes of it in place
    // with imageMutex alone: who holds it owns them. The driver itself holds storageMutex, too.
    bool holdsImage = false;
    int faultPercent = 0;
    int screenPercent = 0; // chance of a screen's call, before the request and while it is out
    int turns = 0;         // with faults
};

Setup drawSetup(Random &random);
Setup drawThreadedSetup(Random &random, int screens);

// A variable of any type within the registers that are read.
Variable drawVariable(Random &random, int station, int mostElements);

// What the driver answers when a screen asks.
QByteArray answerTo(const Variable &variable);
