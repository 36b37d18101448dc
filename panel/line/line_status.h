// How a line is doing beyond its exchanges: the device, the pass, the stations that rest. A
// snapshot that Line::status() makes for screens and reports.
#pragma once

#include <QString>
#include <QStringList>

#include <chrono>
#include <cstddef>
#include <map>
#include <vector>

struct LineStatus {
    // Empty while the device is there, otherwise one line: "/dev/ttyUSB0: gone for 12 s", and why
    // it cannot be had where something is there: ": in use by another program".
    QString deviceGone;
    // The same without the time, as it is told once: "/dev/ttyUSB0 is gone", "... is missing" when
    // it never was there, "/dev/ttyUSB0: in use by another program".
    QString deviceTrouble;
    QStringList remarks; // what the device cannot do of what the settings ask for

    quint64 passes = 0;                    // over all blocks of the plan, since the start
    std::chrono::microseconds lastPass{0}; // how long the last whole one took; 0 none yet

    // Of stations that rest because they do not answer: "no answer for 2 min, next try in 12 s".
    std::map<int, QString> restingStations;
    // Indices in PanelFile::variables of those that their station refuses by themselves.
    std::vector<std::size_t> refusedVariables;
};
