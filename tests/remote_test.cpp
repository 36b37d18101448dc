// The frames of a port in remote mode.
#include "driver_fixture.h"

namespace {

class Remote : public Driver {
protected:
    Remote() { info.remoteMode = 1; }

    static RW_VAR filled(const Piece &piece, int ownerId, int portId, int saveMode, int spare) {
        RW_VAR var = variable(piece);
        var.ownerId = ownerId;
        var.portId = portId;
        var.saveMode = saveMode;
        var.spare = spare;
        return var;
    }
};

TEST_F(Remote, AReadIsTheFieldsOfItsVariableBigEndianAndCutToTheirSizes) {
    RW_VAR var = filled({259, 65543, 0x12345678, 109517}, 261, 258, -1, -2);
    AddListOnceReadVar(&var, 1);
    EXPECT_EQ(ask(), "16 05 00 02 03 00 07 12 34 56 78 AB CD FF FF FF FF FF FF FF FE AA");
    const Protocol &request = PLC_driver.requestList.first();
    EXPECT_EQ(std::tie(request.replyLength, request.dataOffset, request.dataLength),
              std::tuple(219039, 3, 219034));
    EXPECT_EQ(std::tie(info.frameCount, info.frameIndex), std::tuple(1, 0));
    EXPECT_EQ(fieldsOf(request.var), fieldsOf(var));
}

TEST_F(Remote, AWriteHasItsValueBehindTheFieldsAndIsSeenAtOnce) {
    failTheLine();
    RW_VAR var = filled({3, 7, 1, 1, "34 12"}, 5, 1, 0, 0);
    var.isWrite = 1;
    AddListWriteVar(&var, 0);
    EXPECT_EQ(ask(), "18 05 01 01 03 00 07 00 00 00 01 00 01 00 00 00 00 00 00 00 00 34 12 71");
    const Protocol &request = PLC_driver.requestList.first();
    EXPECT_EQ(std::tie(request.replyLength, request.dataOffset, request.dataLength),
              std::tuple(8, 0, 0));
    EXPECT_EQ(screen(7, "1", 1, 3), "34 12"); // though the line has failed
}

TEST_F(Remote, ABitIsWrittenInOneFrameAndABroadcastHasNoReply) {
    write(1, "1.1", 1, bytes("01"), 0);
    EXPECT_EQ(ask(), "17 03 01 01 00 00 01 00 00 00 09 00 01 00 00 00 00 00 00 00 00 01 28");
    EXPECT_EQ(noAnswer(), 1);
    EXPECT_EQ(ask(), "nothing");
}

TEST_F(Remote, TheLengthByteOfALongWriteWraps) {
    info.blockLimit = 117;
    write(7, "0", 117, {});
    EXPECT_EQ(ask().substr(0, 5), "00 03");
    EXPECT_EQ(PLC_driver.requestList.first().frameLength, 22 + 234);
}

TEST_F(Remote, TheHeadOfTheCyclicListIsReadAgainAndAgain) {
    for (const int station : {4, 5, 6}) {
        RW_VAR var = variable({station, 9, 0, 1});
        AddListReadVar(&var);
    }
    EnableEthernet(4, 0);
    for (int turn = 0; turn < 2; ++turn) {
        EXPECT_EQ(ask(), "16 03 00 01 05 00 09 00 00 00 00 00 01 00 00 00 00 00 00 00 00 29");
        EXPECT_EQ(answer("05 03 02 12 34 44 F3"), 1);
        EXPECT_EQ(PLC_driver.readList.first().result, 0);
    }
}

} // namespace
