// Whole turns: which request goes out next, what a reply does to it, and what the host is told.
#include "driver_fixture.h"

#include "driver/replies.h"

namespace {

TEST_F(Driver, WritesThenOneShotReadsThenCyclicReads) {
    // writes, one-shot reads and cyclic reads waiting; where the requests come from, - for none
    for (const Row &row : table(R"(12 12 2 WWWWWOOOOOCWWWWWOOOOOCWWOOCCC; 12 0 2 WWWWWCWWWWWCWWCC
             0 12 2 OOOOOCOOOOOCOOCC; 12 0 0 WWWWW-WWWWW-WW--; 6 6 0 WWWWWOOOOO-WO--
             0 6 0 OOOOO-O-; 5 5 1 WWWWWOOOOOC; 0 0 0 --)")) {
        reset();
        QList<RW_VAR> *const lists[] = {&PLC_driver.writeList, &PLC_driver.onceReadList,
                                        &PLC_driver.readList};
        for (int kind = 0; kind < 3; ++kind) {
            for (int i = 0; i < row.number(kind); ++i) {
                *lists[kind] << var(QString("1/7:%1+1").arg(i));
            }
        }
        std::string sources;
        while (sources.size() < row.text(3).size()) {
            sources += exchange() ? "CWO"[PLC_driver.listKind] : '-';
        }
        EXPECT_EQ(sources, row.text(3));
        EXPECT_TRUE(PLC_driver.writeList.isEmpty() && PLC_driver.onceReadList.isEmpty());
    }
    EXPECT_TRUE(info.scanDone == 1 && PLC_driver.listKind == NoList);
}

TEST_F(Driver, APendingRequestComesBackUnchanged) {
    PLC_driver.onceReadList = vars("1/7:0+1 1/7:1+1");
    Protocol *request = ComCommunication();
    PLC_driver.writeList = vars("1/7:0+1");
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(ComCommunication(), request);
    }
    EXPECT_EQ(text(request->var), "1/7:0+1");
    EXPECT_TRUE(PLC_driver.onceBurst == 1 && PLC_driver.writeBurst == 0 && info.scanDone == 0);
    EXPECT_TRUE(PLC_driver.onceReadList.size() == 2 && PLC_driver.requestList.size() == 1);
    EXPECT_EQ(PLC_driver.listKind, OnceReadQueue);
}

TEST_F(Driver, DisabledAndUnreadableEntriesArePassedOver) {
    // remoteMode | writes | one-shot | cyclic | sent | the three lists afterwards; 4 is disabled
    for (const Row &row : table(R"(0|4/7:0+1 4/7:1+1 4/7:2+1 5/7:3+1|||5/7:3+1|5/7:3+1
             0|4/7:0+1 4/7:1+1|4/7:0+1 5/7:1+1||5/7:1+1||5/7:1+1
             0|4/7:0+1|4/7:0+1|4/7:0+1 5/7:1+1|5/7:1+1|||5/7:1+1 4/7:0+1
             0|||4/7:0+1 4/7:1+1 5/9:2+1||||4/7:0+1 4/7:1+1 5/9:2+1
             0|||5/9:0+1 4/7:1+1 5/7:2+1|5/7:2+1|||5/7:2+1 5/9:0+1 4/7:1+1
             0||5/5:0+1 5/9:1+1 5/7:2+1||5/7:2+1||5/7:2+1; 0||5/9:0+1|5/9:1+1||||5/9:1+1
             1||5/9:0+1||5/9:0+1||5/9:0+1; 1|||4/7:0+1 5/9:1+1|5/9:1+1|||5/9:1+1 4/7:0+1
             0|5/0:0+1|||5/0:0+1|5/0:0+1)")) {
        SCOPED_TRACE(row.trace());
        reset();
        EnableEthernet(4, 0);
        info.remoteMode = row.number(0);
        PLC_driver.writeList = vars(row[1]);
        PLC_driver.onceReadList = vars(row[2]);
        PLC_driver.readList = vars(row[3]);
        const Protocol *request = ComCommunication();
        EXPECT_EQ(request == nullptr ? "" : text(request->var), row.text(4));
        EXPECT_EQ(text(PLC_driver.writeList), row.text(5));
        EXPECT_EQ(text(PLC_driver.onceReadList), row.text(6));
        EXPECT_EQ(text(PLC_driver.readList), row.text(7));
        EXPECT_EQ(PLC_driver.writeBurst, row[5].isEmpty() ? 0 : 1);
        EXPECT_EQ(PLC_driver.onceBurst, row[6].isEmpty() ? 0 : 1);
        EXPECT_EQ(info.scanDone, request == nullptr ? 1 : 0);
        int marked = 0;
        for (const RW_VAR &entry : PLC_driver.readList) {
            marked += entry.result;
        }
        const bool read = request != nullptr && !row[7].isEmpty() && info.remoteMode == 0;
        EXPECT_EQ(marked, read ? -1 : 0);
        EXPECT_TRUE(reports.isEmpty());
    }
}

TEST_F(Driver, TheHeadIsMarkedInTheDriversOwnList) {
    PLC_driver.readList = vars("1/7:0+1 1/7:1+1");
    const QList<RW_VAR> shared = PLC_driver.readList;
    const Protocol *request = ComCommunication();
    EXPECT_TRUE(shared.first().result == 0 && PLC_driver.readList.first().result == -1);
    EXPECT_TRUE(request->var.result == 0 && PLC_driver.listKind == CyclicList);
    EXPECT_EQ(deliver(bytes("01 03 02 12 34*")), 1);
    EXPECT_EQ(text(PLC_driver.readList), "1/7:1+1 1/7:0+1");
    EXPECT_EQ(PLC_driver.readList.last().result, 0);
    EXPECT_EQ(text(shared), "1/7:0+1 1/7:1+1");
}

TEST_F(Driver, RemoteModeReadsTheSameHeadAgain) {
    info.remoteMode = 1;
    PLC_driver.readList = vars("1/7:0+1 1/7:1+1");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(hex(ComCommunication()->frame.left(11)), "16 00 00 01 01 00 07 00 00 00 00");
        EXPECT_EQ(deliver(bytes("01 03 02 12 34*")), 1);
    }
    EXPECT_EQ(text(PLC_driver.readList), "1/7:0+1 1/7:1+1");
    EXPECT_EQ(image(1, 7), "34 12");
    PLC_driver.writeList = vars("1/1:9+1=01");
    EXPECT_EQ(ComCommunication()->frameLength, 23); // one frame, no read before it
    EXPECT_EQ(PLC_driver.requestList.size(), 1);
}

TEST_F(Driver, ResultCodes) {
    // portId | variable | W or R | reply | code
    for (const Row &row : table(R"(1|1/7:0+1@3/5|R||44; 1|1/7:0+1@12/5|R||41; 1|1/7:0+1@-1/5|R||41
             1|1/7:0+1@11/5|R|01 83 02 C0 F1|82; 1|1/7:0+1@0/5|R|01 03 02 12 34 00*|71
             1|1/7:0+1@0/5|R|02 03 02 12 34*|11; 1|1/7:0+1@11/5|R|01 03 02 12 34 33 B5|22
             1|1/7:0+1@3/5|R|01 03 02 12 34*|1; 1|1/7:0+1@3/5|W|01 10 00 00 00 01*|1
             1|0/7:0+1@3/5|W||1; 1|0/7:0+1@3/5|W|01|74; 1|0/7:0+1@3/5|R||44
             1|0/7:0+1@3/5|R|00 00 00 00 00 00 00|1; 2|1/7:0+1@3/5|R||144
             2|1/7:0+1@0/5|R|01 03 02 12 34 00*|171; 2|1/7:0+1@12/5|R|02 03 02 12 34*|111
             2|1/7:0+1@11/5|R|02 03 02 12 34*|122; 2|1/7:0+1@3/5|R|01 03 02 12 34*|100
             2|1/7:0+1@3/5|W|01 10 00 00 00 01*|100)")) {
        SCOPED_TRACE(row.trace());
        for (const bool direct : {true, false}) {
            reset();
            RW_VAR asked = var(row[1]);
            asked.portId = row.number(0);
            asked.isWrite = row[2] == "W" ? 1 : 0;
            (row[2] == "W" ? PLC_driver.writeList : PLC_driver.onceReadList) = {asked};
            ASSERT_NE(ComCommunication(), nullptr);
            DataStorage.clear();
            QByteArray reply = bytes(row[3]);
            const auto judge = row[0] == "1" ? DealDataOfLocalArea : DealDataOfRemoteArea;
            EXPECT_EQ(direct ? judge(&reply, reply.size()) : deliver(reply), row.number(4));
            const bool stored = row[4] == "1" && row[2] == "R" && asked.station != 0;
            EXPECT_EQ(DataStorage.isEmpty(), !stored);
        }
        EXPECT_TRUE(PLC_driver.requestList.isEmpty() && PLC_driver.writeList.isEmpty());
        EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
        EXPECT_EQ(PLC_driver.commFailed, row[4] != "1" && row[4] != "100");
    }
}

TEST_F(Driver, NoRequestAnyLengthAndNoReplyAtAll) {
    PLC_driver.writeList = PLC_driver.readList = vars("1/7:0+1");
    PLC_driver.currentVar = var("7/7:7+7");
    PLC_driver.currentVar.result = 44;
    EXPECT_EQ(DataCom(nullptr, 0), &PLC_driver.currentVar); // nobody asked
    EXPECT_TRUE(PLC_driver.currentVar.result == 1 && text(PLC_driver.currentVar) == "7/7:7+7");
    EXPECT_TRUE(reports.isEmpty() && DataStorage.isEmpty() && PLC_driver.writeList.size() == 1);
    EXPECT_TRUE(info.frameIndex == 0 && PLC_driver.passCount == 0 && info.retryCount == 0);
    PLC_driver.writeList.clear();
    ComCommunication();
    PLC_driver.requestList.first().replyLength = -1;
    EXPECT_EQ(deliver(bytes("01 03 04 12 34 56 78*")), 1);
    ComCommunication();
    EXPECT_EQ(DataCom(nullptr, 0)->result, 41);
    ComCommunication();
    EXPECT_EQ(DataCom(nullptr, 7)->result, 11);
}

TEST_F(Driver, RetriesUpToTheLimitThenGivesUp) {
    info.retryLimit = 2;
    info.scanDone = 1;
    PLC_driver.onceReadList = vars("1/7:0+1@1/5");
    PLC_driver.currentVar.itemId = 99;
    PLC_driver.passCount = 3;
    DataStorage[1][7] = bytes("11 22");
    const Protocol *request = ComCommunication();
    for (const char *bad : {"", "01 83 02 C0 F1"}) {
        EXPECT_EQ(deliver(bytes(bad)), 0);
        EXPECT_EQ(ComCommunication(), request);
        EXPECT_TRUE(!PLC_driver.commFailed && info.scanDone == 1 && PLC_driver.passCount == 3);
        EXPECT_TRUE(PLC_driver.currentVar.itemId == 99 && reports.isEmpty());
    }
    EXPECT_EQ(info.retryCount, 2);
    EXPECT_EQ(deliver(""), 42);
    EXPECT_TRUE(PLC_driver.commFailed && info.scanDone == 0 && PLC_driver.passCount == 0);
    EXPECT_TRUE(PLC_driver.requestList.isEmpty() && PLC_driver.onceReadList.isEmpty());
    EXPECT_EQ(image(1, 7), "11 22");
    EXPECT_EQ(reports, "1/5=2 [0 1 0 99] fail 1 1 [0 0 0 5]");
    EXPECT_EQ(info.retryCount, 0);
    info.retryCount = 1; // a good reply leaves it to the host
    PLC_driver.readList = vars("1/7:0+1");
    EXPECT_TRUE(exchange());
    EXPECT_TRUE(info.retryCount == 1 && !PLC_driver.commFailed);
}

TEST_F(Driver, ReportsAndDuplicates) {
    // W or O | portId | G good or F failed | useVarStation | queue | reports | queue afterwards
    for (const Row &row : table(R"(
W|1|G|1|1/7:0+1@3/7|3/7=1 [1 0 0 99]|; O|1|G|1|1/7:0+1@3/7|3/7=1 [0 1 0 99]|
W|2|G|1|1/7:0+1@3/7|3/7=1 [1 0 0 99]|; O|2|G|1|1/7:0+1@3/7||; O|2|F|1|1/7:0+1@3/7|fail 3 1 [0 0 0 7]|
W|1|F|1|1/7:0+1@3/7|3/7=2 [1 0 0 99] fail 3 1 [0 0 0 7]|
W|1|G|1|1/7:0+1@3/7 1/7:1+1@3/8 1/7:2+1@4/7|3/7=1 [3 0 0 99]|1/7:1+1 1/7:2+1
W|1|G|0|1/7:0+1@3/7 1/7:1+1@3/8 2/7:2+1@3/7||1/7:1+1 2/7:2+1
O|1|G|1|1/7:0+1@3/7 1/7:1+1@3/7||1/7:1+1
W|1|F|0|1/7:0+1@3/7 1/7:1+1@3/7 2/7:2+1@3/7 1/7:3+1@3/8 1/7:4+1@3/7 1/7:5+1@4/7|3/7=2 [6 0 0 99] fail 3 1 [5 0 0 7]|1/7:3+1 1/7:5+1
W|1|F|1|1/7:0+1@3/7 1/7:1+1@3/7 2/7:2+1@3/7 1/7:3+1@3/8 1/7:4+1@3/7 1/7:5+1@4/7|3/7=2 [6 0 0 99] fail 3 1 [5 0 0 7]|2/7:2+1 1/7:3+1 1/7:5+1
O|1|F|0|1/7:0+1@3/7 1/7:1+1@3/7 2/7:2+1@3/7 1/7:3+1@4/7|3/7=2 [0 4 0 99] fail 3 1 [0 3 0 7]|1/7:3+1
O|1|F|1|1/7:0+1@3/7 1/7:1+1@3/7 2/7:2+1@3/7 1/7:3+1@4/7|3/7=2 [0 4 0 99] fail 3 1 [0 3 0 7]|2/7:2+1 1/7:3+1)")) {
        for (const bool heard : {true, false}) {
            SCOPED_TRACE(row.trace());
            reset();
            RegistCallBackFuncIntf(heard ? logFinish : nullptr, heard ? logFail : nullptr);
            info.useVarStation = row.number(3);
            PLC_driver.currentVar.itemId = 99;
            QList<RW_VAR> &queue = row[0] == "W" ? PLC_driver.writeList : PLC_driver.onceReadList;
            queue = vars(row[4]);
            queue[0].portId = row.number(1);
            queue[0].value = "x";
            queue[0].isWrite = row[0] == "W" ? 1 : 0;
            const Protocol *request = ComCommunication();
            deliver(row[2] == "G" ? plc.answer(request->frame) : QByteArray());
            EXPECT_EQ(reports.toStdString(), heard ? row.text(5) : "");
            EXPECT_EQ(text(queue), row.text(6));
            EXPECT_EQ(text(PLC_driver.currentVar), "1/7:0+1"); // its value is emptied
            EXPECT_TRUE(PLC_driver.currentVar.ownerId == 3 && PLC_driver.currentVar.itemId == 7);
        }
    }
}

TEST_F(Driver, ABitWriteTakesTwoTurns) {
    plc.registers[{3, 1, 2}] = 0x1234;
    PLC_driver.currentVar.itemId = 99;
    write(1, "4.3", 1, bytes("01"), 1, 3, 7); // bit 35: register 2, bit 3
    ComCommunication();
    const Protocol *second = &PLC_driver.requestList.at(1);
    EXPECT_TRUE(exchange());
    EXPECT_TRUE(PLC_driver.currentVar.result == 1 && PLC_driver.currentVar.itemId == 99);
    EXPECT_TRUE(info.frameIndex == 1 && info.frameCount == 2 && info.scanDone == 0);
    EXPECT_EQ(ComCommunication(), second); // stays where it is
    EXPECT_EQ(hex(second->frame), "01 10 00 02 00 01 02 12 3C AB 03");
    EXPECT_EQ(text(PLC_driver.writeList), "1/1:35+1=01");
    EXPECT_TRUE(exchange());
    EXPECT_EQ((plc.registers[{3, 1, 2}]), 0x123C);
    EXPECT_EQ(reports, "3/7=1 [1 0 0 99]");
    EXPECT_TRUE(PLC_driver.writeList.isEmpty() && PLC_driver.currentVar.itemId == 7);
    EXPECT_EQ(image(1, 7), "00 00 00 00 08"); // the bit itself, not what the read brought
    EXPECT_EQ(info.scanDone, 1);
}

TEST_F(Driver, GivingUpHalfABitWriteDropsBothFrames) {
    for (const bool halfway : {false, true}) {
        reset();
        PLC_driver.writeList = vars("1/1:35+1=01@3/7 1/1:36+1@3/8");
        EXPECT_TRUE(!halfway || exchange());
        ComCommunication();
        EXPECT_EQ(deliver(""), 44);
        EXPECT_EQ(reports, "3/7=2 [2 0 0 0] fail 3 1 [1 0 0 7]");
        DataStorage.clear();
        EXPECT_EQ(text(ComCommunication()->var), "1/7:2+1=0000"); // the next one's read
        EXPECT_EQ(PLC_driver.requestList.size(), 2);
        EXPECT_TRUE(DataStorage.isEmpty()); // not mirrored while nothing answers
        EXPECT_EQ(info.frameIndex, 0);
    }
}

TEST_F(Driver, RemoteAreaBitsArePatchedAndBytesAreNot) {
    for (const Row &row : table("1/1:35+1=01|1|12 3C; 1/4:5+1=01|100|00 00")) {
        reset();
        PLC_driver.writeList = vars(row[0]);
        PLC_driver.writeList[0].portId = 2;
        ComCommunication();
        DataStorage.clear();
        EXPECT_EQ(deliver(bytes("01 03 02 12 34*")), row.number(1));
        EXPECT_EQ(hex(ComCommunication()->frame.mid(7, 2)), row.text(2));
        EXPECT_TRUE(DataStorage.isEmpty());
        EXPECT_EQ(deliver(bytes("01 10 00 02 00 01*")), 100);
    }
    PLC_driver.onceReadList = vars("1/7:0+1");
    PLC_driver.onceReadList[0].portId = 2;
    PLC_driver.onceReadList[0].saveMode = -1;
    ComCommunication();
    info.frameIndex = 1;
    EXPECT_EQ(deliver(bytes("01 03 02 12 34*")), 100);
}

TEST_F(Driver, AGivenUpCyclicReadGoesToTheEnd) {
    PLC_driver.readList = vars("1/7:0+1@1/0 1/7:1+1@1/1");
    ComCommunication();
    EXPECT_EQ(deliver(""), 42);
    EXPECT_EQ(text(PLC_driver.readList), "1/7:1+1 1/7:0+1");
    EXPECT_EQ(PLC_driver.readList.last().result, 0);
    EXPECT_EQ(reports, "fail 1 1 [0 0 0 0]");
    ComCommunication();
    PLC_driver.readList = vars("1/7:8+1@1/8 1/7:9+1"); // rebuilt meanwhile
    EXPECT_EQ(deliver(bytes("01 03 02 12 34*")), 1);
    EXPECT_EQ(text(PLC_driver.readList), "1/7:8+1 1/7:9+1");
    EXPECT_EQ(PLC_driver.currentVar.itemId, 0);
    ComCommunication();
    PLC_driver.readList.clear();
    EXPECT_EQ(deliver(bytes("01 03 02 12 34*")), 1);
}

TEST_F(Driver, TheScanIsDoneAfterMoreRepliesThanEntries) {
    QList<VARDEF> definitions{definition(1, 7, "10", 2), definition(1, 7, "200", 1),
                              definition(1, 7, "400", 1)};
    plc.registers[{3, 1, 10}] = 0x1234;
    plc.registers[{3, 1, 11}] = 0x5678;
    EXPECT_EQ(ReCreatReadVarList(&definitions), 3);
    for (const int done : {0, 0, 0, 1, 1}) {
        EXPECT_TRUE(exchange());
        EXPECT_EQ(info.scanDone, done);
    }
    QByteArray answer;
    EXPECT_EQ(GetRegisterData(nullptr, 7, "10", 1, &answer, 2), 1); // the whole road of a read
    EXPECT_EQ(hex(answer), "34 12 78 56");
    EXPECT_EQ(PLC_driver.passCount, 0); // nothing is counted once it is done
    info.scanDone = 0;
    for (const int portId : {1, 2}) { // one-shot reads count too, those of other ports do not
        PLC_driver.onceReadList = vars("1/7:0+1");
        PLC_driver.onceReadList[0].portId = portId;
        EXPECT_TRUE(exchange());
        EXPECT_EQ(PLC_driver.passCount, 1);
    }
    ComCommunication();
    deliver("");
    EXPECT_TRUE(PLC_driver.passCount == 0 && info.scanDone == 0);
}

} // namespace
