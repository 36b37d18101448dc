#include "panel/health/reply_times.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double FirstEndUs = 250;
constexpr double StepsPerOctave = 5;

} // namespace

ReplyTimes::Time ReplyTimes::upperEnd(int step) {
    return Time(std::llround(FirstEndUs * std::exp2(step / StepsPerOctave)));
}

void ReplyTimes::add(Time time) {
    const double octaves = std::log2(std::max(1.0, static_cast<double>(time.count())) / FirstEndUs);
    const double step = std::ceil(octaves * StepsPerOctave);
    ++m_steps.at(static_cast<std::size_t>(std::clamp(step, 0.0, Steps - 1.0)));
    ++m_count;
    m_longest = std::max(m_longest, time);
}

ReplyTimes::Time ReplyTimes::quantile(double share) const {
    const auto wanted = static_cast<std::uint64_t>(std::ceil(share * static_cast<double>(m_count)));
    std::uint64_t seen = 0;
    for (int step = 0; step < Steps && m_count > 0; ++step) {
        seen += in(step);
        if (seen >= std::max<std::uint64_t>(wanted, 1))
            return std::min(upperEnd(step), m_longest);
    }
    return m_longest;
}
