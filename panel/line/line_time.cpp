#include "panel/line/line_time.h"

LineTime characterTime(const LineSettings &settings) {
    return LineTime(std::chrono::seconds(1)) * bitsPerCharacter(settings) / settings.baudRate;
}

LineTime frameTime(const LineSettings &settings, int bytes) {
    return characterTime(settings) * bytes;
}

LineTime silentInterval(const LineSettings &settings) {
    return std::chrono::microseconds(settings.silenceUs > 0 ? settings.silenceUs
                                                            : usualTimes(settings).silenceUs);
}
