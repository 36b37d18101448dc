// The line's time among stations that answer and stations that do not, in simulated time.
#include "panel/line/station_care.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>

namespace {

using namespace std::chrono_literals;
using Clock = StationCare::Clock;
using std::chrono::microseconds;

LineSettings ordinaryLine() {
    LineSettings line;
    line.baudRate = 19200;
    return withUsualTimes(line);
}

// A line at work: stations 1 to `live` answer in 25 ms all in all, those after them never do.
class SimulatedLine {
public:
    SimulatedLine(int live, int dead)
        : m_live(live), m_all(live + dead), m_care(ordinaryLine(), stations(live + dead), m_now) {}

    void runUntil(Clock::duration end) {
        while (m_now.time_since_epoch() < end)
            turn();
    }
    // The time of all but the first, which stays quick.
    void answerIn(microseconds time) { m_othersTime = time; }
    // The next answer of the first comes late, as when the machine was busy.
    void delayOnce(microseconds time) { m_delay = time; }
    void revive(int station) { m_revived.insert(station); }
    void loseTheDevice() { m_care.startAfresh(m_now); }
    // That got no answer.
    int failed() const { return m_failed; }
    // Since the start, of the line's time.
    double shareOfLive() const {
        return std::chrono::duration<double>(m_liveTime) /
               std::chrono::duration<double>(m_now.time_since_epoch());
    }
    const StationCare &care() const { return m_care; }
    Clock::time_point now() const { return m_now; }

private:
    static std::set<int> stations(int count) {
        std::set<int> all;
        for (int station = 1; station <= count; ++station)
            all.insert(station);
        return all;
    }
    bool answers(int station) const { return station <= m_live || m_revived.count(station) != 0; }
    void turn() {
        if (const auto due = m_care.dueTry(m_now)) {
            ask(due->station, due->responseTimeout, 1);
        } else if (m_care.isAnyoneAnswering()) {
            poll();
        } else {
            m_now += 10ms;
        }
    }
    // The driver's way: a poll that fails is sent again twice.
    void poll() {
        do {
            m_next = m_next % m_all + 1;
        } while (!m_care.isAnswering(m_next));
        for (int attempt = 1; attempt <= 3 && !ask(m_next, 300ms, attempt); ++attempt) {
        }
    }
    bool ask(int station, microseconds timeout, int attempt) {
        const microseconds time = station == 1 ? 10ms + std::exchange(m_delay, 0us) : m_othersTime;
        const bool isAnswered = answers(station) && time <= timeout;
        Exchange exchange;
        exchange.station = station;
        exchange.function = 3;
        exchange.attempt = attempt;
        exchange.outcome = isAnswered ? Outcome::Good : Outcome::NoReply;
        exchange.gaveUp = !isAnswered && (attempt == 3 || !m_care.isAnswering(station));
        exchange.replyTime = isAnswered ? time : 0us;
        exchange.duration = (isAnswered ? time + 8500us : timeout) + 6500us;
        m_now += exchange.duration;
        if (isAnswered)
            m_liveTime += exchange.duration;
        m_failed += isAnswered ? 0 : 1;
        m_care.observe(exchange, m_now);
        return isAnswered;
    }

    int m_live;
    int m_all;
    std::set<int> m_revived;
    Clock::time_point m_now; // the epoch
    StationCare m_care;
    int m_next = 0;
    Clock::duration m_liveTime{0};
    int m_failed = 0;
    microseconds m_othersTime{10ms};
    microseconds m_delay{0};
};

TEST(StationCare, LeavesNineTenthsOfTheLineToWhoAnswers) {
    for (const int dead : {1, 3, 8, 30}) {
        SCOPED_TRACE(dead);
        SimulatedLine line(1, dead);
        line.runUntil(20s);
        EXPECT_GE(line.shareOfLive(), 0.9);
        line.delayOnce(60ms);
        line.runUntil(60s);
        EXPECT_GE(line.shareOfLive(), 0.9) << "one late answer does not make a slow line";
        line.runUntil(200s);
        EXPECT_GE(line.shareOfLive(), 0.915) << "deadShare is 8 %";
    }
}

TEST(StationCare, AsksASilentStationLessAndLessOften) {
    SimulatedLine line(1, 1);
    line.runUntil(100s);
    const int before = line.failed();
    line.runUntil(200s);
    EXPECT_LE(line.failed() - before, 25)
        << "the longest rest is 5 s, the last doubling ends at 4.8";
}

TEST(StationCare, AsksEveryoneAtOnceWhenTheDeviceIsBack) {
    for (const auto since : {100s, 101s, 102s, 103s, 104s}) {
        SimulatedLine line(1, 1);
        line.runUntil(since);
        line.revive(2);
        line.loseTheDevice();
        line.runUntil(since + 1s);
        EXPECT_TRUE(line.care().isAnswering(2)) << since.count();
    }
}

// A bad answer is a sign of noise, or of one register that the station cannot give.
TEST(StationCare, RestsAStationAfterOneSilenceOrThreeBadAnswersInARow) {
    using Change = StationCare::Change;
    StationCare care(ordinaryLine(), {1, 2}, Clock::time_point(1s));
    const struct {
        Outcome outcome;
        Change change;
    } steps[] = {{Outcome::Good, Change::Returns}, {Outcome::BadCrc, Change::None},
                 {Outcome::BadCrc, Change::None},  {Outcome::Good, Change::None},
                 {Outcome::BadCrc, Change::None},  {Outcome::BadCrc, Change::None},
                 {Outcome::BadCrc, Change::Rests}, {Outcome::Good, Change::Returns},
                 {Outcome::NoReply, Change::Rests}};
    for (const auto &step : steps) {
        Exchange exchange;
        exchange.station = 1;
        exchange.outcome = step.outcome;
        exchange.gaveUp = step.outcome != Outcome::Good;
        EXPECT_EQ(care.observe(exchange, Clock::time_point(2s)), step.change) << &step - steps;
    }
}

TEST(StationCare, SoonFindsStationsThatAreSlow) {
    for (const int live : {2, 8}) {
        SCOPED_TRACE(live);
        SimulatedLine line(live, 1);
        line.answerIn(100ms);
        line.runUntil(4s);
        for (int station = 1; station <= live; ++station)
            EXPECT_TRUE(line.care().isAnswering(station)) << station;
    }
}

TEST(StationCare, FindsAStationThatIsBack) {
    const struct {
        const char *what;
        int live;
        int dead;
        Clock::duration within;
    } cases[] = {{"alone dead", 1, 1, 5s},
                 {"one of eight", 1, 8, 35s},
                 {"one of thirty", 1, 30, 150s},
                 {"with nobody alive", 0, 3, 5s}};
    for (const auto &c : cases) {
        for (const auto since : {3s, 60s, 61s, 62s, 63s, 64s, 65s, 600s}) {
            SCOPED_TRACE(c.what);
            SimulatedLine line(c.live, c.dead);
            line.runUntil(since);
            line.revive(c.live + c.dead);
            line.runUntil(since + c.within);
            EXPECT_TRUE(line.care().isAnswering(c.live + c.dead)) << since.count();
        }
    }
}

} // namespace
