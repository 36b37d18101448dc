// How long a station takes to answer, kept in a histogram of fixed size however long a panel runs.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>

class ReplyTimes {
public:
    using Time = std::chrono::microseconds;
    // Steps of a fifth of an octave: a time is known to 15 %, from a quarter of a millisecond to
    // about 17 minutes.
    static constexpr int Steps = 111;

    void add(Time time);

    std::uint64_t count() const { return m_count; }
    // The upper end of the step that this share of the times (0 to 1) does not exceed; 0 when there
    // are none. Never beyond the longest.
    Time quantile(double share) const;
    Time median() const { return quantile(0.5); }
    Time longest() const { return m_longest; }

    // Times in a step, and its upper end.
    std::uint64_t in(int step) const { return m_steps.at(static_cast<std::size_t>(step)); }
    static Time upperEnd(int step);

private:
    std::array<std::uint64_t, Steps> m_steps{};
    std::uint64_t m_count = 0;
    Time m_longest{0};
};
