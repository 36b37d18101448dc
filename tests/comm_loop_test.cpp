// The communication loop at work on a pseudo-terminal: the other side plays the stations, a copy of
// the driver stands behind a table of functions that the test looks into. Times have lower bounds
// only.
#include "modbus/checksums.h"
#include "panel/line/driver_copy.h"
#include "panel/line/line.h"
#include "panel/line/one_shot.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include <array>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

constexpr auto Ever = 60s; // no test waits for it
constexpr int RequestLength = 8;

// Stations behind the master side of a pseudo-terminal: each register holds its own number.
class Stations {
public:
    Stations() { plugIn(); }
    ~Stations() { unplug(); }
    Stations(const Stations &) = delete;
    Stations &operator=(const Stations &) = delete;

    QString device() const { return m_folder.filePath("plc"); }
    void plugIn() {
        m_master = ::posix_openpt(O_RDWR | O_NOCTTY);
        ::grantpt(m_master);
        ::unlockpt(m_master);
        std::array<char, 64> path{};
        ::ptsname_r(m_master, path.data(), path.size());
        EXPECT_TRUE(QFile::link(path.data(), device()));
        m_isEnding = false;
        m_thread = std::thread([this] { serve(); });
    }
    void unplug() {
        if (!m_thread.joinable())
            return;
        m_isEnding = true;
        m_thread.join();
        ::close(m_master);
        QFile::remove(device());
    }
    void mute(int station) {
        const std::lock_guard lock(m_mutex);
        m_mute.insert(station);
    }
    void unmute(int station) {
        const std::lock_guard lock(m_mutex);
        m_mute.erase(station);
    }
    // Its answers have wrong checksums from now on.
    void spoil(int station) { m_spoiled = station; }
    // What touches this register is refused; station 0: nothing is.
    void refuse(int station, int reg, char exceptionCode = 2) {
        const std::lock_guard lock(m_mutex);
        m_refused = {station, reg};
        m_exceptionCode = exceptionCode;
    }

private:
    void serve() {
        QByteArray heard;
        while (!m_isEnding) {
            pollfd source{m_master, POLLIN, 0};
            std::array<char, 256> bytes{};
            ssize_t count = 0;
            if (::poll(&source, 1, 10) == 1)
                count = ::read(m_master, bytes.data(), bytes.size());
            if (count > 0)
                heard.append(bytes.data(), static_cast<int>(count));
            if (count <= 0 || heard.size() < RequestLength)
                continue;
            answer(heard);
            heard.clear();
        }
    }
    void answer(const QByteArray &request) {
        const int station = static_cast<unsigned char>(request.at(0));
        const int first = static_cast<unsigned char>(request.at(3));
        const int count = static_cast<unsigned char>(request.at(5));
        const std::lock_guard lock(m_mutex);
        if (m_mute.count(station) != 0 || station == 0)
            return;
        QByteArray reply = request.left(2);
        if (m_refused.first == station && first <= m_refused.second &&
            m_refused.second < first + count) {
            reply[1] = static_cast<char>(reply.at(1) | 0x80);
            reply.append(m_exceptionCode);
        } else if (request.at(1) == 3) {
            reply.append(static_cast<char>(2 * count));
            for (int reg = first; reg < first + count; ++reg)
                reply.append('\0').append(static_cast<char>(reg));
        } else {
            reply = request.left(6);
        }
        appendCrc(reply);
        if (station == m_spoiled)
            reply.back() = static_cast<char>(reply.back() ^ 1);
        EXPECT_EQ(::write(m_master, reply.constData(), static_cast<std::size_t>(reply.size())),
                  reply.size());
    }

    QTemporaryDir m_folder;
    int m_master = -1;
    std::mutex m_mutex; // guards the three below
    std::set<int> m_mute;
    std::pair<int, int> m_refused{0, 0};
    char m_exceptionCode = 2;
    std::atomic<int> m_spoiled{-1};
    std::atomic<bool> m_isEnding{false};
    std::thread m_thread;
};

Variable wordOf(int station, int reg) {
    Variable variable;
    variable.name = QString("%1/%2").arg(station).arg(reg);
    variable.station = station;
    variable.regType = 7;
    variable.address = reg;
    variable.addressText = QString::number(reg);
    return variable;
}

class Loop : public ::testing::Test {
protected:
    Loop() {
        LineSettings line;
        line.device = m_stations.device();
        line.baudRate = 115200;
        line.responseTimeoutMs = 100;
        m_panel.lines = {withUsualTimes(line)};
    }
    void TearDown() override { stop(); }

    void start() {
        Driver planning;
        ASSERT_EQ(loadDriverCopy(DRIVER_LIBRARY, &planning).toStdString(), "");
        ASSERT_EQ(loadDriverCopy(DRIVER_LIBRARY, &m_driver).toStdString(), "");
        m_line.emplace(
            m_panel, 0, m_driver, driverBlocks(planning, m_panel, 0),
            [this](const Exchange &exchange) { note(exchange); }, m_stop);
        ASSERT_EQ(m_line->start().toStdString(), "");
    }
    void stop() {
        m_stop = true;
        if (m_line)
            m_line->join();
    }
    void note(const Exchange &exchange) {
        const std::lock_guard lock(m_mutex);
        m_exchanges.push_back(exchange);
        m_changed.notify_all();
    }
    std::size_t exchanges() {
        const std::lock_guard lock(m_mutex);
        return m_exchanges.size();
    }
    // Waits for that many exchanges like this from now on, and returns the last one.
    template <typename Like>
    Exchange waitFor(const Like &like, int count = 1) {
        return waitSince(exchanges(), like, count);
    }
    template <typename Like>
    Exchange waitSince(std::size_t from, const Like &like, int count = 1) {
        std::unique_lock lock(m_mutex);
        Exchange last;
        const auto hasCome = [&] {
            int found = 0;
            for (std::size_t i = from; i < m_exchanges.size(); ++i) {
                if (like(m_exchanges[i])) {
                    ++found;
                    last = m_exchanges[i];
                }
            }
            return found >= count;
        };
        EXPECT_TRUE(m_changed.wait_for(lock, Ever, hasCome));
        return last;
    }
    Exchange waitForGood(int station, int count = 1) {
        return waitFor(
            [station](const Exchange &exchange) {
                return exchange.station == station && exchange.outcome == Outcome::Good;
            },
            count);
    }
    Exchange waitForRest(int station) {
        return waitFor([station](const Exchange &exchange) {
            return exchange.station == station && exchange.gaveUp;
        });
    }
    OneShot requests() { return {m_driver, Line::PortId, m_line->requests()}; }

    Stations m_stations;
    PanelFile m_panel;
    Driver m_driver;
    std::atomic<bool> m_stop{false};
    std::optional<Line> m_line;
    std::mutex m_mutex; // guards m_exchanges
    std::condition_variable m_changed;
    std::vector<Exchange> m_exchanges;
};

TEST_F(Loop, PollsAStationThatIsBack) {
    m_panel.variables = {wordOf(1, 10), wordOf(2, 20)};
    start();
    waitForGood(2, 3);
    m_stations.mute(2);
    EXPECT_EQ(waitForRest(2).attempt, 3) << "the first request is repeated";
    EXPECT_EQ(waitForRest(2).attempt, 1) << "a try is not";
    waitForGood(1, 10);
    EXPECT_TRUE(m_line->status().restingStations.at(2).startsWith("no answer for "));
    m_stations.unmute(2);
    waitForGood(2, 10);
    EXPECT_TRUE(m_line->status().restingStations.empty());
}

TEST_F(Loop, RepeatsAndDoesNotRestAStationThatFailsNowAndThen) {
    m_panel.variables = {wordOf(1, 10), wordOf(2, 20)};
    start();
    waitForGood(2, 3);
    m_stations.mute(2);
    waitFor([](const Exchange &exchange) { return exchange.outcome == Outcome::NoReply; });
    m_stations.unmute(2);
    EXPECT_EQ(waitForGood(2).purpose, Purpose::Poll);
    EXPECT_TRUE(m_line->status().restingStations.empty());
}

TEST_F(Loop, LeavesAStationAloneWhoseAnswersAreNeverGood) {
    m_panel.variables = {wordOf(1, 10), wordOf(2, 20)};
    start();
    waitForGood(2, 3);
    const std::size_t before = exchanges();
    m_stations.spoil(2);
    const Exchange last =
        waitSince(before, [](const Exchange &exchange) { return exchange.stationRests; });
    EXPECT_EQ(last.station, 2);
    EXPECT_EQ(last.outcome, Outcome::BadCrc);
    EXPECT_EQ(last.purpose, Purpose::Poll) << "it is told with the failure that led to it";
    EXPECT_TRUE(m_line->status().restingStations.at(2).startsWith("no good answer for "));
    m_stations.spoil(-1);
    EXPECT_FALSE(waitForGood(2).stationRests);
}

TEST_F(Loop, TellsWhoWritesToARestingStationAtOnce) {
    m_panel.variables = {wordOf(1, 10), wordOf(2, 20)};
    m_stations.mute(2);
    start();
    waitForRest(2);
    waitForGood(1, 10);
    const QByteArray data("\1\0", 2);
    EXPECT_EQ(requests().write(m_panel.variables[1], data), OneShot::End::Resting);
    EXPECT_EQ(requests().write(m_panel.variables[0], data), OneShot::End::Answered);
    m_stations.unmute(2);
    waitForGood(2, 3);
    EXPECT_EQ(requests().write(m_panel.variables[1], data), OneShot::End::Answered);
}

// What was reported as failed must not reach the PLC later.
TEST_F(Loop, SendsNothingThatWasReportedAsFailed) {
    m_panel.variables = {wordOf(1, 10), wordOf(2, 20)};
    start();
    waitForGood(2, 3);
    m_stations.mute(2);
    std::array<std::thread, 8> writers;
    for (std::thread &writer : writers) {
        writer = std::thread([this] {
            EXPECT_NE(requests().write(m_panel.variables[1], QByteArray("\1\0", 2)),
                      OneShot::End::Answered);
        });
    }
    for (std::thread &writer : writers)
        writer.join();
    const std::size_t before = exchanges();
    m_stations.unmute(2);
    const auto isBack = [](const Exchange &exchange) {
        return exchange.purpose == Purpose::Probe && exchange.outcome == Outcome::Good &&
               exchange.station == 2;
    };
    waitSince(before, isBack);
    waitForGood(2, 20);
    const std::lock_guard lock(m_mutex);
    const auto back = std::find_if(m_exchanges.rbegin(), m_exchanges.rend(), isBack);
    for (auto later = m_exchanges.rbegin(); later != back; ++later)
        EXPECT_NE(later->purpose, Purpose::Write);
}

TEST_F(Loop, ReadsAroundARefusedRegisterAndNamesIt) {
    for (const int reg : {10, 11, 12, 13, 14})
        m_panel.variables.push_back(wordOf(1, reg));
    m_stations.refuse(1, 12);
    start();
    const auto reads = [](int first, int count) {
        return [first, count](const Exchange &exchange) {
            return exchange.outcome == Outcome::Good && exchange.firstRegister == first &&
                   exchange.registers == count;
        };
    };
    waitFor(reads(10, 2), 2);
    waitFor(reads(13, 2), 2);
    EXPECT_EQ(m_line->status().refusedVariables, std::vector<std::size_t>{2});
    m_stations.refuse(0, 0);
    waitFor(reads(10, 5));
    EXPECT_TRUE(m_line->status().refusedVariables.empty());
    const std::lock_guard lock(m_mutex);
    for (const Exchange &exchange : m_exchanges) {
        const bool isRefused = exchange.outcome == Outcome::Refused;
        EXPECT_TRUE(!isRefused || (exchange.attempt == 1 && exchange.gaveUp)) << "tried again";
    }
}

TEST_F(Loop, TriesAgainAtOnceWhatAStationCouldNotDo) {
    m_panel.variables = {wordOf(1, 10)};
    start();
    waitForGood(1);
    m_stations.refuse(1, 10, 4); // a failure, which may pass
    waitFor([](const Exchange &exchange) {
        return exchange.outcome == Outcome::Refused && exchange.attempt == 2;
    });
}

TEST_F(Loop, SendsNothingLaterThatFailedWhileTheDeviceWasGone) {
    m_panel.variables = {wordOf(1, 10)};
    const QByteArray data("\1\0", 2);
    start();
    waitForGood(1);
    const auto gone = std::chrono::steady_clock::now();
    m_stations.unplug();
    while (m_line->status().deviceGone.isEmpty())
        std::this_thread::sleep_for(1ms);
    EXPECT_EQ(requests().write(m_panel.variables[0], data), OneShot::End::Gone);
    QString address = "10"; // of a writer that had looked just before
    QByteArray late = data;
    m_driver.SetRegisterData(nullptr, 7, &address, 1, &late, 1, RequestLedger::OwnerId, 99);
    m_stations.plugIn();
    EXPECT_GE(waitForGood(1).began - gone, 500ms) << "it is looked for all the time";
    waitForGood(1, 10);
    {
        const std::lock_guard lock(m_mutex);
        for (const Exchange &exchange : m_exchanges)
            EXPECT_NE(exchange.purpose, Purpose::Write);
    }
    EXPECT_EQ(requests().write(m_panel.variables[0], data), OneShot::End::Answered);
}

TEST_F(Loop, SaysWhyADeviceThatIsThereAgainCannotBeHad) {
    m_panel.variables = {wordOf(1, 10)};
    start();
    waitForGood(1);
    m_stations.unplug();
    ASSERT_TRUE(QFile::link("/dev/null", m_stations.device()));
    while (!m_line->status().deviceGone.endsWith(": not a serial device"))
        std::this_thread::sleep_for(1ms);
    ASSERT_TRUE(QFile::remove(m_stations.device()));
    m_stations.plugIn();
    waitForGood(1);
    EXPECT_EQ(m_line->status().deviceGone, "");
}

TEST_F(Loop, TellsOfADeviceThatGoesWhileNothingIsAskedAndPollsOnceItIsBack) {
    m_panel.variables = {wordOf(1, 10)};
    m_panel.lines[0].scanIntervalMs = 600'000;
    start();
    waitForGood(1);
    std::this_thread::sleep_for(200ms); // nothing is under way any more
    const std::size_t before = exchanges();
    m_stations.unplug();
    const auto isLoss = [](const Exchange &exchange) {
        return exchange.outcome == Outcome::DeviceGone;
    };
    const Exchange loss = waitSince(before, isLoss);
    EXPECT_TRUE(loss.gaveUp);
    EXPECT_EQ(loss.station, 0) << "no station is to blame";
    m_stations.plugIn();
    waitForGood(1); // the next pass does not wait
}

TEST_F(Loop, BeginsPassesNoMoreOftenThanAsked) {
    m_panel.variables = {wordOf(1, 10), wordOf(2, 20)};
    m_panel.lines[0].scanIntervalMs = 300;
    start();
    const auto second = waitForGood(1, 2).began;
    const auto fifth = waitForGood(1, 3).began;
    EXPECT_GE(fifth - second, 600ms) << "three intervals, and room for a busy machine";
}

TEST_F(Loop, WaitsBetweenFramesAndAfterABroadcast) {
    m_panel.lines[0].baudRate = 300;
    m_panel.lines[0] = withUsualTimes(m_panel.lines[0]);
    m_panel.lines[0].silenceUs = 130'000; // about 3.5 characters
    m_panel.lines[0].broadcastDelayMs = 400;
    m_panel.variables = {wordOf(1, 10), wordOf(0, 30)};
    start();
    waitForGood(1);
    EXPECT_EQ(requests().write(m_panel.variables[1], QByteArray("\1\0", 2)),
              OneShot::End::Answered);
    waitForGood(1, 2);
    const std::lock_guard lock(m_mutex);
    for (std::size_t i = 1; i < m_exchanges.size(); ++i) {
        const Exchange &before = m_exchanges[i - 1];
        const auto pause = m_exchanges[i].began - before.began;
        EXPECT_GE(pause, before.station == 0 ? 530ms : 130ms);
    }
}

} // namespace
