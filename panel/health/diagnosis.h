// How a line of the panel is doing and why: what was learned from its exchanges beside what the
// panel file says of it. The table, the summary and the report show it.
#pragma once

#include "panel/file/panel_file.h"
#include "panel/health/causes.h"
#include "panel/health/line_watch.h"
#include "panel/line/line_status.h"

#include <QStringList>

#include <cstddef>
#include <vector>

struct LineReport {
    LineFindings findings; // LineWatch::findings()
    LineStatus status;     // Line::status()
};
using LineReports = std::vector<LineReport>; // by line, as PanelFile::lines

// What a station's exchanges tell; with what the panel file knows, names of variables and the
// time-out, where there is one.
Facts factsOf(const LineFindings &findings, int station);
Facts factsOf(const LineFindings &findings, int station, const PanelFile &panel, std::size_t line);

// What ails a station, the likeliest first; what ails its whole line is lineCause().
QStringList causesOf(const Facts &facts);
QStringList causesAt(const PanelFile &panel, const LineReports &lines, std::size_t line,
                     int station);

// The causes as a summary has them: where there are none, why, unless failures are rare or the
// line is the cause.
QStringList conclusionOf(const Facts &facts, const ExchangeCounts &counts);

// "station 2", "broadcasts" for 0.
QString stationText(int station);
