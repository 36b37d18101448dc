// Lists of station numbers, as the command line, the commands and the map file write them.
#pragma once

#include <QString>

#include <optional>
#include <set>

using StationNumbers = std::set<int>;

constexpr int MaxStation = 247; // the highest number of a Modbus station

// "1,5,20-40"; nothing when it is no such list. `separator` stands in the comma's place.
std::optional<StationNumbers> readStationNumbers(const QString &text, char separator = ',');
