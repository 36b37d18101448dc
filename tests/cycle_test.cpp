// Whole turns: which request goes out next, what a reply does to it, and what the host is told.
#include "driver_fixture.h"

#include <cstring>

namespace {

constexpr const char *Register = "01 03 02 12 34 B5 33";   // one, of station 1
constexpr const char *Written = "01 10 00 00 00 01 01 C9"; // by station 1

class Cycle : public Driver {
protected:
    static void readCyclically(const Pieces &spans) {
        for (const Piece &span : spans) {
            RW_VAR var = variable(span);
            AddListReadVar(&var);
        }
    }

    // Fills the queues and the cyclic list with requests of one register each.
    void fill(int writes, int onceReads, int cyclicReads) {
        info.blockLimit = 1;
        write(7, "0", writes, {});
        queueRead(7, "0", onceReads);
        readCyclically(Pieces(static_cast<size_t>(cyclicReads), {1, 7, 0, 1}));
    }

    // Turns that are answered, a letter for each: a write, a one-shot read, a cyclic read, none.
    static std::string turns(size_t count) {
        std::string kinds;
        while (kinds.size() < count) {
            if (ask() == "nothing") {
                kinds += '-';
                continue;
            }
            kinds += "CWO"[PLC_driver.listKind];
            EXPECT_EQ(answer(PLC_driver.listKind == WriteQueue ? Written : Register), 1);
        }
        return kinds;
    }
};

TEST_F(Cycle, FiveWritesThenFiveOneShotReadsThenACyclicRead) {
    struct Row {
        const char *why;
        int writes, onceReads, cyclicReads;
        const char *turns;
    };
    const Row rows[] = {
        {"all wait", 12, 12, 2, "WWWWWOOOOOCWWWWWOOOOOCWWOOCC"},
        {"no one-shot reads", 12, 0, 2, "WWWWWCWWWWWCWWCC"},
        {"no writes", 0, 12, 2, "OOOOOCOOOOOCOOCC"},
        {"an idle turn in the place of a cyclic read", 12, 12, 0, "WWWWWOOOOO-WWWWWOOOOO-WWOO--"},
        {"nothing waits", 0, 0, 0, "--"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        restart();
        fill(row.writes, row.onceReads, row.cyclicReads);
        EXPECT_EQ(turns(std::strlen(row.turns)), row.turns);
    }
}

TEST_F(Cycle, WhatWaitsForAStationThatIsOffIsDroppedAtTheHeadWithoutAReport) {
    EnableEthernet(4, 0);
    info.blockLimit = 1;
    write(7, "0", 3, {}, 4);
    write(7, "3", 1, bytes("11 22"), 5, 8);
    write(7, "4", 1, {}, 4);
    queueRead(7, "0", 2, 4);
    queueRead(7, "0", 1, 5);
    EXPECT_EQ(ask(), "05 10 00 03 00 01 02 22 11 4C 0F");
    EXPECT_EQ(PLC_driver.writeList.size(), 2);
    answer("05 10 00 03 00 01 F0 4D");
    EXPECT_EQ(ask(), "05 03 00 00 00 01 85 8E");
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_EQ(PLC_driver.onceReadList.size(), 1);
    EXPECT_EQ(takeReports(), "owner 3 item 8 answered");
}

TEST_F(Cycle, ACyclicReadOfAStationThatIsOffIsPassedOver) {
    readCyclically({{4, 7, 0, 1}, {4, 7, 1, 1}, {5, 7, 0, 1}});
    EnableEthernet(4, 0);
    EXPECT_EQ(ask(), "05 03 00 00 00 01 85 8E");
    const Pieces turned{{5, 7, 0, 1}, {4, 7, 0, 1}, {4, 7, 1, 1}};
    EXPECT_EQ(piecesOf(PLC_driver.readList), turned);
    answer("05 03 02 12 34 44 F3");
    EnableEthernet(5, 0);
    EXPECT_EQ(ask(), "nothing");
    EXPECT_EQ(info.scanDone, 1);
    EnableEthernet(4, 1);
    EXPECT_EQ(ask(), "04 03 00 00 00 01 84 5F");
}

TEST_F(Cycle, CyclicReadsTakeTurnsWhetherAnsweredOrNot) {
    readCyclically({{1, 7, 0, 1}, {1, 7, 1, 1}, {1, 7, 2, 1}});
    EXPECT_EQ(ask(), "01 03 00 00 00 01 84 0A");
    EXPECT_EQ(PLC_driver.readList.first().result, -1);
    EXPECT_EQ(answer(Register), 1);
    EXPECT_EQ(PLC_driver.readList.last().result, 0);
    EXPECT_EQ(ask(), "01 03 00 01 00 01 D5 CA");
    EXPECT_EQ(noAnswer(), 44);
    EXPECT_EQ(takeReports(), "owner 3 failed");
    EXPECT_EQ(pieceOf(PLC_driver.currentVar), (Piece{1, 7, 1, 1}));
    EXPECT_EQ(ask(), "01 03 00 02 00 01 25 CA");
    EXPECT_EQ(answer(Register), 1);
    EXPECT_EQ(ask(), "01 03 00 00 00 01 84 0A");
}

TEST_F(Cycle, AReplyAfterARebuildIsStoredAndTurnsNothing) {
    readCyclically({{1, 7, 0, 1}});
    ask();
    QList<VARDEF> definitions{definition(1, 7, "80", 1), definition(1, 7, "800", 1)};
    ReCreatReadVarList(&definitions);
    EXPECT_EQ(answer(Register), 1);
    EXPECT_EQ(screen(7, "0", 1), "34 12");
    EXPECT_EQ(PLC_driver.readList.first().address, 80);
}

TEST_F(Cycle, ResultCodesTellTheFailureTheAreaAndTheOwner) {
    struct Row {
        const char *why;
        int portId, ownerId, station;
        const char *reply;
        int code;
    };
    const Row rows[] = {
        {"good", 1, 3, 1, Register, 1},
        {"of a station that is compared whole", 1, 3, 456, "C8 03 02 12 34 69 23", 14},
        {"of another station", 1, 0, 1, "02 03 02 12 34 F1 33", 11},
        {"a CRC in the wrong order", 1, 11, 1, "01 03 02 12 34 33 B5", 22},
        {"a CRC with a wrong high byte", 1, 11, 1, "01 03 02 12 34 B5 32", 22},
        {"no reply", 1, 3, 1, "", 44},
        {"an owner without an offset", 1, 12, 1, "", 41},
        {"a negative owner", 1, -1, 1, "", 41},
        {"broadcasts are not read without one", 1, 3, 0, "", 44},
        {"too long", 1, 0, 1, "01 03 02 12 34 00 F2 B7", 71},
        {"an exception", 1, 11, 1, "01 83 02 C0 F1", 82},
        {"good on the remote area", 2, 3, 1, Register, 100},
        {"of another station there", 2, 12, 1, "02 03 02 12 34 F1 33", 111},
        {"too long there", 2, 0, 1, "01 03 02 12 34 00 F2 B7", 171},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        restart();
        RW_VAR read = variable({row.station, 7, 0, 1});
        read.portId = row.portId;
        read.ownerId = row.ownerId;
        AddListOnceReadVar(&read, 1);
        ask();
        EXPECT_EQ(answer(row.reply), row.code);
        EXPECT_EQ(screen(7, "0", 1, row.station), row.code == 1 ? "34 12" : "00 00");
    }
}

TEST_F(Cycle, ASuccessIsReportedWithTheLastOfItsHostRequest) {
    info.blockLimit = 1;
    write(7, "0", 2, {});
    write(7, "9", 1, {}, 1, 8);
    queueRead(7, "0", 2);
    for (const char *report : {"", "owner 3 item 7 answered", "owner 3 item 8 answered", "",
                               "owner 3 item 7 answered"}) {
        turns(1);
        EXPECT_EQ(takeReports(), report);
    }
}

TEST_F(Cycle, AFailureIsReportedOnceForAllThatWaitsForItsHostRequest) {
    info.blockLimit = 1;
    write(7, "0", 3, {});
    write(7, "9", 1, {}, 1, 8);    // another item
    write(7, "9", 1, {}, 2);       // another station
    write(7, "8", 1, {}, 1, 7, 4); // another owner
    write(7, "7", 1, {});
    queueRead(7, "0", 1);
    ask();
    EXPECT_EQ(noAnswer(), 44);
    EXPECT_EQ(takeReports(), "owner 3 item 7 given up; owner 3 failed");
    const Pieces others{{1, 7, 9, 1, "00 00"}, {2, 7, 9, 1, "00 00"}, {1, 7, 8, 1, "00 00"}};
    EXPECT_EQ(piecesOf(PLC_driver.writeList), others);
    EXPECT_EQ(PLC_driver.onceReadList.size(), 1);
}

TEST_F(Cycle, WithOneStationForAllAFailureDropsWhateverTheStation) {
    for (const int station : {1, 2, 1}) {
        RW_VAR read = variable({station, 7, station, 1});
        AddListOnceReadVar(&read, 1);
    }
    info.useVarStation = 0;
    ask();
    noAnswer();
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
}

TEST_F(Cycle, AWriteOfTwoFramesEndsWithTheSecondOrWithAFailureOfEither) {
    write(1, "4.3", 1, bytes("01"));
    ask();
    EXPECT_EQ(answer(Register), 1);
    EXPECT_EQ(takeReports(), "");
    ask();
    EXPECT_EQ(answer(Written), 1);
    EXPECT_EQ(takeReports(), "owner 3 item 7 answered");
    for (const int answeredFrames : {0, 1}) {
        write(1, "4.3", 1, bytes("01"));
        ask();
        EXPECT_EQ(answeredFrames == 1 ? answer(Register) : 1, 1);
        EXPECT_EQ(noAnswer(), 44);
        EXPECT_EQ(takeReports(), "owner 3 item 7 given up; owner 3 failed");
        EXPECT_EQ(ask(), "nothing");
    }
}

TEST_F(Cycle, ARequestIsGivenUpAfterOneFailureMoreThanTheLimit) {
    info.retryLimit = 2;
    queueRead(7, "0", 1);
    const std::string request = ask();
    write(7, "5", 1, bytes("11 22"));
    for (const char *reply : {"", "01 83 02 C0 F1"}) {
        EXPECT_EQ(answer(reply), 0);
        EXPECT_EQ(ask(), request);
    }
    EXPECT_EQ(takeReports(), "");
    EXPECT_EQ(noAnswer(), 44);
    EXPECT_EQ(takeReports(), "owner 3 item 7 given up; owner 3 failed");
    EXPECT_EQ(std::tie(info.retryCount, PLC_driver.commFailed), std::tuple(0, true));
    EXPECT_EQ(ask(), "01 10 00 05 00 01 02 22 11 7E A9");
    EXPECT_EQ(noAnswer(), 0);
    EXPECT_EQ(answer(Written), 1);
    EXPECT_EQ(std::tie(info.retryCount, PLC_driver.commFailed), std::tuple(1, false));
}

TEST_F(Cycle, TheHostGetsTheVariableThatEndedWithoutItsValue) {
    EXPECT_EQ(DataCom(nullptr, 0)->result, 1); // nothing is in flight
    write(7, "5", 1, bytes("11 22"), 1, 8, 4);
    ask();
    answer(Written);
    RW_VAR expected{4, 8, 1, 0, 1, 1, "host", "5", 7, 5, 1, 1, 0, 0, ""};
    EXPECT_EQ(fieldsOf(PLC_driver.currentVar), fieldsOf(expected));
    queueRead(7, "6", 1);
    info.retryLimit = 1;
    ask();
    expected.result = DataCom(nullptr, 7)->result; // nothing, whatever its length
    EXPECT_EQ(expected.result, 0);
    EXPECT_EQ(fieldsOf(PLC_driver.currentVar), fieldsOf(expected));
    answer(Register);
    EXPECT_EQ(PLC_driver.currentVar.address, 6);
}

TEST_F(Cycle, AReportComesBeforeItsRequestIsGoneAndAFailureAfter) {
    info.blockLimit = 1;
    write(7, "0", 3, {});
    ask();
    noAnswer();
    EXPECT_EQ(atReport, std::pair(3, 0));
    EXPECT_EQ(atFailure, std::pair(2, 7));
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
}

TEST_F(Cycle, AHostWithoutCallbacksIsNotCalled) {
    RegistCallBackFuncIntf(nullptr, nullptr);
    fill(1, 1, 0);
    EXPECT_EQ(turns(1), "W");
    ask();
    EXPECT_EQ(noAnswer(), 44);
}

TEST_F(Cycle, WhatHasNoRequestNeverStopsThePolling) {
    readCyclically({{5, 9, 2, 1}, {5, 7, 0, 1}});
    RW_VAR unreadable = variable({5, 15, 0, 1});
    AddListOnceReadVar(&unreadable, 1);
    EXPECT_EQ(ask(), "05 03 00 00 00 01 85 8E");
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
    EXPECT_EQ(PLC_driver.readList.size(), 2);
}

// Requests that were queued for another port of the host.
TEST_F(Cycle, RepliesOfTheRemoteAreaAreStoredNowhereAndReportedForWritesAlone) {
    fill(1, 2, 3);
    info.portId = 2;
    ask();
    EXPECT_EQ(answer(Written), 100);
    EXPECT_EQ(takeReports(), "owner 3 item 7 answered");
    ask();
    EXPECT_EQ(answer(Register), 100);
    EXPECT_EQ(PLC_driver.passCount, 0);
    ask();
    EXPECT_EQ(noAnswer(), 144);
    EXPECT_EQ(takeReports(), "owner 3 failed");
}

TEST_F(Cycle, ABitOfTheRemoteAreaIsWrittenButAByteClearsItsRegister) {
    write(1, "4.3", 1, bytes("01"));
    write(4, "5", 1, bytes("AB 00"));
    info.portId = 2;
    ask();
    EXPECT_EQ(answer(Register), 1);
    EXPECT_EQ(ask(), "01 10 00 02 00 01 02 12 3C AB 03");
    EXPECT_EQ(answer(Written), 100);
    ask();
    EXPECT_EQ(answer(Register), 100);
    EXPECT_EQ(ask(), "01 10 00 02 00 01 02 00 00 A7 B2");
}

TEST_F(Cycle, TheScanIsDoneAfterMoreRepliesThanTheListHasEntries) {
    fill(0, 0, 2);
    turns(1);
    ask();
    noAnswer(); // a failure starts the pass anew
    write(1, "0.0", 1, {});
    ask();
    answer(Register); // half a write does not count
    EXPECT_EQ(turns(2), "WC");
    EXPECT_EQ(info.scanDone, 0);
    turns(1);
    EXPECT_EQ(info.scanDone, 1);
    turns(1);
    EXPECT_EQ(PLC_driver.passCount, 0);
    ask();
    noAnswer();
    EXPECT_EQ(info.scanDone, 0);
}

} // namespace
