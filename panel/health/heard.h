// What was heard around a request, as one stretch of bytes.
#pragma once

#include "panel/line/exchange.h"

struct Heard {
    QByteArray bytes;
    std::vector<std::chrono::steady_clock::time_point> times; // of each byte
};

Heard heardOf(const std::vector<ReceivedBytes> &pieces);
// Before the request went out: late answers, and what is nobody's.
Heard heardBefore(const Exchange &exchange);
// From then on.
Heard heardAfter(const Exchange &exchange);

// Our own request came back before anything else. A write of one register is acknowledged by a copy
// of itself: one copy is its answer.
bool hasEcho(const Exchange &exchange);
// What fits nothing: all that was heard but an answer to the request and our own echo.
QByteArray straysOf(const Exchange &exchange);
