// The file that says what else is in the stations than the usual process: values, holes, movement.
#pragma once

#include "station_numbers.h"
#include "tables.h"

#include <QString>

#include <vector>

// `from`, `from` + `step`, and so on, one step each cycle; from the beginning again behind `to`.
struct Motion {
    int from = 0;
    int to = 0;
    int step = 0; // 0: none
};

struct MapEntry {
    StationNumbers stations; // none: all
    Span span{};
    bool isHole = false;     // who touches it gets exception 2
    std::vector<int> values; // as many as `span` has
    Motion motion;           // of all of `span`

    bool concerns(int station) const { return stations.empty() || stations.count(station) != 0; }
};

// One line when the file cannot be used, which names the entry.
QString readMapFile(const QString &path, std::vector<MapEntry> *entries);
