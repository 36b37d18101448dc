// An exchange in words, for the trace, the diagnosis and the page.
#pragma once

#include "panel/line/exchange.h"
#include "panel/line/span_text.h"

#include <QString>

// "read holding 100..109", "write holding 7", "diagnostics": registers as on the wire, from 0.
QString requestText(const Exchange &exchange);
QString requestText(int function, int firstRegister, int registers);

// "no reply", "refused", ...: also the names of kinds of failure in a summary.
QString outcomeName(Outcome outcome);
// The same as it stands in a report: "noReply".
QString outcomeKey(Outcome outcome);
// With the exception in words where there is one: "refused: illegal data address (exception 2)".
QString outcomeText(const Exchange &exchange);

// "illegal data address (exception 2)".
QString exceptionText(int code);
// What to try against it.
QString exceptionAdvice(int code);

// "4.2 ms", "1.3 s": three figures at most.
QString durationText(std::chrono::microseconds time);

// "01 03 04": bytes as people compare them.
QString hexText(const QByteArray &bytes);

// "2026-11-23T07:15:04.123Z".
QString timeText(std::chrono::system_clock::time_point time);
