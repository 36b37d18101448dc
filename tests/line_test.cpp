// What a line keeps in mind besides its stations: requests under way, and answers still owed.
#include "panel/line/owed_answers.h"
#include "panel/line/request_ledger.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace std::chrono_literals;

TEST(RequestLedger, EndsEveryRequestOnce) {
    const auto report = [](RequestLedger *ledger, int itemId, int status) {
        RequestLedger::finished(ledger, RequestLedger::OwnerId, itemId, status);
    };
    RequestLedger ledger;
    const int answered = ledger.open(1);
    const int givenUp = ledger.open(1);
    const int dropped = ledger.open(2);
    const int last = ledger.open(1);
    std::thread reports([&] {
        report(&ledger, answered, 1);
        report(&ledger, answered, 2); // too late to matter
        report(&ledger, givenUp, 2);
        ledger.stationOff(2);
        report(&ledger, dropped, 1);
        ledger.close();
    });
    using End = RequestLedger::End;
    EXPECT_EQ(ledger.waitForEnd(answered), End::Answered);
    EXPECT_EQ(ledger.waitForEnd(givenUp), End::Failed);
    EXPECT_EQ(ledger.waitForEnd(dropped), End::Failed);
    EXPECT_EQ(ledger.waitForEnd(last), End::RunOver);
    reports.join();
    const int tooLate = ledger.open(1);
    EXPECT_FALSE(ledger.isWaiting(tooLate)); // and so it is not queued
    EXPECT_EQ(ledger.waitForEnd(tooLate), End::RunOver);
}

TEST(RequestLedger, FailsAtOnceWhileTheDeviceIsGone) {
    using End = RequestLedger::End;
    RequestLedger ledger;
    const int underWay = ledger.open(1);
    ledger.deviceGone();
    EXPECT_EQ(ledger.waitForEnd(underWay), End::Gone);
    EXPECT_EQ(ledger.waitForEnd(ledger.open(1)), End::Gone);
    ledger.deviceBack();
    const int later = ledger.open(1);
    EXPECT_TRUE(ledger.isWaiting(later));
    RequestLedger::finished(&ledger, RequestLedger::OwnerId, later, 1);
    EXPECT_EQ(ledger.waitForEnd(later), End::Answered);
}

// Station 1, function 3; a time-out of 100 ms and as much quiet.
class Owed : public ::testing::Test {
protected:
    using Clock = OwedAnswers::Clock;
    static constexpr Clock::time_point Start{std::chrono::hours(1)};

    void exchange(Clock::duration sent, Outcome outcome, int attempt,
                  std::chrono::microseconds replyTime = 5ms) {
        Exchange exchange;
        exchange.station = 1;
        exchange.function = 3;
        exchange.outcome = outcome;
        exchange.attempt = attempt;
        exchange.replyTime = outcome == Outcome::NoReply ? 0us : replyTime;
        exchange.registers = 1;
        exchange.request = QByteArray::fromHex("010300000001840a");
        if (outcome == Outcome::BadCrc)
            exchange.reply = QByteArray::fromHex("81030204d20000"); // one bit of the station
        m_owed.observe(exchange, Start + sent);
    }
    Clock::duration clearFrom(int station = 1, int function = 3) const {
        return std::max(m_owed.clearFrom(station, function), Start) - Start;
    }

    OwedAnswers m_owed{100ms, 100ms};
};

TEST_F(Owed, AnAnswerInTimeLeavesNothing) {
    exchange(0ms, Outcome::Good, 1);
    EXPECT_EQ(clearFrom(), 0ms);
}

TEST_F(Owed, ARequestWithoutAnAnswerIsWaitedFor) {
    exchange(0ms, Outcome::NoReply, 1);
    EXPECT_EQ(clearFrom(), 200ms);
    EXPECT_EQ(clearFrom(1, 16), 0ms) << "another function cannot be mistaken";
    EXPECT_EQ(clearFrom(2, 3), 0ms) << "nor another station";
}

TEST_F(Owed, AfterARepeatedRequestEachOtherAnswerMayComeAsLate) {
    exchange(0ms, Outcome::NoReply, 1);
    exchange(100ms, Outcome::NoReply, 2);
    exchange(200ms, Outcome::Good, 3, 50ms); // 250 ms after the first sending
    EXPECT_EQ(clearFrom(), 250ms + 2 * (250ms + 100ms));
}

TEST_F(Owed, ADamagedAnswerIsAnAnswerUnlessItMayBeAnEarlierOne) {
    exchange(0ms, Outcome::BadCrc, 1);
    EXPECT_EQ(clearFrom(), 0ms);
    exchange(0ms, Outcome::CutShort, 1);
    exchange(50ms, Outcome::BadCrc, 2);
    exchange(60ms, Outcome::Good, 3);
    EXPECT_EQ(clearFrom(), 65ms + 2 * (65ms + 100ms)) << "as if the damaged one had not been there";
}

TEST_F(Owed, ANewRequestOwesNothingForThoseBefore) {
    exchange(0ms, Outcome::NoReply, 1);
    exchange(4s, Outcome::Good, 1);
    EXPECT_EQ(clearFrom(), 200ms);
}

} // namespace
