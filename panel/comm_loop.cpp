#include "comm_loop.h"

#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int Good = 1;
constexpr int GoodRemote = 100;
constexpr int SentAgain = 0;

} // namespace

void CommLoop::run(const RunLimit &limit) {
    const auto end = limit.seconds ? Clock::now() + std::chrono::seconds(*limit.seconds)
                                   : Clock::time_point::max();
    const auto scansDone = [&] {
        return limit.scans && m_scans.scans() >= *limit.scans && m_parts.jobsDone;
    };
    while (!m_parts.stopRequested && !m_parts.line.isGone() && Clock::now() < end && !scansDone())
        takeTurn();
}

void CommLoop::takeTurn() {
    m_parts.rest.wakeStations();
    const Protocol *request = m_parts.driver.ComCommunication();
    if (request == nullptr) {
        idle();
        return;
    }
    m_idleTurns = 0;
    exchange(*request);
}

void CommLoop::exchange(const Protocol &request) {
    // The record is gone once the driver has its reply.
    const RW_VAR var = request.var;
    const int expected = request.replyLength;
    QByteArray reply = m_parts.line.exchange(request.frame.left(request.frameLength), expected);
    if (m_parts.line.isGone())
        return;

    const int result = m_parts.driver.DataCom(&reply, reply.size())->result;
    const bool accepted = result == Good || result == GoodRemote;
    account(var, judgeReply(reply, expected, accepted), !accepted && result != SentAgain);
    if (accepted) {
        // Failures of different requests would add up otherwise.
        m_parts.port.retryCount = 0;
    } else {
        m_parts.line.waitUntilQuiet();
    }
}

void CommLoop::account(const RW_VAR &var, Outcome outcome, bool gaveUp) {
    const bool good = outcome == Outcome::Good;
    m_parts.statistics.count(var.station, outcome, gaveUp);
    // The read half of a bit or byte write stays out of the image.
    if (good && var.isWrite == 0 && var.saveMode == 0)
        m_parts.watch.registersRead({var.station, var.regType, var.address, var.count});
    if (gaveUp && outcome == Outcome::NoReply)
        m_parts.rest.switchOff(var.station);
    if (good || gaveUp)
        m_scans.finished(var);
}

// With writes alone the driver pauses now and then, so the first time it is asked again at once.
void CommLoop::idle() {
    m_scans.nothingToRead();
    if (++m_idleTurns > 1)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}
