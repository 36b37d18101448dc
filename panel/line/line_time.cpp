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

int sufficientTimeoutMs(std::chrono::microseconds latest) {
    constexpr int Step = 50;
    const auto time = std::chrono::ceil<std::chrono::milliseconds>(latest);
    return static_cast<int>((time.count() * 3 / 2 + Step - 1) / Step * Step);
}
