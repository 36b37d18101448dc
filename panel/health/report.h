// The health of all lines as JSON, for the report file and the page.
//
//   {"at": "2026-11-23T07:15:04.123Z", "lines": [{
//      "name", "device", "baudRate",
//      "deviceGone": null or why, "remarks": [what the device cannot do],
//      "shareInUse": 0 to 1 since the start, "passes", "lastPassMs": null until there was one,
//      "deviceLosses": times that it went, of which no station's counts know,
//      "strayBytes", "anotherMaster": null or {"exchanges", "requests", "answers"},
//      "refusedVariables": [names], "causes": [what ails the line as a whole],
//      "exchanges", "failed", "givenUp", "failures": {"noReply": 3, ...},
//      "stations": [{
//         "station": 0 are broadcasts, "exchanges", "failed", "givenUp", "failures",
//         "replyTimes": {"count", "medianMs", "p95Ms", "longestMs",
//                        "steps": [{"fromMs", "toMs", "count"}]},
//         "lastGood": null or {"at", "request"},
//         "lastBad": null or {"at", "request", "reason"},
//         "resting": null or "no answer for 2 min, next try in 12 s",
//         "causes": [sentences, the likeliest first]}]}]}
//
// panel run adds what it could not hand on, where it has such an output: "history": {"error": null
// or why the disk takes nothing, "lost": changes}, and "broker" as Broker::status() has it.
//
// "failures" has the kinds that occurred, by outcomeKey(); "steps" those of the histogram that hold
// a time, ascending; another master is counted over the last exchanges of the line.
#pragma once

#include "panel/health/diagnosis.h"

#include <QJsonObject>

#include <chrono>

QJsonObject healthReport(const PanelFile &panel, const LineReports &lines,
                         std::chrono::system_clock::time_point now);
