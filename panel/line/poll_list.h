// The driver's cyclic list as the line keeps it: the blocks to be polled, in passes. A pass is over
// when each of them has been asked once; the next begins no sooner than scanIntervalMs after it.
#pragma once

#include "panel/line/driver_library.h"
#include "panel/line/plan.h"

#include <chrono>

// On the line's thread, between turns.
class PollList {
public:
    using Clock = std::chrono::steady_clock;

    // The driver outlives it; `portId` is the port's own.
    PollList(const Driver &driver, int portId, std::chrono::milliseconds scanInterval,
             Clock::time_point now)
        : m_driver(driver), m_portId(portId), m_scanInterval(scanInterval), m_began(now) {}

    // From now on these are polled; those that this pass has not asked yet come first.
    void setBlocks(const Blocks &blocks);
    // A block was answered or given up.
    void finished(const RegisterSpan &block);

    // `isWhole`: nothing besides the blocks is left of the pass. Ends it when that is so, and
    // begins the next one when it is time.
    void turn(bool isWhole, Clock::time_point now);
    // The device was away: a new pass begins with the blocks that are set next.
    void startAfresh(Clock::time_point now) {
        m_isPausing = false;
        m_left = m_blocks;
        m_began = now;
    }
    // When the pass under way began.
    Clock::time_point began() const { return m_began; }
    // Nothing is asked until then.
    bool isPausing() const { return m_isPausing; }

    quint64 passes() const { return m_passes; }
    std::chrono::microseconds lastPass() const { return m_lastPass; }

    // As the driver takes a block, for a cyclic read (-1) or for one that is made once.
    RW_VAR request(const RegisterSpan &block, int itemId) const;

private:
    void install(const Blocks &blocks);
    void empty();

    const Driver &m_driver;
    int m_portId;
    std::chrono::milliseconds m_scanInterval;
    Blocks m_blocks;
    Blocks m_left; // of m_blocks, what this pass has not finished
    Clock::time_point m_began;
    bool m_isPausing = false;
    quint64 m_passes = 0;
    std::chrono::microseconds m_lastPass{0};
};
