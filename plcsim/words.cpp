#include "words.h"

namespace {

constexpr double LongestMs = 24.0 * 3600 * 1000;

} // namespace

std::optional<Nanoseconds> readDuration(QString text) {
    double unit = 1000;
    if (text.endsWith("ms")) {
        unit = 1;
        text.chop(2);
    } else if (text.endsWith('s')) {
        text.chop(1);
    }
    bool isNumber = false;
    const double ms = text.toDouble(&isNumber) * unit;
    if (!isNumber || !(ms >= 0 && ms <= LongestMs))
        return std::nullopt;
    return Nanoseconds(static_cast<std::int64_t>(ms * 1e6));
}
