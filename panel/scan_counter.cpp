#include "scan_counter.h"

namespace {

constexpr int CyclicItemId = -1; // the driver's own, for what it polls

} // namespace

void ScanCounter::finished(const RW_VAR &var) {
    if (var.itemId != CyclicItemId)
        return;
    const std::tuple request(var.station, var.regType, var.address);
    if (m_seen.insert(request).second)
        return;
    ++m_scans;
    m_seen = {request};
}

void ScanCounter::nothingToRead() {
    ++m_scans;
    m_seen.clear();
}
