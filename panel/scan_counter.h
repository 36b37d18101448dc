// Counts the passes over the cyclic list. Stations that are off are left out of a pass, so a pass
// is over when a request comes up for the second time.
#pragma once

#include "driver/records.h"

#include <set>
#include <tuple>

class ScanCounter {
public:
    // An exchange has ended for good, whatever its kind.
    void finished(const RW_VAR &var);
    // The driver has no request: a pass over nothing.
    void nothingToRead();

    quint64 scans() const { return m_scans; }

private:
    std::set<std::tuple<int, int, int>> m_seen; // station, area, register
    quint64 m_scans = 0;
};
