// The frames of a port in remote mode.
#include "driver_fixture.h"

#include "remote/remote_frames.h"

namespace {

RW_VAR remoteVar() {
    RW_VAR var;
    var.ownerId = 5;
    var.itemId = 77;
    var.portId = 1;
    var.station = 3;
    var.regType = 7;
    var.address = 100;
    var.count = 2;
    return var;
}

TEST_F(Driver, RemoteFrames) {
    const struct {
        void (*build)(RW_VAR *);
        void (*change)(RW_VAR &);
        const char *frame;
        int replyLength, dataOffset, dataLength;
    } rows[] = {
        {Remote_ReadVar, [](RW_VAR &) {},
         "16 05 00 01 03 00 07 00 00 00 64 00 02 00 00 00 00 00 00 00 00 8C", 9, 3, 4},
        {Remote_ReadVar, [](RW_VAR &v) { v.saveMode = -1; },
         "16 05 00 01 03 00 07 00 00 00 64 00 02 FF FF FF FF 00 00 00 00 88", 9, 3, 4},
        {Remote_ReadVar, [](RW_VAR &v) { v.value = bytes("12 34"); }, // a read sends no value
         "16 05 00 01 03 00 07 00 00 00 64 00 02 00 00 00 00 00 00 00 00 8C", 9, 3, 4},
        {Remote_ReadVar,
         [](RW_VAR &v) {
             v.ownerId = 261;
             v.regType = 65543;
             v.portId = 0x102;
             v.station = 0x103;
             v.address = 0x12345678;
             v.count = 0x1ABCD;
             v.spare = -2;
         },
         "16 05 00 02 03 00 07 12 34 56 78 AB CD 00 00 00 00 FF FF FF FE AE", 219039, 3, 219034},
        {Remote_WriteVar,
         [](RW_VAR &v) {
             v.isWrite = v.count = 1;
             v.value = bytes("34 12");
         },
         "18 05 01 01 03 00 07 00 00 00 64 00 01 00 00 00 00 00 00 00 00 34 12 D4", 8, 0, 0},
        {Remote_WriteVar, [](RW_VAR &v) { v.isWrite = 1; },
         "16 05 01 01 03 00 07 00 00 00 64 00 02 00 00 00 00 00 00 00 00 8D", 8, 0, 0},
        {Remote_WriteVar, [](RW_VAR &v) { v.isWrite = 1, v.station = 0; },
         "16 05 01 01 00 00 07 00 00 00 64 00 02 00 00 00 00 00 00 00 00 8A", 0, 0, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.frame);
        reset();
        info.frameCount = info.frameIndex = 7;
        PLC_driver.requestList.append(Protocol());
        RW_VAR var = remoteVar();
        row.change(var);
        const RW_VAR before = var;
        row.build(&var);
        ASSERT_EQ(PLC_driver.requestList.size(), 2);
        const Protocol &request = PLC_driver.requestList.last();
        EXPECT_EQ(hex(request.frame), row.frame);
        EXPECT_EQ(request.frameLength, request.frame.size());
        EXPECT_EQ(request.replyLength, row.replyLength);
        EXPECT_EQ(request.dataOffset, row.dataOffset);
        EXPECT_EQ(request.dataLength, row.dataLength);
        EXPECT_EQ(text(request.var), text(before));
        EXPECT_EQ(text(var), text(before));
        EXPECT_EQ(request.var.itemId, 77);
        EXPECT_EQ(info.frameCount, 1);
        EXPECT_EQ(info.frameIndex, 0);
    }
}

TEST_F(Driver, ALongRemoteWriteWrapsItsLengthByteOnly) {
    RW_VAR var = remoteVar();
    for (const auto &[size, first] : {std::pair(233, 0xFF), std::pair(234, 0x00)}) {
        var.value = QByteArray(size, '\1');
        Remote_WriteVar(&var);
        const Protocol &request = PLC_driver.requestList.last();
        EXPECT_EQ(request.frameLength, 22 + size);
        EXPECT_EQ(static_cast<unsigned char>(request.frame.at(0)), first);
    }
}

TEST_F(Driver, ARemoteWriteReachesTheImageEvenAfterAGiveUp) {
    for (const bool failed : {false, true}) {
        reset();
        PLC_driver.commFailed = failed;
        RW_VAR write = var(2, 1, 9, 1, "01");
        Remote_WriteVar(&write);
        EXPECT_EQ(image(2, 7), "00 02");
        EXPECT_EQ(PLC_driver.requestList.size(), 1);
    }
}

} // namespace
