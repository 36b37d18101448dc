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

    static QByteArray read(int regType, const QString &address, int station, int count) {
        QByteArray answer;
        GetRegisterData(nullptr, regType, address, station, &answer, count);
        return answer;
    }

    static int write(int regType, const QString &address, int number, int ownerId, int itemId) {
        QString text = address;
        QByteArray data;
        data.append(static_cast<char>(number & 0xFF)).append(static_cast<char>(number >> 8));
        return SetRegisterData(nullptr, regType, &text, 1, &data, 1, ownerId, itemId);
    }

    static QList<VARDEF> definitions() {
        QList<VARDEF> made;
        for (const int station : {1, 50}) { // nothing answers at station 50
            for (int address = 0; address < 400; address += 80) {
                made << VARDEF();
                made.last().regType = 7;
                made.last().station = static_cast<unsigned char>(station);
                made.last().addressText = QString::number(address);
                made.last().count = 80;
            }
        }
        return made;
    }

    // One turn; station 50 stays silent.
    bool turn() {
        const Protocol *request = ComCommunication();
        if (request == nullptr) {
            return false;
        }
        QByteArray reply;
        if (request->var.station != 50) {
            reply = plc.answer(request->frame);
        }
        DataCom(&reply, reply.size());
        return true;
    }

    static bool drained() {
        const QMutexLocker lock(&PLC_driver.listMutex); // the screens' queues
        return PLC_driver.writeList.isEmpty() && PLC_driver.onceReadList.isEmpty() &&
               PLC_driver.requestList.isEmpty();
    }

    // Every kind of call a screen makes; bits, bytes and words lie between those of the others.
    void screen(int number) const {
        for (int i = 0; i < Steps; ++i) {
            const int place = i * Screens + number;
            const QString bit = QString("%1.%2").arg(place / 8).arg(place % 8);
            write(1, bit, i % 3 == 0 ? 1 : 0, 10 + number, i);
            write(4, QString::number(160 + place), place & 0xFF, 20 + number, i);
            write(7, QString::number(350 + place), place * 3, 30 + number, i);
            RW_VAR once = var(1, 7, place % 50, 1 + i % 7);
            once.ownerId = 40 + number;
            once.itemId = i;
            AddListOnceReadVar(&once, 0);
            EnCommStation(77, i % 2);
            EnableEthernet(77 + number, i % 2);
            read(1 + i % 3, "0.3", 1, 40 + place); // grows area by area
            read(7, QString::number(place), 1 + i % 2, 9);
            if (i % 10 == number) {
                QList<VARDEF> list = definitions();
                ReCreatReadVarList(&list);
            }
        }
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
    finished.clear();
    givenUp = 0;
    RegistCallBackFuncIntf(countFinish, countFail);
    std::map<int, int> expected; // register: value
    for (int i = 0; i < 700; ++i) {
        expected[i] = plc.registers[{3, 1, i}] = (i * 0x2537) & 0xFFFF;
    }
    QList<VARDEF> list = definitions();
    ReCreatReadVarList(&list);
    std::atomic<int> busy{Screens};
    std::vector<std::function<void()>> jobs{[this, &busy] {
        for (int left = 20000; left > 0 && (busy > 0 || !drained()); left -= busy > 0 ? 0 : 1) {
            turn();
        }
    }};
    for (int number = 0; number < Screens; ++number) {
        jobs.emplace_back([this, number, &busy] {
            screen(number);
            --busy;
        });
    }
    together(jobs);
    EXPECT_TRUE(drained());
    for (int place = 0; place < Screens * Steps; ++place) {
        const int i = place / Screens;
        const int mask = 1 << place % 16;
        expected[place / 16] =
            i % 3 == 0 ? expected[place / 16] | mask : expected[place / 16] & ~mask;
        int &word = expected[80 + place / 2];
        word =
            place % 2 == 0 ? (word & 0xFF00) | (place & 0xFF) : (word & 0xFF) | (place & 0xFF) << 8;
        expected[350 + place] = place * 3;
        for (const int kind : {10, 20, 30, 40}) {
            EXPECT_EQ((finished[{kind + place % Screens, i}]), 1) << kind << " " << place;
        }
    }
    EXPECT_EQ(finished.size(), 4U * Screens * Steps);
    for (const auto &[address, value] : expected) {
        EXPECT_EQ((plc.registers[{3, 1, address}]), value) << address;
    }
    // One more pass, and the image is the PLC.
    ReCreatReadVarList(&list);
    for (int i = 0; i < 20; ++i) {
        turn();
    }
    EXPECT_GT(givenUp, 0);
    const QByteArray seen = read(7, "0", 1, 400);
    for (int i = 0; i < 400; ++i) {
        EXPECT_EQ((seen.at(2 * i + 1) & 0xFF) << 8 | (seen.at(2 * i) & 0xFF), expected[i]) << i;
    }
}

TEST_F(Threads, AScreenSeesAReplyOrAWriteWholeOrNotAtAll) {
    constexpr int Turns = 3000;
    info.commMode = 1; // writes go straight to the image
    RW_VAR block = var(1, 7, 0, 60);
    AddListReadVar(&block);
    const auto patterned = [](int i) {
        return QByteArray(120, i % 2 == 0 ? '\x55' : '\xAA');
    };
    const auto watch = [](int station) {
        for (int i = 0; i < Turns; ++i) {
            const QByteArray seen = read(7, "0", station, 60);
            EXPECT_EQ(seen.count(seen.at(0)), 120);
        }
    };
    together({[&patterned] {
                  for (int i = 0; i < Turns; ++i) {
                      ComCommunication();
                      QByteArray reply = sealed(bytes("01 03 78") + patterned(i));
                      EXPECT_EQ(DataCom(&reply, reply.size())->result, 1);
                  }
              },
              [&patterned] {
                  QString address = "0";
                  for (int i = 0; i < Turns; ++i) {
                      QByteArray data = patterned(i);
                      EXPECT_EQ(SetRegisterData(nullptr, 7, &address, 2, &data, 60, 0, 0), 1);
                  }
              },
              [&watch] { watch(1); }, [&watch] { watch(2); },
              [] { // the areas grow under everyone's hands
                  for (int i = 0; i < Turns; ++i) {
                      EXPECT_EQ(read(7, QString::number(60 + i), 1 + i % 2, 1).size(), 2);
                  }
              }});
}

TEST_F(Threads, PiecesOfOneOneShotReadAreQueuedTogether) {
    info.blockLimit = 1;
    constexpr int Pieces = 100;
    std::vector<std::function<void()>> jobs;
    for (int number = 1; number <= 10; ++number) {
        jobs.emplace_back([this, number] {
            RW_VAR once = var(number, 7, 0, Pieces);
            AddListOnceReadVar(&once, 0);
        });
    }
    together(jobs);
    ASSERT_EQ(PLC_driver.onceReadList.size(), 10 * Pieces);
    for (int i = 0; i < 10 * Pieces; ++i) {
        EXPECT_EQ(PLC_driver.onceReadList[i].station,
                  PLC_driver.onceReadList[i - i % Pieces].station);
        EXPECT_EQ(PLC_driver.onceReadList[i].address, i % Pieces);
    }
}

} // namespace
