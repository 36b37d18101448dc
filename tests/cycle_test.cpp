// Whole turns: which request goes out next, what a reply does to it, and what the host is told.
#include "driver_fixture.h"

#include "driver/replies.h"

#include <cstring>

namespace {

// A queued variable with its host identifiers.
RW_VAR owned(RW_VAR var, int ownerId, int itemId) {
    var.ownerId = ownerId;
    var.itemId = itemId;
    return var;
}

class Cycle : public Driver {
protected:
    // Hands in a reply to the pending request and returns the result code.
    static int deliver(QByteArray reply) { return DataCom(&reply, reply.size())->result; }

    // The lists that the next requests come from, every request answered: W, O, C or - for none.
    std::string sources(int turns) {
        std::string letters;
        for (; turns > 0; --turns) {
            letters += exchange() ? "CWO"[PLC_driver.listKind] : '-';
        }
        return letters;
    }

    // `size` different records in front of the line.
    void fill(QList<RW_VAR> &list, int size) {
        for (int i = 0; i < size; ++i) {
            list << owned(var(1, 7, i, 1, &list == &PLC_driver.writeList ? "11 22" : ""), 1, i);
        }
    }
};

TEST_F(Cycle, WritesThenOneShotReadsThenCyclicReads) {
    const struct {
        int writes, reads, cyclic;
        const char *sources;
    } rows[] = {{12, 12, 2, "WWWWWOOOOOCWWWWWOOOOOCWWOOCCC"},
                {12, 0, 2, "WWWWWCWWWWWCWWCC"},
                {0, 12, 2, "OOOOOCOOOOOCOOCC"},
                {12, 0, 0, "WWWWW-WWWWW-WW--"},
                {6, 6, 0, "WWWWWOOOOO-WO--"},
                {5, 5, 1, "WWWWWOOOOOC"},
                {0, 0, 0, "--"}};
    for (const auto &row : rows) {
        reset();
        fill(PLC_driver.writeList, row.writes);
        fill(PLC_driver.onceReadList, row.reads);
        fill(PLC_driver.readList, row.cyclic);
        EXPECT_EQ(sources(static_cast<int>(std::strlen(row.sources))), row.sources);
        EXPECT_TRUE(PLC_driver.writeList.isEmpty() && PLC_driver.onceReadList.isEmpty());
    }
    EXPECT_EQ(info.scanDone, 1);
}

TEST_F(Cycle, NothingToSendEndsTheBurst) {
    PLC_driver.writeBurst = PLC_driver.onceBurst = 5;
    fill(PLC_driver.writeList, 1);
    EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_TRUE(PLC_driver.writeBurst == 0 && PLC_driver.onceBurst == 0 && info.scanDone == 1);
    EXPECT_EQ(PLC_driver.listKind, NoList);
    PLC_driver.writeBurst = 4; // the fifth
    EXPECT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(PLC_driver.writeBurst, 5);
}

TEST_F(Cycle, APendingRequestComesBackUnchanged) {
    fill(PLC_driver.onceReadList, 2);
    Protocol *request = ComCommunication();
    fill(PLC_driver.writeList, 3);
    info.scanDone = 0;
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(ComCommunication(), request);
    }
    EXPECT_EQ(hex(request->frame.left(2)), "01 03");
    EXPECT_TRUE(PLC_driver.onceBurst == 1 && PLC_driver.writeBurst == 0 && info.scanDone == 0);
    EXPECT_TRUE(PLC_driver.onceReadList.size() == 2 && PLC_driver.requestList.size() == 1);
    EXPECT_EQ(PLC_driver.listKind, OnceReadQueue);
}

TEST_F(Cycle, DisabledAndUnreadableEntriesArePassedOver) {
    EnableEthernet(4, 0);
    const RW_VAR off = var(4, 7, 0, 1, "11 22");
    const RW_VAR on = var(5, 7, 0, 1, "11 22");
    const RW_VAR bad = var(5, 9, 0, 1);
    const struct {
        QList<RW_VAR> writes, reads, cyclic;
        int remoteMode;
        const char *sent; // station of the request, "" for none
        const char *writesAfter, *readsAfter, *cyclicAfter;
    } rows[] = {
        {{off, off, off, on}, {}, {}, 0, "5", "5/7:0+1=1122", "", ""},
        {{off, off}, {off, on}, {}, 0, "5", "", "5/7:0+1=1122", ""},
        {{off}, {off}, {off, on}, 0, "5", "", "", "5/7:0+1=1122 4/7:0+1=1122"},
        {{}, {}, {off, off, bad}, 0, "", "", "", "4/7:0+1=1122 4/7:0+1=1122 5/9:0+1"},
        {{}, {}, {bad, off, on}, 0, "5", "", "", "5/7:0+1=1122 5/9:0+1 4/7:0+1=1122"},
        {{}, {bad, bad, on}, {}, 0, "5", "", "5/7:0+1=1122", ""},
        {{}, {bad}, {bad}, 0, "", "", "", "5/9:0+1"},
        {{}, {bad}, {}, 1, "5", "", "5/9:0+1", ""},
        {{}, {}, {off, bad}, 1, "5", "", "", "5/9:0+1 4/7:0+1=1122"},
    };
    for (const auto &row : rows) {
        reset();
        EnableEthernet(4, 0);
        info.remoteMode = row.remoteMode;
        PLC_driver.writeList = row.writes;
        PLC_driver.onceReadList = row.reads;
        PLC_driver.readList = row.cyclic;
        const Protocol *request = ComCommunication();
        EXPECT_EQ(request == nullptr ? "" : std::to_string(request->var.station), row.sent);
        EXPECT_EQ(text(PLC_driver.writeList), row.writesAfter);
        EXPECT_EQ(text(PLC_driver.onceReadList), row.readsAfter);
        EXPECT_EQ(text(PLC_driver.readList), row.cyclicAfter);
        EXPECT_EQ(PLC_driver.writeBurst + PLC_driver.onceBurst,
                  request != nullptr && PLC_driver.listKind != CyclicList ? 1 : 0);
        EXPECT_EQ(info.scanDone, request == nullptr ? 1 : 0);
        for (const RW_VAR &entry : PLC_driver.readList) {
            const bool sent = &entry == &PLC_driver.readList.first() && request != nullptr;
            EXPECT_EQ(entry.result, sent && row.remoteMode == 0 ? -1 : 0);
        }
        EXPECT_TRUE(reports.empty());
        const int cyclicSize = PLC_driver.readList.size();
        EnableEthernet(4, 1);
        EXPECT_EQ(PLC_driver.readList.size(), cyclicSize);
    }
}

TEST_F(Cycle, TheHeadIsMarkedInTheDriversOwnList) {
    fill(PLC_driver.readList, 2);
    const QList<RW_VAR> shared = PLC_driver.readList;
    const Protocol *request = ComCommunication();
    EXPECT_EQ(shared.first().result, 0);
    EXPECT_EQ(PLC_driver.readList.first().result, -1);
    EXPECT_EQ(request->var.result, 0);
    EXPECT_EQ(PLC_driver.listKind, CyclicList);
    EXPECT_EQ(deliver(sealed("01 03 02 12 34")), 1);
    EXPECT_EQ(text(PLC_driver.readList), "1/7:1+1 1/7:0+1");
    EXPECT_EQ(PLC_driver.readList.last().result, 0);
    EXPECT_EQ(text(shared), "1/7:0+1 1/7:1+1");
}

TEST_F(Cycle, RemoteModeReadsTheSameHeadAgain) {
    info.remoteMode = 1;
    fill(PLC_driver.readList, 2);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(hex(ComCommunication()->frame.left(11)), "16 01 00 01 01 00 07 00 00 00 00");
        EXPECT_EQ(PLC_driver.readList.first().result, 0);
        EXPECT_EQ(deliver(sealed("01 03 02 12 34")), 1);
    }
    EXPECT_EQ(text(PLC_driver.readList), "1/7:0+1 1/7:1+1");
    EXPECT_EQ(image(1, 7), "34 12");
    PLC_driver.writeList = {var(1, 1, 9, 1, "01")};
    EXPECT_EQ(ComCommunication()->frameLength, 23); // one frame, no read before it
    EXPECT_EQ(PLC_driver.requestList.size(), 1);
}

TEST_F(Cycle, ResultCodes) {
    const struct {
        int portId, ownerId, station, isWrite;
        QByteArray reply;
        int code;
    } rows[] = {{1, 3, 1, 0, "", 44},
                {1, 12, 1, 0, "", 41},
                {1, -1, 1, 0, "", 41},
                {1, 11, 1, 0, bytes("01 83 02 C0 F1"), 82},
                {1, 0, 1, 0, sealed("01 03 02 12 34 00"), 71},
                {1, 0, 2, 0, sealed("01 03 02 12 34"), 11},
                {1, 11, 1, 0, bytes("01 03 02 12 34 33 B5"), 22},
                {1, 3, 1, 0, sealed("01 03 02 12 34"), 1},
                {1, 3, 1, 1, sealed("01 10 00 00 00 01"), 1},
                {1, 3, 0, 1, "", 1}, // broadcast: nothing to wait for
                {1, 3, 0, 1, bytes("01"), 74},
                {1, 3, 0, 0, "", 44},                 // a read still expects its reply
                {1, 3, 0, 0, QByteArray(7, '\0'), 1}, // and stores nothing
                {2, 3, 1, 0, "", 144},
                {2, 0, 1, 0, sealed("01 03 02 12 34 00"), 171},
                {2, 12, 1, 0, sealed("02 03 02 12 34"), 111},
                {2, 11, 1, 0, sealed("02 03 02 12 34"), 122},
                {2, 3, 1, 0, sealed("01 03 02 12 34"), 100},
                {2, 3, 1, 1, sealed("01 10 00 00 00 01"), 100}};
    for (const auto &row : rows) {
        for (const bool direct : {true, false}) {
            SCOPED_TRACE(std::to_string(row.code) + ": " + hex(row.reply));
            reset();
            RW_VAR asked = owned(var(row.station, 7, 0, 1, "11 22"), row.ownerId, 5);
            asked.portId = row.portId;
            asked.isWrite = row.isWrite;
            (row.isWrite == 1 ? PLC_driver.writeList : PLC_driver.onceReadList) = {asked};
            ASSERT_NE(ComCommunication(), nullptr);
            DataStorage.clear();
            QByteArray reply = row.reply;
            const auto judge = row.portId == 1 ? DealDataOfLocalArea : DealDataOfRemoteArea;
            EXPECT_EQ(direct ? judge(&reply, reply.size()) : deliver(reply), row.code);
            EXPECT_EQ(DataStorage.isEmpty(), row.code != 1 || row.isWrite == 1 || row.station == 0);
        }
        EXPECT_TRUE(PLC_driver.requestList.isEmpty() && PLC_driver.writeList.isEmpty() &&
                    PLC_driver.onceReadList.isEmpty());
        EXPECT_EQ(PLC_driver.commFailed, row.code != 1 && row.code != 100);
    }
}

TEST_F(Cycle, AnyLengthAndNoReplyAtAll) {
    fill(PLC_driver.readList, 1);
    ComCommunication();
    PLC_driver.requestList.first().replyLength = -1;
    EXPECT_EQ(deliver(sealed("01 03 04 12 34 56 78")), 1);
    ComCommunication();
    EXPECT_EQ(DataCom(nullptr, 0)->result, 41 + 1);
}

TEST_F(Cycle, NoRequestPending) {
    fill(PLC_driver.writeList, 1);
    PLC_driver.currentVar = owned(var(7, 7, 7, 7), 7, 7);
    PLC_driver.currentVar.result = 44;
    QByteArray reply = sealed("01 03 02 12 34");
    EXPECT_EQ(DataCom(&reply, reply.size()), &PLC_driver.currentVar);
    EXPECT_EQ(PLC_driver.currentVar.result, 1);
    EXPECT_EQ(text(PLC_driver.currentVar), "7/7:7+7");
    EXPECT_TRUE(reports.empty() && DataStorage.isEmpty() && PLC_driver.writeList.size() == 1);
    EXPECT_TRUE(info.frameIndex == 0 && PLC_driver.passCount == 0 && info.retryCount == 0);
}

TEST_F(Cycle, RetriesUpToTheLimitThenGivesUp) {
    info.retryLimit = 2;
    fill(PLC_driver.onceReadList, 1);
    PLC_driver.currentVar.itemId = 99;
    info.scanDone = 1;
    PLC_driver.passCount = 3;
    DataStorage[1][7] = bytes("11 22");
    const Protocol *request = ComCommunication();
    for (const char *bad : {"", "01 83 02 C0 F1"}) {
        EXPECT_EQ(deliver(bytes(bad)), 0);
        EXPECT_EQ(ComCommunication(), request);
        EXPECT_TRUE(!PLC_driver.commFailed && info.scanDone == 1 && PLC_driver.passCount == 3);
        EXPECT_TRUE(PLC_driver.currentVar.itemId == 99 && reports.empty());
    }
    EXPECT_EQ(info.retryCount, 2);
    EXPECT_EQ(deliver(""), 42);
    EXPECT_EQ(info.retryCount, 0);
    EXPECT_TRUE(PLC_driver.commFailed && info.scanDone == 0 && PLC_driver.passCount == 0);
    EXPECT_TRUE(PLC_driver.requestList.isEmpty() && PLC_driver.onceReadList.isEmpty());
    EXPECT_EQ(image(1, 7), "11 22");
    EXPECT_EQ(reports, (std::vector<std::string>{"finish 1/0 2, lists 0 1 0, last 99",
                                                 "fail 1 1, lists 0 0 0, last 0"}));
    info.retryCount = 1; // a good reply leaves it to the host
    fill(PLC_driver.readList, 1);
    EXPECT_TRUE(exchange());
    EXPECT_EQ(info.retryCount, 1);
    EXPECT_FALSE(PLC_driver.commFailed);
}

TEST_F(Cycle, ReportsAndDuplicates) {
    const struct {
        bool write, local, good, ownStation, four; // four: two more like the head, one other
        std::vector<std::string> reports;
        const char *left;
    } rows[] = {
        {true, true, true, true, false, {"finish 3/7 1, lists 1 0 0, last 99"}, ""},
        {false, true, true, true, false, {"finish 3/7 1, lists 0 1 0, last 99"}, ""},
        {true, false, true, true, false, {"finish 3/7 1, lists 1 0 0, last 99"}, ""},
        {false, false, true, true, false, {}, ""},
        {true, true, true, true, true, {}, "1/7:1+1 2/7:2+1 1/7:3+1"},
        {false, true, true, true, true, {}, "1/7:1+1 2/7:2+1 1/7:3+1"},
        {true,
         true,
         false,
         false,
         true,
         {"finish 3/7 2, lists 4 0 0, last 99", "fail 3 1, lists 3 0 0, last 7"},
         "1/7:3+1"},
        {true,
         true,
         false,
         true,
         true,
         {"finish 3/7 2, lists 4 0 0, last 99", "fail 3 1, lists 3 0 0, last 7"},
         "2/7:2+1 1/7:3+1"},
        {false,
         true,
         false,
         false,
         true,
         {"finish 3/7 2, lists 0 4 0, last 99", "fail 3 1, lists 0 3 0, last 7"},
         "1/7:3+1"},
        {false,
         true,
         false,
         true,
         true,
         {"finish 3/7 2, lists 0 4 0, last 99", "fail 3 1, lists 0 3 0, last 7"},
         "2/7:2+1 1/7:3+1"},
        {false, false, false, false, true, {"fail 3 1, lists 0 3 0, last 7"}, "1/7:3+1"},
        {true,
         true,
         false,
         true,
         false,
         {"finish 3/7 2, lists 1 0 0, last 99", "fail 3 1, lists 0 0 0, last 7"},
         ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(&row - rows);
        reset();
        info.useVarStation = row.ownStation ? 1 : 0;
        PLC_driver.currentVar.itemId = 99;
        QList<RW_VAR> &queue = row.write ? PLC_driver.writeList : PLC_driver.onceReadList;
        queue = {owned(var(1, 7, 0, 1), 3, 7)};
        if (row.four) {
            queue << owned(var(1, 7, 1, 1), 3, 7) << owned(var(2, 7, 2, 1), 3, 7)
                  << owned(var(1, 7, 3, 1), row.write ? 3 : 4, row.write ? 8 : 7);
        }
        queue[0].portId = row.local ? 1 : 2;
        queue[0].value = "x";
        queue[0].isWrite = row.write ? 1 : 0;
        const Protocol *request = ComCommunication();
        const QByteArray reply = row.good ? plc.answer(request->frame) : QByteArray();
        deliver(reply);
        EXPECT_EQ(reports, row.reports);
        EXPECT_EQ(text(queue), row.left);
        EXPECT_EQ(text(PLC_driver.currentVar), "1/7:0+1"); // its value is emptied
        EXPECT_TRUE(PLC_driver.currentVar.ownerId == 3 && PLC_driver.currentVar.itemId == 7);
    }
}

TEST_F(Cycle, TheLastOfTwinsReports) {
    PLC_driver.onceReadList = {owned(var(1, 7, 0, 1), 3, 7), owned(var(1, 7, 1, 1), 3, 7)};
    EXPECT_TRUE(exchange());
    EXPECT_TRUE(reports.empty());
    EXPECT_TRUE(exchange());
    EXPECT_EQ(reports, std::vector<std::string>{"finish 3/7 1, lists 0 1 0, last 7"});
}

TEST_F(Cycle, WithoutCallbacksNothingIsCalled) {
    RegistCallBackFuncIntf(nullptr, nullptr);
    fill(PLC_driver.writeList, 2);
    EXPECT_TRUE(exchange());
    ComCommunication();
    EXPECT_EQ(deliver(""), 42);
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
}

TEST_F(Cycle, ABitWriteTakesTwoTurns) {
    plc.registers[{3, 1, 2}] = 0x1234;
    PLC_driver.currentVar.itemId = 99;
    write(1, "4.3", 1, bytes("01"), 1, 3, 7); // bit 35: register 2, bit 3
    EXPECT_TRUE(exchange());
    EXPECT_TRUE(PLC_driver.currentVar.result == 1 && PLC_driver.currentVar.itemId == 99);
    EXPECT_TRUE(reports.empty());
    EXPECT_TRUE(info.frameIndex == 1 && info.frameCount == 2);
    EXPECT_EQ(hex(ComCommunication()->frame), "01 10 00 02 00 01 02 12 3C AB 03");
    EXPECT_EQ(text(PLC_driver.writeList), "1/1:35+1=01");
    EXPECT_TRUE(exchange());
    EXPECT_EQ((plc.registers[{3, 1, 2}]), 0x123C);
    EXPECT_EQ(reports, std::vector<std::string>{"finish 3/7 1, lists 1 0 0, last 99"});
    EXPECT_TRUE(PLC_driver.writeList.isEmpty() && PLC_driver.currentVar.itemId == 7);
    EXPECT_EQ(image(1, 7), "00 00 00 00 08"); // the bit itself, not what the read brought
}

TEST_F(Cycle, GivingUpHalfABitWriteDropsBothFrames) {
    for (const int goodReplies : {0, 1}) {
        reset();
        PLC_driver.writeList = {owned(var(1, 1, 35, 1, "01"), 3, 7), owned(var(1, 1, 36, 1), 3, 8)};
        for (int i = 0; i < goodReplies; ++i) {
            EXPECT_TRUE(exchange());
        }
        ComCommunication();
        EXPECT_EQ(deliver(""), 44);
        EXPECT_TRUE(PLC_driver.requestList.isEmpty());
        EXPECT_EQ(text(PLC_driver.writeList), "1/1:36+1");
        EXPECT_EQ(reports.size(), 2U);
        DataStorage.clear();
        EXPECT_EQ(ComCommunication()->var.saveMode, -1); // the next one starts with its read
        EXPECT_TRUE(DataStorage.isEmpty());              // not mirrored while nothing answers
        EXPECT_EQ(info.frameIndex, 0);
    }
}

TEST_F(Cycle, RemoteAreaBitsArePatchedAndBytesAreNot) {
    const std::pair<int, const char *> rows[] = {{1, "12 3C"}, {4, "00 00"}};
    for (const auto &[type, data] : rows) {
        reset();
        PLC_driver.writeList = {var(1, type, type == 1 ? 35 : 5, 1, "01")};
        PLC_driver.writeList[0].portId = 2;
        ComCommunication();
        DataStorage.clear();
        EXPECT_EQ(deliver(sealed("01 03 02 12 34")), type == 1 ? 1 : 100);
        EXPECT_EQ(hex(ComCommunication()->frame.mid(7, 2)), data);
        EXPECT_TRUE(DataStorage.isEmpty());
        EXPECT_EQ(deliver(sealed("01 10 00 02 00 01")), 100);
    }
    RW_VAR read = var(1, 7, 0, 1);
    read.portId = 2;
    read.saveMode = -1;
    PLC_driver.onceReadList = {read};
    ComCommunication();
    info.frameIndex = 1;
    EXPECT_EQ(deliver(sealed("01 03 02 12 34")), 100);
}

TEST_F(Cycle, AGivenUpCyclicReadGoesToTheEnd) {
    fill(PLC_driver.readList, 2);
    ComCommunication();
    EXPECT_EQ(deliver(""), 42);
    EXPECT_EQ(text(PLC_driver.readList), "1/7:1+1 1/7:0+1");
    EXPECT_EQ(PLC_driver.readList.last().result, 0);
    EXPECT_EQ(reports, std::vector<std::string>{"fail 1 1, lists 0 0 0, last 0"});
    ComCommunication();
    PLC_driver.readList.first().result = 0; // rebuilt meanwhile
    EXPECT_EQ(deliver(sealed("01 03 02 12 34")), 1);
    EXPECT_EQ(text(PLC_driver.readList), "1/7:1+1 1/7:0+1");
    EXPECT_EQ(PLC_driver.currentVar.itemId, 0);
    ComCommunication();
    PLC_driver.readList.clear();
    EXPECT_EQ(deliver(sealed("01 03 02 12 34")), 1);
}

TEST_F(Cycle, TheScanIsDoneAfterMoreRepliesThanEntries) {
    QList<VARDEF> definitions{definition(1, 7, "0", 1), definition(1, 7, "200", 1),
                              definition(1, 7, "400", 1)};
    EXPECT_EQ(ReCreatReadVarList(&definitions), 3);
    for (const int done : {0, 0, 0, 1, 1}) {
        EXPECT_TRUE(exchange());
        EXPECT_EQ(info.scanDone, done);
    }
    EXPECT_EQ(PLC_driver.passCount, 0); // nothing is counted once it is done
    info.scanDone = 0;
    PLC_driver.onceReadList = {var(1, 7, 0, 1)};
    EXPECT_TRUE(exchange());
    EXPECT_EQ(PLC_driver.passCount, 1); // one-shot reads count too
    PLC_driver.onceReadList = {var(1, 7, 0, 1)};
    PLC_driver.onceReadList[0].portId = 2;
    EXPECT_TRUE(exchange());
    EXPECT_EQ(PLC_driver.passCount, 1); // those of other ports do not
    ComCommunication();
    deliver("");
    EXPECT_TRUE(PLC_driver.passCount == 0 && info.scanDone == 0);
}

TEST_F(Cycle, AReadFromDefinitionToScreen) {
    QList<VARDEF> definitions{definition(1, 7, "10", 2)};
    EXPECT_EQ(ReCreatReadVarList(&definitions), 1);
    plc.registers[{3, 1, 10}] = 0x1234;
    plc.registers[{3, 1, 11}] = 0x5678;
    EXPECT_TRUE(exchange());
    EXPECT_EQ(PLC_driver.currentVar.result, 1);
    QByteArray answer;
    EXPECT_EQ(GetRegisterData(nullptr, 7, "10", 1, &answer, 2), 1);
    EXPECT_EQ(hex(answer), "34 12 78 56");
}

TEST_F(Cycle, TheSecondFrameStaysWhereItIs) {
    PLC_driver.writeList = {var(1, 1, 35, 1, "01")};
    ComCommunication();
    const Protocol *second = &PLC_driver.requestList.at(1);
    EXPECT_EQ(deliver(sealed("01 03 02 12 34")), 1);
    EXPECT_EQ(ComCommunication(), second);
    EXPECT_EQ(second->replyLength, 8);
}

} // namespace
