// What an exchange costs in line time.
#pragma once

#include "panel/line/line_time.h"

class LineCost {
public:
    explicit LineCost(const LineSettings &settings) : m_settings(settings) {}

    // One read of so many registers, from the end of the reply before to the end of its own: pause,
    // request, reply. `replyTime` is that of Exchange: from the end of the request to the reply's
    // first byte in the panel's hands.
    LineTime read(int registers, LineTime replyTime) const;

    // The same of a station that begins to answer so long after the end of the request; it keeps
    // the silence between two frames in any case.
    LineTime replyTime(LineTime stationTime) const;

private:
    LineSettings m_settings;
};

// From the end of a request to the answer, as long as a station has not been heard.
constexpr std::chrono::milliseconds AssumedStationTime{5};
