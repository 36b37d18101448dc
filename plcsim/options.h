// The command line of the simulated PLC.
#pragma once

#include <QString>
#include <QStringList>

#include <map>
#include <optional>
#include <set>

struct Options {
    int stations = 3;
    std::set<int> silent;           // stations that never answer
    std::map<int, int> silentAfter; // station -> requests it answers before it falls silent
    std::map<int, int> lateByMs;    // station -> delay of each of its answers
    QString link;                   // symbolic link to the device, none when empty
};

// The options, or nothing with one line in `error`. Ends the program for --help.
std::optional<Options> readOptions(const QStringList &arguments, QString *error);
