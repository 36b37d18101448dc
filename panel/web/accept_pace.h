// How fast new connections are taken: a burst at once, as a page needs, then no faster than a
// crowd of browsers would. Whoever floods the server waits in the kernel instead of taking the
// processor from the line.
#pragma once

#include <algorithm>
#include <chrono>

// For one thread. The time is handed in, so that a test need not wait.
class AcceptPace {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr int Burst = 100;
    static constexpr std::chrono::milliseconds Spacing{4};

    // How long the next connection has to wait.
    Clock::duration take(Clock::time_point now) {
        m_next = std::max(m_next, now - Burst * Spacing) + Spacing;
        return std::max(m_next - now, Clock::duration::zero());
    }

private:
    Clock::time_point m_next; // when the one after this would be due at an even pace
};
