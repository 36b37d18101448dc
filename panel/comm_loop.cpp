#include "comm_loop.h"

#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int Good = 1;
constexpr int SentAgain = 0;

} // namespace

void CommLoop::run(const RunLimit &limit) {
    const auto end = limit.seconds ? Clock::now() + std::chrono::seconds(*limit.seconds)
                                   : Clock::time_point::max();
    while (!m_parts.stopRequested && !m_parts.line.isGone() && Clock::now() < end &&
           !scansDone(limit)) {
        takeTurn();
    }
}

bool CommLoop::scansDone(const RunLimit &limit) {
    if (!limit.scans || !m_parts.jobsDone)
        return false;
    const quint64 scans = m_scans.scans();
    if (!m_scansAtJobsEnd)
        m_scansAtJobsEnd = scans;
    // The pass under way may have begun before the last write.
    return scans >= static_cast<quint64>(*limit.scans) && scans >= *m_scansAtJobsEnd + 2;
}

void CommLoop::takeTurn() {
    m_parts.rest.wakeStations();
    const Protocol *request = m_parts.driver.ComCommunication();
    if (request == nullptr) {
        idle();
        return;
    }
    m_wasIdle = false;
    exchange(*request);
}

void CommLoop::exchange(const Protocol &request) {
    // The record is gone once the driver has its reply.
    const RW_VAR var = request.var;
    const int expected = request.replyLength;
    if (m_unanswered == 0)
        m_firstSend = Clock::now();
    QByteArray reply = m_parts.line.exchange(request.frame.left(request.frameLength), expected);
    if (m_parts.line.isGone() || m_parts.stopRequested)
        return;

    const int result = m_parts.driver.DataCom(&reply, reply.size())->result;
    const bool accepted = result == Good;
    const Outcome outcome = judgeReply(reply, expected, accepted);
    account(var, outcome, !accepted && result != SentAgain);
    if (outcome == Outcome::Exception)
        m_parts.statistics.noteRefusal(var, exceptionCode(reply));
    // Failures of different requests would add up otherwise.
    if (accepted)
        m_parts.port.retryCount = 0;
    settle(outcome, result != SentAgain);
}

// Leaves the line with no answer under way. An answer to a request that was sent several times may
// be the one to its first sending: then the others come later, each no later than this one was.
void CommLoop::settle(Outcome outcome, bool isOver) {
    if (outcome == Outcome::Good || outcome == Outcome::Exception) {
        const auto delay = std::chrono::ceil<std::chrono::milliseconds>(Clock::now() - m_firstSend);
        m_parts.line.dropAnswers(m_unanswered, delay + m_parts.quietAfterFailure);
        m_unanswered = 0;
        return;
    }
    m_parts.line.waitUntilQuiet();
    m_unanswered += outcome == Outcome::NoReply ? 1 : 0;
    if (isOver)
        m_unanswered = 0;
}

void CommLoop::account(const RW_VAR &var, Outcome outcome, bool gaveUp) {
    const bool good = outcome == Outcome::Good;
    m_parts.statistics.count(var.station, outcome, gaveUp);
    // The read half of a bit or byte write stays out of the image.
    const bool isWholeRead = var.isWrite == 0 && var.saveMode == 0;
    const RegisterSpan registers{var.station, var.regType, var.address, var.count};
    if (good && isWholeRead)
        m_parts.watch.registersRead(registers);
    if (gaveUp && isWholeRead)
        m_parts.watch.registersFailed(registers);
    if (gaveUp && outcome == Outcome::NoReply && m_parts.rest.switchOff(var.station))
        m_parts.watch.stationSilent(var.station);
    if (good || gaveUp)
        m_scans.finished(var);
}

// With writes alone the driver pauses now and then, so the first time it is asked again at once.
void CommLoop::idle() {
    // While a station rests there may well be something to read.
    if (!m_parts.rest.isAnyResting())
        m_scans.nothingToRead();
    if (m_wasIdle)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    m_wasIdle = true;
}
