// Whole turns: which request goes out next, what a reply does to it, and what the host is told.
#include "driver_fixture.h"

#include "driver/replies.h"

namespace {

class Cycle : public Driver {
protected:
    Cycle() {
        on("off", [](const Words &w) { EnableEthernet(w.number(1), 0); });
        on("port", [](const Words &w) { headOf(w[1]).portId = w.number(2); });
        on("isWrite", [](const Words &w) { headOf(w[1]).isWrite = w.number(2); });
        on("saveMode", [](const Words &w) { headOf(w[1]).saveMode = w.number(2); });
        on("anyLength", [](const Words &) { PLC_driver.requestList[0].replyLength = -1; });
        on("deaf", [](const Words &) { RegistCallBackFuncIntf(nullptr, nullptr); });
        on("null", [](const Words &w) { return DataCom(nullptr, w.number(1))->result; });
        on("judge", [](const Words &w) {
            QByteArray reply = w.data(1);
            const bool local = PLC_driver.requestList[0].var.portId == PLC_driver.comInfo->portId;
            return (local ? DealDataOfLocalArea : DealDataOfRemoteArea)(&reply, reply.size());
        });
        on("bits", [](const Words &w) { return write(1, w[1], 1, bytes("01"), 1, 3, 7); });
        on("waiting", [](const Words &w) { // that many writes, one-shot reads and cyclic reads
            const auto fill = [](QList<RW_VAR> &list, int size) {
                for (int i = 0; i < size; ++i) {
                    list << var(QString("1/7:%1+1").arg(i));
                }
            };
            fill(PLC_driver.writeList, w.number(1));
            fill(PLC_driver.onceReadList, w.number(2));
            fill(PLC_driver.readList, w.number(3));
        });
        on("turns", [this](const Words &w) {
            QString lists;
            while (lists.size() < w.number(1)) {
                lists += exchange();
            }
            return lists;
        });
    }

    static RW_VAR &headOf(const QString &list) {
        return list == "W" ? PLC_driver.writeList[0] : PLC_driver.onceReadList[0];
    }
};

TEST_F(Cycle, WritesThenOneShotReadsThenCyclicReads) {
    run("W O pass", R"(waiting 12 12 2; turns 29 => WWWWWOOOOOCWWWWWOOOOOCWWOOCCC W= O= pass=0/1
        waiting 12 0 2; turns 16 => WWWWWCWWWWWCWWCC W= pass=0/1
        waiting 0 12 2; turns 16 => OOOOOCOOOOOCOOCC O= pass=0/1
        waiting 12 0 0; turns 16 => WWWWW-WWWWW-WW-- W= pass=0/1
        waiting 6 6 0; turns 14 => WWWWWOOOOO-WO- W= O= pass=0/1
        waiting 5 5 1; turns 11 => WWWWWOOOOOC W= O= pass=0/1 | turns 2 => -- pass=0/1)");
    run("kind burst pass requests",
        R"(O 1/7:0+1; ask => 01 03 00 00 00 01 84 0A kind=2 burst=0/1 requests=01 03 00 00 00 01 84 0A [7 3 2] 1/7:0+1
        &W 1/7:0+1; ask => 01 03 00 00 00 01 84 0A | &ask => 01 03 00 00 00 01 84 0A)");
}

TEST_F(Cycle, DisabledAndUnreadableEntriesArePassedOver) {
    run("W O C kind burst pass reports", R"(
        off 4; W 4/7:0+1 4/7:1+1 4/7:2+1 5/7:3+1=1122; ask => 05 10 00 03 00 01 02 22 11 4C 0F W=5/7:3+1=1122 kind=1 burst=1/0
        off 4; W 4/7:0+1 4/7:1+1; O 4/7:0+1 5/7:0+1; ask => 05 03 00 00 00 01 85 8E W= O=5/7:0+1 kind=2 burst=0/1
        off 4; W 4/7:0+1; O 4/7:0+1; C 4/7:0+1 5/7:0+1; ask => 05 03 00 00 00 01 85 8E W= O= C=5/7:0+1! 4/7:0+1 kind=0
        off 4; C 4/7:0+1 4/7:1+1 5/9:2+1; ask => - pass=0/1 | O 5/9:0+1; C 5/9:1+1; ask => - O= pass=0/1
        off 4; C 5/9:0+1 4/7:1+1 5/7:0+1; ask => 05 03 00 00 00 01 85 8E C=5/7:0+1! 5/9:0+1 4/7:1+1 kind=0
        O 5/5:0+1 5/9:1+1 5/7:0+1; ask => 05 03 00 00 00 01 85 8E O=5/7:0+1 kind=2 burst=0/1
        set remoteMode 1; O 5/9:0+1; ask => 16 00 00 01 05 00 09 00 00 00 00 00 01 00 00 00 00 00 00 00 00 26 kind=2 burst=0/1
        off 4; set remoteMode 1; C 4/7:0+1 5/9:0+1; ask => 16 00 00 01 05 00 09 00 00 00 00 00 01 00 00 00 00 00 00 00 00 26 C=5/9:0+1 4/7:0+1 kind=0
        W 5/0:0+1; ask => 05 00 00 00 00 E8 kind=1 burst=1/0)");
}

TEST_F(Cycle, CyclicReadsTurnTheList) {
    run("C image requests current reports", R"(
        C 1/7:0+1@1/5 1/7:1+1; ask; reply 01 03 02 12 34* => 1 C=1/7:1+1 1/7:0+1 image=1/7:34 12 requests= current=1/7:0+1@1/5
        C 1/7:0+1@1/5 1/7:1+1; ask; reply => 42 C=1/7:1+1 1/7:0+1 requests= current=1/7:0+1@1/5 reports=fail 1 1[0 0 0 5]
        C 1/7:0+1; ask; C 1/7:8+1@1/8 1/7:9+1; reply 01 03 02 12 34* => 1 image=1/7:34 12 requests=
        C 1/7:0+1; ask; C; reply 01 03 02 12 34* => 1 image=1/7:34 12 requests=
        set remoteMode 1; C 1/7:0+1 1/7:1+1; ask; reply 01 03 02 12 34* => 1 image=1/7:34 12 requests=
        &ask => 16 00 00 01 01 00 07 00 00 00 00 00 01 00 00 00 00 00 00 00 00 20 requests=16 00 00 01 01 00 07 00 00 00 00 00 01 00 00 00 00 00 00 00 00 20 [7 3 2] 1/7:0+1
        set remoteMode 1; W 1/1:9+1=01; ask => 17 00 00 01 01 00 01 00 00 00 09 00 01 00 00 00 00 00 00 00 00 01 25 image=1/7:00 02 requests=17 00 00 01 01 00 01 00 00 00 09 00 01 00 00 00 00 00 00 00 00 01 25 [8 0 0] 1/1:9+1=01)");
    reset();
    PLC_driver.readList = {var("1/7:0+1")};
    const QList<RW_VAR> shared = PLC_driver.readList;
    EXPECT_EQ(ComCommunication()->var.result, 0);
    EXPECT_TRUE(shared[0].result == 0 && PLC_driver.readList[0].result == -1); // its own list only
}

TEST_F(Cycle, ResultCodes) {
    const QByteArray script = R"(
        O 1/7:0+1@3/5; ask; reply => 44 | O 1/7:0+1@12/5; ask; reply => 41
        O 1/7:0+1@-1/5; ask; reply => 41 | O 1/7:0+1@11/5; ask; reply 01 83 02 C0 F1 => 82
        O 1/7:0+1@0/5; ask; reply 01 03 02 12 34 00* => 71 | O 1/7:0+1@0/5; ask; reply 02 03 02 12 34* => 11
        O 1/7:0+1@11/5; ask; reply 01 03 02 12 34 33 B5 => 22
        O 1/7:0+1; ask; reply 01 03 02 12 34* => 1 image=1/7:34 12
        W 1/7:0+1; isWrite W 1; ask; reply 01 10 00 00 00 01* => 1
        W 0/7:0+1@3/5; isWrite W 1; ask; reply => 1 | W 0/7:0+1@3/5; isWrite W 1; ask; reply 01 => 74
        O 0/7:0+1@3/5; ask; reply => 44 | O 0/7:0+1@3/5; ask; reply 00 00 00 00 00 00 00 => 1
        O 1/7:0+1@3/5; port O 2; ask; reply => 144
        O 1/7:0+1@0/5; port O 2; ask; reply 01 03 02 12 34 00* => 171
        O 1/7:0+1@12/5; port O 2; ask; reply 02 03 02 12 34* => 111
        O 1/7:0+1@11/5; port O 2; ask; reply 02 03 02 12 34* => 122
        O 1/7:0+1@3/5; port O 2; ask; reply 01 03 02 12 34* => 100
        W 1/7:0+1; port W 2; isWrite W 1; ask; reply 01 10 00 00 00 01* => 100
        O 1/7:0+1; ask; anyLength; reply 01 03 04 12 34 56 78* => 1 image=1/7:34 12)";
    run("image", script);
    run("image", QByteArray(script).replace("reply", "judge"));
    run("W image current pass reports",
        R"(O 1/7:0+1; ask; null 0 => 41 current=1/7:0+1@0/0 reports=0/0=2[0 1 0 0] fail 0 1[0 0 0 0]
        W 1/7:0+1; reply 01 03 02 12 34* => 1 | O 1/7:0+1; ask; null 7 => 11 current=1/7:0+1@0/0 reports=0/0=2[0 1 0 0] fail 0 1[0 0 0 0])");
}

TEST_F(Cycle, RetriesUpToTheLimitThenGivesUp) {
    run("O failed retry pass current requests reports image", R"(
        set retryLimit 2; set passCount 3; O 1/7:0+1@1/5; ask; reply => 0 retry=1
        &ask => 01 03 00 00 00 01 84 0A | &reply 01 83 02 C0 F1 => 0 retry=2
        &reply => 42 O= failed=1 retry=0 pass=0/0 current=1/7:0+1@1/5 requests= reports=1/5=2[0 1 0 0] fail 1 1[0 0 0 5]
        &set retryCount 1; O 1/7:0+1@1/6; ask; reply 01 03 02 12 34* => 1 O= failed=0 pass=0/1 current=1/7:0+1@1/6 requests= reports=1/5=2[0 1 0 0] fail 1 1[0 0 0 5] 1/6=1[0 1 0 5] image=1/7:34 12
        &O 1/7:0+1@1/6; set retryLimit 0; ask; reply => 42 O= failed=1 retry=0 pass=0/0 requests= reports=1/5=2[0 1 0 0] fail 1 1[0 0 0 5] 1/6=1[0 1 0 5] 1/6=2[0 1 0 6] fail 1 1[0 0 0 6])");
}

TEST_F(Cycle, ReportsAndDuplicates) {
    run("W O reports current", R"(
        W 1/7:0+1=1122@3/7; isWrite W 1; ask; reply 01 10 00 00 00 01* => 1 W= reports=3/7=1[1 0 0 0] current=1/7:0+1@3/7
        W 1/7:0+1@3/7; port W 2; isWrite W 1; ask; reply 01 10 00 00 00 01* => 100 W= reports=3/7=1[1 0 0 0] current=1/7:0+1@3/7
        O 1/7:0+1@3/7; ask; reply 01 03 02 12 34* => 1 O= reports=3/7=1[0 1 0 0] current=1/7:0+1@3/7
        O 1/7:0+1@3/7; port O 2; ask; reply 01 03 02 12 34* => 100 O= current=1/7:0+1@3/7
        O 1/7:0+1@3/7; port O 2; ask; reply => 144 O= reports=fail 3 1[0 0 0 7] current=1/7:0+1@3/7
        W 1/7:0+1@3/7; ask; reply => 44 W= reports=3/7=2[1 0 0 0] fail 3 1[0 0 0 7] current=1/7:0+1@3/7
        deaf; W 1/7:0+1@3/7; ask; reply => 44 W= current=1/7:0+1@3/7
        deaf; O 1/7:0+1@3/7; ask; reply 01 03 02 12 34* => 1 O= current=1/7:0+1@3/7
        O 1/7:0+1@3/7 1/7:1+1@3/8 1/7:2+1@4/7; ask; reply 01 03 02 12 34* => 1 O=1/7:1+1 1/7:2+1 reports=3/7=1[0 3 0 0] current=1/7:0+1@3/7
        O 1/7:0+1@3/7 2/7:1+1@3/7; ask; reply 01 03 02 12 34* => 1 O=2/7:1+1 current=1/7:0+1@3/7
        &ask; reply 02 03 02 12 34* => 1 O= reports=3/7=1[0 1 0 7] current=2/7:1+1@3/7
        W 1/7:0+1@3/7 2/7:1+1@3/7; isWrite W 1; ask; reply 01 10 00 00 00 01* => 1 W=2/7:1+1 current=1/7:0+1@3/7
        set useVarStation 0; W 1/7:0+1@3/7 1/7:1+1@3/7 2/7:2+1@3/7 1/7:3+1@3/8 1/7:4+1@3/7 1/7:5+1@4/7; ask; reply => 44 W=1/7:3+1 1/7:5+1 reports=3/7=2[6 0 0 0] fail 3 1[5 0 0 7] current=1/7:0+1@3/7
        W 1/7:0+1@3/7 1/7:1+1@3/7 2/7:2+1@3/7 1/7:3+1@3/8 1/7:4+1@3/7; ask; reply => 44 W=2/7:2+1 1/7:3+1 reports=3/7=2[5 0 0 0] fail 3 1[4 0 0 7] current=1/7:0+1@3/7
        O 1/7:0+1@3/7 1/7:1+1@3/7 2/7:2+1@3/7 1/7:3+1@4/7; ask; reply => 44 O=2/7:2+1 1/7:3+1 reports=3/7=2[0 4 0 0] fail 3 1[0 3 0 7] current=1/7:0+1@3/7
        set useVarStation 0; O 1/7:0+1@3/7 2/7:2+1@3/7; ask; W 1/7:9+1@3/7; reply => 44 O= reports=3/7=2[1 2 0 0] fail 3 1[1 1 0 7] current=1/7:0+1@3/7)");
}

TEST_F(Cycle, ABitWriteTakesTwoTurns) {
    run("W frames pass current requests reports image", R"(
        bits 4.3; ask; reply 01 03 02 12 34 B5 33 => 1 frames=2/1 requests=01 10 00 02 00 01 02 12 3C AB 03 [8 0 0] 1/7:2+1=0000
        &ask => 01 10 00 02 00 01 02 12 3C AB 03
        &reply 01 10 00 02 00 01* => 1 W= frames=2/2 pass=0/1 current=1/1:35+1@3/7 requests= reports=3/7=1[1 0 0 0]
        bits 4.3; bits 4.4; ask; reply => 44 W= current=1/1:35+1@3/7 requests= reports=3/7=2[2 0 0 0] fail 3 1[1 0 0 7]
        W 1/1:35+1=01@3/7 1/1:36+1@3/8; ask; reply 01 03 02 12 34*; ask; reply => 44 W=1/1:36+1 current=1/1:35+1@3/7 requests= reports=3/7=2[2 0 0 0] fail 3 1[1 0 0 7]
        &ask => 01 03 00 02 00 01 25 CA frames=2/0 requests=01 03 00 02 00 01 25 CA [7 3 2] 1/7:2+1=0000, 01 10 00 02 00 01 02 00 00 A7 B2 [8 0 0] 1/7:2+1=0000
        W 1/1:35+1=01; port W 2; ask; reply 01 03 02 12 34* => 1 frames=2/1 requests=01 10 00 02 00 01 02 12 3C AB 03 [8 0 0] 1/7:2+1=0000
        W 1/4:5+1=01; port W 2; ask; reply 01 03 02 12 34* => 100 frames=2/1 requests=01 10 00 02 00 01 02 00 00 A7 B2 [8 0 0] 1/7:2+1=0000
        &ask; reply 01 10 00 02 00 01* => 100 W= frames=2/2 current=1/4:5+1@0/0 requests= reports=0/0=1[1 0 0 0]
        O 1/7:0+1; port O 2; saveMode O -1; ask; set frameIndex 1; reply 01 03 02 12 34* => 100 frames=1/2 current=1/7:0+1@0/0 requests=)");
    write(1, "4.3", 1, bytes("01"), 1);
    ComCommunication();
    const Protocol *second = &PLC_driver.requestList.at(1);
    deliver(bytes("01 03 02 12 34*"));
    EXPECT_EQ(ComCommunication(), second); // stays where it is
}

TEST_F(Cycle, TheScanIsDoneAfterMoreRepliesThanEntries) {
    run("pass", R"(waiting 0 0 3; set passCount 0; turns 1 => C pass=1/0 | &turns 2 => CC pass=3/0
        &turns 1 => C pass=0/1 | &turns 1 => C | &set scanDone 0; O 1/7:0+1; turns 1 => O pass=1/0
        &O 1/7:0+1; port O 2; turns 1 => O | &bits 0.0; ask; reply 01 03 02 12 34* => 1
        &ask; reply 01 10 00 00 00 01* => 1 pass=2/0 | &ask; reply => 41 pass=0/0)");
}

} // namespace
