// The frames of a port in remote mode.
#include "driver_fixture.h"

#include "remote/remote_frames.h"

namespace {

TEST_F(Driver, RemoteFrames) {
    // R or W | variable | isWrite, portId, saveMode, spare | frame | replyLength, dataLength
    for (const Row &row : table(R"(
R|3/7:100+2@5/77   |0 1 0 0 |16 05 00 01 03 00 07 00 00 00 64 00 02 00 00 00 00 00 00 00 00 8C|9|4
R|3/7:100+2=99@5/77|0 1 0 0 |16 05 00 01 03 00 07 00 00 00 64 00 02 00 00 00 00 00 00 00 00 8C|9|4
R|3/7:100+2@5/77   |0 1 -1 0|16 05 00 01 03 00 07 00 00 00 64 00 02 FF FF FF FF 00 00 00 00 88|9|4
W|3/7:100+2@5/77   |1 1 0 0 |16 05 01 01 03 00 07 00 00 00 64 00 02 00 00 00 00 00 00 00 00 8D|8|0
W|0/7:100+2@5/77   |1 1 0 0 |16 05 01 01 00 00 07 00 00 00 64 00 02 00 00 00 00 00 00 00 00 8A|0|0
W|3/7:100+1=3412@5/77|1 1 0 0|18 05 01 01 03 00 07 00 00 00 64 00 01 00 00 00 00 00 00 00 00 34 12 D4|8|0
R|259/65543:305419896+109517@261/77|0 258 0 -2|16 05 00 02 03 00 07 12 34 56 78 AB CD 00 00 00 00 FF FF FF FE AE|219039|219034
)")) {
        SCOPED_TRACE(row.trace());
        const QStringList fields = row[2].split(' ');
        RW_VAR sent = var(row[1]);
        sent.isWrite = fields[0].toInt();
        sent.portId = fields[1].toInt();
        sent.saveMode = fields[2].toInt();
        sent.spare = fields[3].toInt();
        PLC_driver.requestList = {Protocol()};
        info.frameCount = info.frameIndex = 7;
        const std::string before = text(sent);
        (row[0] == "R" ? Remote_ReadVar : Remote_WriteVar)(&sent);
        ASSERT_EQ(PLC_driver.requestList.size(), 2);
        const Protocol &request = PLC_driver.requestList.last();
        EXPECT_EQ(hex(request.frame), row.text(3));
        EXPECT_EQ(request.frameLength, request.frame.size());
        EXPECT_EQ(request.replyLength, row.number(4));
        EXPECT_EQ(request.dataLength, row.number(5));
        EXPECT_EQ(request.dataOffset, row[0] == "R" ? 3 : 0);
        EXPECT_EQ(text(request.var), before);
        EXPECT_EQ(text(sent), before);
        EXPECT_TRUE(request.var.itemId == 77 && info.frameCount == 1 && info.frameIndex == 0);
    }
}

TEST_F(Driver, ALongRemoteWriteWrapsItsLengthByteOnly) {
    RW_VAR sent = var("3/7:100+2");
    for (const int size : {233, 234}) {
        sent.value = QByteArray(size, '\1');
        Remote_WriteVar(&sent);
        EXPECT_EQ(PLC_driver.requestList.last().frameLength, 22 + size);
        EXPECT_EQ(PLC_driver.requestList.last().frame.at(0), size == 233 ? '\xFF' : '\0');
    }
}

TEST_F(Driver, ARemoteWriteReachesTheImageEvenAfterAGiveUp) {
    for (const bool failed : {false, true}) {
        reset();
        PLC_driver.commFailed = failed;
        RW_VAR sent = var("2/1:9+1=01");
        Remote_WriteVar(&sent);
        EXPECT_EQ(image(2, 7), "00 02");
    }
}

} // namespace
