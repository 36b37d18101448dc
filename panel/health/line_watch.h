// What is learned from the exchanges of one line, behind one listener: its health, and the evidence
// from which causes are read.
#pragma once

#include "panel/health/evidence.h"
#include "panel/health/line_health.h"

#include <map>
#include <mutex>

struct LineFindings {
    LineHealth health;
    std::map<int, Evidence> evidence; // by station, of those that were asked
    Strangers strangers;
};

// observe() on the line's communication thread, findings() on any. Neither holds a lock for longer
// than one station takes.
class LineWatch {
public:
    // An ExchangeListener.
    void observe(const Exchange &exchange);
    LineFindings findings() const;

private:
    HealthKeeper m_health;
    mutable std::mutex m_mutex; // guards m_evidence
    EvidenceKeeper m_evidence;
};
