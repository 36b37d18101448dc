// The frames of a port in remote mode.
#include "driver_fixture.h"

#include "remote/remote_frames.h"

namespace {

TEST_F(Driver, RemoteFrames) {
    const auto build = [](const Words &w) { // variable, isWrite, portId, saveMode, spare
        RW_VAR sent = var(w[1]);
        sent.isWrite = w.number(2);
        sent.portId = w.number(3);
        sent.saveMode = w.number(4);
        sent.spare = w.number(5);
        callWith(w[0] == "read" ? Remote_ReadVar : Remote_WriteVar, sent);
        EXPECT_EQ(PLC_driver.requestList.last().var.itemId, sent.itemId);
    };
    on("read", build);
    on("write", build);
    run("requests frames", R"(
read 3/7:100+2@5/77 0 1 0 0 => requests=16 05 00 01 03 00 07 00 00 00 64 00 02 00 00 00 00 00 00 00 00 8C [9 3 4] 3/7:100+2 frames=1/0
read 3/7:100+2=99@5/77 0 1 -1 0 => requests=16 05 00 01 03 00 07 00 00 00 64 00 02 FF FF FF FF 00 00 00 00 88 [9 3 4] 3/7:100+2=99 frames=1/0
read 259/65543:305419896+109517@261/7 0 258 0 -2 => requests=16 05 00 02 03 00 07 12 34 56 78 AB CD 00 00 00 00 FF FF FF FE AE [219039 3 219034] 259/65543:305419896+109517 frames=1/0
set frameIndex 7; write 3/7:100+1=3412@5/77 1 1 0 0 => requests=18 05 01 01 03 00 07 00 00 00 64 00 01 00 00 00 00 00 00 00 00 34 12 D4 [8 0 0] 3/7:100+1=3412 frames=1/0
write 3/7:100+2@5/77 1 1 0 0 => requests=16 05 01 01 03 00 07 00 00 00 64 00 02 00 00 00 00 00 00 00 00 8D [8 0 0] 3/7:100+2 frames=1/0
write 0/7:100+2@5/77 1 1 0 0 => requests=16 05 01 01 00 00 07 00 00 00 64 00 02 00 00 00 00 00 00 00 00 8A [0 0 0] 0/7:100+2 frames=1/0)");
    run("image", R"(write 2/1:9+1=01 1 1 0 0 => image=2/7:00 02
                    failed; write 2/1:9+1=01 1 1 0 0 => image=2/7:00 02
                    read 2/1:9+1=01 0 1 0 0 =>)");
    for (const int size : {233, 234}) { // the length byte wraps, frameLength does not
        RW_VAR sent = var("3/7:100+2");
        sent.value = QByteArray(size, '\1');
        Remote_WriteVar(&sent);
        EXPECT_EQ(PLC_driver.requestList.last().frameLength, 22 + size);
        EXPECT_EQ(PLC_driver.requestList.last().frame.at(0), size == 233 ? '\xFF' : '\0');
    }
}

} // namespace
