// One communication thread and many screens, all at once.
#include "driver_fixture.h"

#include <atomic>
#include <functional>
#include <thread>

namespace {

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

class Threads : public Driver {
protected:
    static constexpr int Screens = 4;
    static constexpr int Steps = 60; // x Screens x 3 writes stay below 1024

    static QByteArray twoBytes(int number) {
        return QByteArray(1, static_cast<char>(number & 0xFF))
            .append(static_cast<char>(number >> 8));
    }

    // What the screens write in a round: bit `place`, byte 160 + `place`, register 350 + `place`.
    static int bitOf(int place, int round) { return (place + round) % 3 == 0 ? 1 : 0; }
    static int byteOf(int place, int round) { return (place + round) & 0xFF; }
    static int wordOf(int place, int round) { return place * 3 + round; }

    static void rebuild() {
        QList<VARDEF> list;
        for (const int station : {1, 50}) { // nothing answers at station 50
            for (int address = 0; address < 400; address += 80) {
                list << definition(station, 7, QString::number(address), 80);
            }
        }
        ReCreatReadVarList(&list);
    }

    // One turn; station 50 stays silent.
    void turn() {
        const Protocol *request = ComCommunication();
        if (request != nullptr) {
            const bool silent = request->var.station == 50;
            deliver(silent ? QByteArray() : plc.answer(request->frame));
        }
    }

    static bool drained() {
        const QMutexLocker lock(&PLC_driver.listMutex); // the screens' queues
        return PLC_driver.writeList.isEmpty() && PLC_driver.onceReadList.isEmpty() &&
               PLC_driver.requestList.isEmpty();
    }

    // Every kind of call a screen makes; its bits, bytes and words lie between those of the others.
    static void screen(int number, int round) {
        for (int i = 0; i < Steps; ++i) {
            const int place = i * Screens + number;
            const int item = round * Steps * Screens + place;
            const QString bit = QString("%1.%2").arg(place / 8).arg(place % 8);
            const QString byte = QString::number(160 + place);
            const QString word = QString::number(350 + place);
            write(1, bit, 1, twoBytes(bitOf(place, round)), 1, 1, item);
            write(4, byte, 1, twoBytes(byteOf(place, round)), 1, 2, item);
            write(7, word, 1, twoBytes(wordOf(place, round)), 1, 3, item);
            RW_VAR once = var(QString("1/7:%1+%2").arg(place % 50).arg(1 + i % 7));
            once.ownerId = 4;
            once.itemId = item;
            AddListOnceReadVar(&once, i % 2);
            EnCommStation(77, i % 2);
            EnableEthernet(77 + number, i % 2);
            read(1 + i % 3, "0.3", 1, 40 + place); // grows area by area
            read(7, QString::number(place), 1 + i % 2, 9);
            if (i % 10 == number) {
                rebuild();
            }
        }
    }

    // One communication thread and the screens, until every queue is empty.
    void round(int number) {
        std::atomic<int> busy{Screens};
        std::vector<std::function<void()>> jobs{[this, &busy] {
            for (int left = 20000; left > 0 && (busy > 0 || !drained()); left -= busy > 0 ? 0 : 1) {
                turn();
            }
        }};
        for (int i = 0; i < Screens; ++i) {
            jobs.emplace_back([i, number, &busy] {
                screen(i, number);
                --busy;
            });
        }
        together(jobs);
        EXPECT_TRUE(drained());
    }
};

std::map<std::pair<int, int>, int> finished; // (ownerId, itemId): reports with status 1
int givenUp = 0;

int countFinish(void *, int ownerId, int itemId, int status) {
    finished[{ownerId, itemId}] += status == 1 ? 1 : 1000;
    return 0;
}

int countFail(QList<RW_VAR> *, int, int) {
    ++givenUp;
    return 0;
}

TEST_F(Threads, ScreensAndTheLineAgreeInTheEnd) {
    constexpr int Rounds = 5;
    finished.clear();
    givenUp = 0;
    RegistCallBackFuncIntf(countFinish, countFail);
    std::map<int, int> expected; // register: value
    for (int i = 0; i < 700; ++i) {
        expected[i] = plc.registers[{3, 1, i}] = (i * 0x2537) & 0xFFFF;
    }
    rebuild();
    for (int number = 0; number < Rounds; ++number) {
        round(number);
    }
    for (int place = 0; place < Screens * Steps; ++place) {
        int &bits = expected[place / 16];
        bits = (bits & ~(1 << place % 16)) | bitOf(place, Rounds - 1) << place % 16;
        int &pair = expected[80 + place / 2];
        const int shift = place % 2 * 8;
        pair = (pair & ~(0xFF << shift)) | byteOf(place, Rounds - 1) << shift;
        expected[350 + place] = wordOf(place, Rounds - 1);
    }
    for (const auto &[address, value] : expected) {
        EXPECT_EQ((plc.registers[{3, 1, address}]), value) << address;
    }
    EXPECT_EQ(finished.size(), 4U * Screens * Steps * Rounds);
    for (const auto &[item, count] : finished) {
        EXPECT_EQ(count, 1) << item.first << "/" << item.second;
    }
    rebuild(); // one more pass, and the image is the PLC
    for (int i = 0; i < 20; ++i) {
        turn();
    }
    EXPECT_GT(givenUp, 0);
    QByteArray plcBytes;
    for (int i = 0; i < 400; ++i) {
        plcBytes += twoBytes(expected[i]);
    }
    EXPECT_EQ(read(7, "0", 1, 400), "1 " + hex(plcBytes));
}

TEST_F(Threads, AScreenSeesAReplyOrAWriteWholeOrNotAtAll) {
    constexpr int Turns = 3000;
    info.commMode = 1; // writes go straight to the image
    RW_VAR block = var("1/7:0+60");
    AddListReadVar(&block);
    const auto patterned = [](int i) {
        return QByteArray(120, i % 2 == 0 ? '\x55' : '\xAA');
    };
    const auto watch = [](int station) {
        for (int i = 0; i < Turns; ++i) {
            QByteArray seen;
            GetRegisterData(nullptr, 7, "0", station, &seen, 60);
            EXPECT_EQ(seen.count(seen.at(0)), 120);
        }
    };
    together({[&patterned] {
                  for (int i = 0; i < Turns; ++i) {
                      ComCommunication();
                      EXPECT_EQ(deliver(sealed(bytes("01 03 78") + patterned(i))), 1);
                  }
              },
              [&patterned] {
                  for (int i = 0; i < Turns; ++i) {
                      EXPECT_EQ(write(7, "0", 2, patterned(i), 60), 1);
                  }
              },
              [&watch] { watch(1); }, [&watch] { watch(2); },
              [] { // the areas grow and the stations become more under everyone's hands
                  for (int i = 0; i < Turns; ++i) {
                      EXPECT_EQ(read(7, QString::number(60 + 500 * i), 1 + i % 2, 1), "1 00 00");
                      EXPECT_EQ(read(7, "0", Turns - i + 2, 1), "1 00 00");
                  }
              }});
}

TEST_F(Threads, PiecesOfOneOneShotReadAreQueuedTogether) {
    info.blockLimit = 1;
    std::vector<std::function<void()>> jobs;
    for (int number = 1; number <= 10; ++number) {
        jobs.emplace_back([number] {
            RW_VAR once = var(QString("%1/7:0+100").arg(number));
            AddListOnceReadVar(&once, 0);
        });
    }
    together(jobs);
    ASSERT_EQ(PLC_driver.onceReadList.size(), 1000);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(PLC_driver.onceReadList[i].station, PLC_driver.onceReadList[i - i % 100].station);
        EXPECT_EQ(PLC_driver.onceReadList[i].address, i % 100);
    }
}

} // namespace
