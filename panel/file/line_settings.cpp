#include "panel/file/line_settings.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int FastBaudRate = 19200; // above it the silence stays the same
constexpr int FastSilenceUs = 1750;
constexpr double SilentCharacters = 3.5;

} // namespace

const std::map<std::string, LineParity> &parityNames() {
    static const std::map<std::string, LineParity> names{
        {"none", LineParity::None}, {"odd", LineParity::Odd}, {"even", LineParity::Even}};
    return names;
}

QString parityName(LineParity parity) {
    for (const auto &[name, value] : parityNames()) {
        if (value == parity)
            return QString::fromStdString(name);
    }
    return {};
}

int bitsPerCharacter(const LineSettings &line) {
    return 1 + 8 + (line.parity == LineParity::None ? 0 : 1) + line.stopBits;
}

std::chrono::microseconds timeOfCharacters(const LineSettings &line, double characters) {
    const double bits = characters * bitsPerCharacter(line);
    return std::chrono::microseconds(std::llround(std::ceil(bits * 1e6 / line.baudRate)));
}

// Each has room for the device's own work and, on slow lines, for the characters that go by before
// it can show: a station sees the end of a request after 3.5, a byte arrives when it is complete.
LineTimes usualTimes(const LineSettings &line) {
    const auto characters = [&line](int count) {
        return static_cast<int>(
            std::chrono::ceil<std::chrono::milliseconds>(timeOfCharacters(line, count)).count());
    };
    LineTimes times{};
    times.responseTimeoutMs = std::max(300, 250 + characters(5));
    times.byteTimeoutMs = std::max(20, 10 + characters(4));
    times.leastByteTimeoutMs = characters(2);
    times.broadcastDelayMs = std::max(100, 50 + characters(4));
    times.silenceUs = line.baudRate > FastBaudRate
                          ? FastSilenceUs
                          : static_cast<int>(timeOfCharacters(line, SilentCharacters).count());
    return times;
}

LineSettings withUsualTimes(LineSettings line) {
    const LineTimes usual = usualTimes(line);
    const auto fillIn = [](int *time, int value) {
        if (*time == 0)
            *time = value;
    };
    fillIn(&line.responseTimeoutMs, usual.responseTimeoutMs);
    fillIn(&line.byteTimeoutMs, usual.byteTimeoutMs);
    fillIn(&line.quietAfterFailureMs, line.responseTimeoutMs);
    fillIn(&line.broadcastDelayMs, usual.broadcastDelayMs);
    fillIn(&line.silenceUs, usual.silenceUs);
    return line;
}
