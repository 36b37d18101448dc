#include "panel/line/line_cost.h"

#include "panel/line/read_frames.h"

#include <algorithm>

namespace {

// The station keeps the silence of the baud rate, whatever the panel is told to keep.
LineTime stationSilence(LineSettings settings) {
    settings.silenceUs = 0;
    return silentInterval(settings);
}

} // namespace

LineTime LineCost::read(int registers, LineTime replyTime) const {
    const LineTime pause =
        silentInterval(m_settings) + std::chrono::milliseconds(m_settings.requestDelayMs);
    return pause + frameTime(m_settings, ReadRequestBytes) + replyTime +
           frameTime(m_settings, readReplyBytes(registers) - 1);
}

LineTime LineCost::replyTime(LineTime stationTime) const {
    return std::max(stationSilence(m_settings), stationTime) + characterTime(m_settings);
}
