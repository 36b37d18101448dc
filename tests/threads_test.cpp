// One communication thread and many screens, all at once.
#include "driver_fixture.h"

#include <atomic>
#include <functional>
#include <thread>

namespace {

constexpr int Turns = 3000;

// Runs every job on a thread of its own, all from one starting line.
void together(const std::vector<std::function<void()>> &jobs) {
    std::atomic<size_t> missing{jobs.size()};
    std::vector<std::thread> threads;
    threads.reserve(jobs.size());
    for (const auto &job : jobs) {
        threads.emplace_back([&missing, &job] {
            for (--missing; missing > 0;) {
                std::this_thread::yield();
            }
            job();
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

// Sixty registers, all alike; others in the next turn.
QByteArray pattern(int turn) {
    return QByteArray(120, turn % 2 == 0 ? '\x55' : '\xAA');
}

class Threads : public Driver {
protected:
    static void replies() {
        for (int i = 0; i < Turns; ++i) {
            const QByteArray crc = bytes(i % 2 == 0 ? "11 04" : "51 00");
            QByteArray reply = bytes("01 03 78") + pattern(i) + crc;
            ComCommunication();
            EXPECT_EQ(DataCom(&reply, reply.size())->result, 1);
        }
    }

    static void writes() {
        for (int i = 0; i < Turns; ++i) {
            EXPECT_EQ(write(7, "0", 60, pattern(i), 2), 1);
        }
    }

    static void watch(int station) {
        for (int i = 0; i < Turns; ++i) {
            QByteArray seen;
            GetRegisterData(nullptr, 7, "0", station, &seen, 60);
            ASSERT_EQ(seen.count(seen.at(0)), 120);
        }
    }

    // The areas grow and the stations become more under everyone's hands.
    static void grow() {
        for (int i = 0; i < Turns; ++i) {
            const QByteArray behind = QByteArray::number(60 + 500 * i);
            EXPECT_EQ(screen(7, behind.constData(), 1, 1 + i % 2), "00 00");
            EXPECT_EQ(screen(7, "0", 1, Turns - i + 2), "00 00");
        }
    }
};

TEST_F(Threads, AScreenSeesAReplyOrAWriteWholeOrNotAtAll) {
    info.commMode = 1; // writes go straight into the image
    RW_VAR block = variable({1, 7, 0, 60});
    AddListReadVar(&block);
    together({replies, writes, [] { watch(1); }, [] { watch(2); }, grow});
}

TEST_F(Threads, ThePiecesOfAOneShotReadAreQueuedTogether) {
    info.blockLimit = 1;
    std::vector<std::function<void()>> screens;
    for (int station = 1; station <= 10; ++station) {
        screens.emplace_back([station] { queueRead(7, "0", 100, station); });
    }
    together(screens);
    ASSERT_EQ(PLC_driver.onceReadList.size(), 1000);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(PLC_driver.onceReadList[i].station, PLC_driver.onceReadList[i - i % 100].station);
        EXPECT_EQ(PLC_driver.onceReadList[i].address, i % 100);
    }
}

} // namespace
