// The health of all lines as the end of a run tells it.
#pragma once

#include "panel/health/diagnosis.h"

// Lines, each with its end:
//   exchanges 120, failed 3 (no reply 3), given up 1
//     station 1: exchanges 80, failed 0, reply 4.1 ms (median), 5.2 ms (95 %), 7 ms (longest)
//     station 2: exchanges 40, failed 3 (no reply 3), given up 1
//       no answer to any of 40 requests: check ...
//       last bad 2026-11-23T07:15:04.123Z, read holding 100..109: no reply
//     84 % of the line's time in use, a pass takes 120 ms
//     late bytes: 12
// With several lines the first is the sum, and each line stands by its name between it and its
// stations.
QString healthSummary(const PanelFile &panel, const LineReports &lines);
