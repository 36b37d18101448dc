// The command line of the simulated PLC.
#pragma once

#include "faults.h"
#include "map_file.h"
#include "station_numbers.h"
#include "terminal_settings.h"

#include <QString>

#include <map>
#include <optional>
#include <vector>

struct Options {
    StationNumbers stations;
    StationNumbers silent;          // stations that never answer
    std::map<int, int> silentAfter; // station -> requests it answers before it falls silent
    std::map<int, int> lateByMs;    // station -> delay of each of its answers
    std::vector<MapEntry> map;      // what the stations have besides the usual process
    QString link;                   // symbolic link to the device, none when empty

    QString device;            // a real serial port; a pseudo-terminal when empty
    LineSettings line;         // of the real port, or of the line that is simulated
    bool isPaced = false;      // simulated bytes take the time of a line of that speed
    bool framingIsSet = false; // parity or stop bits were asked for
    unsigned seed = 1;         // of everything that happens by chance
    Faults faults;             // what goes wrong, and how often
    double replyTimeMs = 0;    // from the end of a request to the answer
};

// The options, or nothing with the exit status that the program ends with, after a line on standard
// error where something is wrong.
std::optional<Options> readOptions(int argc, char **argv, int *status);
