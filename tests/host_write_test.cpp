// The host's write entry: how a value becomes queued writes, and when screens see it.
#include "driver_fixture.h"

#include <algorithm>
#include <climits>
#include <thread>

namespace {

class HostWrite : public Driver {
protected:
    static int queueLength() {
        const QMutexLocker lists(&PLC_driver.listMutex); // writeList, against the screen
        return PLC_driver.writeList.size();
    }

    // Fills the write queue with values of registers 0 to `entries` - 1.
    void fillQueue(int entries) {
        info.blockLimit = 1;
        EXPECT_EQ(write(7, "0", entries, {}), entries);
    }

    // Runs `meanwhile` when a screen's write, on a thread of its own, has queued its first piece
    // and is about to show it. The line has failed, so that it does.
    template <typename Write, typename Meanwhile>
    static void interruptAfterFirstPiece(Write write, Meanwhile meanwhile) {
        const int before = queueLength();
        PLC_driver.imageMutex.lock();
        std::thread screen(write);
        while (queueLength() == before) {
            std::this_thread::yield();
        }
        meanwhile();
        PLC_driver.imageMutex.unlock();
        screen.join();
    }
};

TEST_F(HostWrite, WordsAreCutAtTheBlockLimit) {
    info.blockLimit = 2;
    EXPECT_EQ(write(7, "10", 3, bytes("00 01 02 03 04 05")), 2);
    EXPECT_EQ(write(8, "20", 2, bytes("00 01 02 03 EE")), 3); // more data than the count covers
    EXPECT_EQ(write(7, "30", 2, bytes("11")), 4);             // missing data are zero
    const Pieces expected{{1, 7, 10, 2, "00 01 02 03"},
                          {1, 7, 12, 1, "04 05"},
                          {1, 8, 20, 2, "00 01 02 03"},
                          {1, 7, 30, 2, "11 00 00 00"}};
    EXPECT_EQ(piecesOf(PLC_driver.writeList), expected);
}

TEST_F(HostWrite, EveryBitAndByteIsARecordOfItsOwnWhateverTheLimit) {
    info.blockLimit = 0;
    EXPECT_EQ(write(1, "2.6", 3, bytes("00 05")), 3);
    EXPECT_EQ(write(5, "7", 2, bytes("11 22 33 44")), 5); // the first of two bytes
    const Pieces expected{{1, 1, 22, 1, "00"},
                          {1, 1, 23, 1, "01"},
                          {1, 1, 24, 1, "00"},
                          {1, 5, 7, 1, "11"},
                          {1, 5, 8, 1, "33"}};
    EXPECT_EQ(piecesOf(PLC_driver.writeList), expected);
}

TEST_F(HostWrite, WideValuesAreCountedInRegistersAndCutInValues) {
    info.blockLimit = 1;
    EXPECT_EQ(write(11, "3", 3, bytes("00 01 02 03 04 05")), 2);
    EXPECT_EQ(write(14, "5", 5, bytes("00 01 02 03 04 05 06 07 08")), 4);
    const Pieces expected{{1, 11, 3, 1, "00 01 02 03"},
                          {1, 11, 4, 1, "04 05 00 00"},
                          {1, 14, 5, 1, "00 01 02 03 04 05 06 07"},
                          {1, 14, 6, 1, "08 00 00 00 00 00 00 00"}};
    EXPECT_EQ(piecesOf(PLC_driver.writeList), expected);
}

TEST_F(HostWrite, WhatCannotBeWrittenIsRefusedAndQueuesNothing) {
    struct Row {
        const char *why;
        int regType;
        const char *address;
        int blockLimit, count;
    };
    const Row rows[] = {
        {"input bits", 0, "0.0", 9, 1},
        {"64-bit input values", 12, "0", 9, 4},
        {"an unknown type", 15, "0", 9, 1},
        {"a negative type", -1, "0", 9, 1},
        {"no address", 7, "x", 9, 1},
        {"no words", 7, "0", 9, 0},
        {"less than no bytes", 4, "0", 9, -1},
        {"words without a block limit", 7, "0", 0, 1},
        {"64-bit values with a negative block limit", 13, "0", -1, 4},
        {"more bits than records", 1, "0.0", 9, 65537},
        {"words for one record too many", 7, "0", 2, 131073},
        {"words of more than 16 MiB", 7, "0", INT_MAX, 8388609},
        {"64-bit values of more than any int", 13, "0", INT_MAX, INT_MAX},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        info.blockLimit = row.blockLimit;
        EXPECT_EQ(write(row.regType, row.address, row.count, bytes("01")), 0);
        EXPECT_EQ(queueLength(), 0);
    }
}

TEST_F(HostWrite, AsMuchAsIsNotRefusedIsQueuedWhileThereIsRoom) {
    EXPECT_EQ(write(1, "0.0", 65536, {}), 1024);
    PLC_driver.writeList.clear();
    info.blockLimit = INT_MAX;
    EXPECT_EQ(write(7, "0", 8388608, {}), 1); // 16 MiB
}

TEST_F(HostWrite, ARecordCarriesWhatTheHostSaid) {
    info.remoteMode = 6;
    write(7, "10", 1, bytes("34 12"), 4, 8, 5);
    const RW_VAR expected{5, 8, 1, 6, 1, 0, "host", "10", 7, 10, 4, 1, 0, 0, bytes("34 12")};
    EXPECT_EQ(fieldsOf(PLC_driver.writeList.last()), fieldsOf(expected));
    QString address = "11";
    QByteArray value;
    SetRegisterData(nullptr, 7, &address, 4, &value, 1, 5, 8);
    EXPECT_EQ(PLC_driver.writeList.last().hostText, "");
}

TEST_F(HostWrite, TheDefaultStationReplacesThatOfTheValue) {
    info.useVarStation = 0;
    write(7, "10", 1, bytes("34 12"), 4);
    info.defaultStation = 0; // a broadcast
    write(7, "10", 1, bytes("34 12"), 4);
    const Pieces expected{{9, 7, 10, 1, "34 12"}, {0, 7, 10, 1, "34 12"}};
    EXPECT_EQ(piecesOf(PLC_driver.writeList), expected);
}

TEST_F(HostWrite, AFullQueueTakesWhatReplacesAWaitingWriteAndDropsTheRest) {
    fillQueue(1024);
    EXPECT_EQ(write(7, "1022", 3, bytes("55 55 66 66 77 77")), 1024);
    const Pieces expected{{1, 7, 1022, 1, "55 55"}, {1, 7, 1023, 1, "66 66"}};
    EXPECT_EQ(piecesOf(PLC_driver.writeList.mid(1022)), expected);
}

TEST_F(HostWrite, ScreensSeeWhatIsQueuedOrDroppedAtOnceOnlyWhileTheLineHasFailed) {
    write(7, "1500", 1, bytes("11 22"));
    EXPECT_EQ(screen(7, "1500", 1), "00 00");
    failTheLine();
    write(1, "1.6", 3, bytes("01 00 80"));
    EXPECT_EQ(screen(7, "0", 2), "00 40 01 00");
    fillQueue(1024);
    write(7, "1500", 2, bytes("11 22 33 44"));
    EXPECT_EQ(queueLength(), 1024);
    EXPECT_EQ(screen(7, "1500", 2), "11 22 33 44");
}

TEST_F(HostWrite, APieceFindsTheRoomThatTheLineHasMadeMeanwhile) {
    failTheLine();
    fillQueue(1023);
    const auto value = [] {
        write(7, "5000", 3, bytes("01 00 02 00 03 00"));
    };
    interruptAfterFirstPiece(value, [] {
        EXPECT_EQ(queueLength(), 1024);
        EXPECT_EQ(ask(), "01 10 00 00 00 01 02 00 00 A6 50");
        EXPECT_EQ(answer("01 10 00 00 00 01 01 C9"), 1);
    });
    const Pieces expected{{1, 7, 5000, 1, "01 00"}, {1, 7, 5001, 1, "02 00"}};
    EXPECT_EQ(piecesOf(PLC_driver.writeList.mid(1022)), expected);
}

TEST_F(HostWrite, TheDataAreTheHostsAgainAsSoonAsTheFirstPieceIsQueued) {
    failTheLine();
    info.blockLimit = 1;
    QByteArray data = bytes("11 11 22 22");
    char *held = data.data();
    interruptAfterFirstPiece([&data] { write(7, "0", 2, data); },
                             [held] { std::fill_n(held, 4, '\xEE'); });
    const Pieces expected{{1, 7, 0, 1, "11 11"}, {1, 7, 1, 1, "22 22"}};
    EXPECT_EQ(piecesOf(PLC_driver.writeList), expected);
}

TEST_F(HostWrite, WithoutAPlcAValueGoesIntoTheImageAlone) {
    struct Row {
        const char *why;
        int commMode, regType, count;
        const char *data, *shown; // the bytes of area 7
    };
    const Row rows[] = {
        {"words, and data left over", 1, 7, 2, "11 22 33 44 55", "11 22 33 44"},
        {"bytes follow one another", 1, 4, 2, "11 22 33 44", "11 22"},
        {"a 32-bit value is counted in registers", 0, 10, 2, "11 22 33 44 55", "11 22 33 44"},
        {"missing data are zero", 3, 13, 1, "11", "11 00 00 00 00 00 00 00"},
        {"the input area stays as it is", 1, 6, 1, "11 22", ""},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        restart();
        info.commMode = row.commMode;
        EXPECT_EQ(write(row.regType, "0", row.count, bytes(row.data)), 1);
        EXPECT_EQ(hex(DataStorage[1][7]), row.shown);
        EXPECT_EQ(queueLength(), 0);
    }
    EXPECT_EQ(write(7, "x", 1, bytes("11 22")), 0);
}

} // namespace
