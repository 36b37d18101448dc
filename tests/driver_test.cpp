// Records, register types, set-up calls, station table and result codes.
#include "driver_fixture.h"

#include "driver/replies.h"
#include "driver/stations.h"
#include "image/store.h"

#include <array>
#include <cstring>

namespace {

TEST_F(Driver, RecordsHaveTheirFieldsInOrder) {
    EXPECT_EQ(fieldsOf(Filled), "123456789101112131415");
    const Protocol request{"1", 2, 3, 4, 5, Filled, 7, 8, 9};
    EXPECT_TRUE(request.frame == "1" && request.frameLength == 2 && request.replyLength == 3);
    EXPECT_TRUE(request.dataOffset == 4 && request.dataLength == 5 && request.reserved3 == 9);
    const ControlInformationM room{1, 2, 3, 4};
    EXPECT_TRUE(room.station == 1 && room.regType == 2 && room.address == 3 && room.count == 4);
    RW_VAR copy = Filled;
    copy.value[0] = 'x';
    EXPECT_EQ(Filled.value, "15"); // a copy detaches when it is written
    copy.hostText = "old";
    passRetValue(Filled, copy);
    EXPECT_EQ(fieldsOf(copy), "1234567891011121314"); // all but the value
    EXPECT_EQ(Filled.value, "15");
}

TEST_F(Driver, RegisterTypesMapToAreasAndOffsets) {
    on("type", [](const Words &w) {
        return QString("%1 %2").arg(getPlcReg(w.number(1))).arg(getOffsetAddress(w.number(1)));
    });
    run("", R"(type -1 => -1 0 | type 0 => 6 0 | type 1 => 7 0 | type 2 => 8 5000 | type 3 => 6 0
        type 4 => 7 0 | type 5 => 8 5000 | type 6 => 6 0 | type 7 => 7 0 | type 8 => 8 5000
        type 9 => 6 0 | type 10 => 7 0 | type 11 => 8 5000 | type 12 => 6 0 | type 13 => 7 0
        type 14 => 8 5000 | type 15 => 15 0 | type 17 => 17 0 | type -2147483648 => -2147483648 0)");
}

TEST_F(Driver, SetUpCallsStoreWhatTheyAreGiven) {
    std::array<int, 18> fields{101, 102, 103, 104, 105, 106, 107, 108, 109,
                               110, 111, 112, 113, 114, 115, 116, 117, 118};
    ComInfo block{};
    std::memcpy(&block, fields.data(), sizeof fields);
    SetComInfo(&block);
    fields[10] = fields[13] = 0; // resetField1 and resetField2, and no other
    std::array<int, 18> after{};
    std::memcpy(&after, &block, sizeof after);
    EXPECT_EQ(after, fields);
    EXPECT_EQ(PLC_driver.comInfo, &block);
    EXPECT_TRUE(PLC_driver.finishCallback == logFinish && PLC_driver.failCallback == logFail);
    int memory[3];
    FlashLocalRegister(memory, memory + 1, memory + 2);
    EXPECT_TRUE(LB == memory && LW == memory + 1 && RWI == memory + 2);
    FlashLocalRegister(nullptr, nullptr, nullptr);
    EXPECT_EQ(QueryFinishFlag(), 1);
}

TEST_F(Driver, BothStationCallsWorkOnOneTable) {
    on("E", [](const Words &w) { EnableEthernet(w.number(1), w.number(2)); });
    on("C", [](const Words &w) { EnCommStation(w.number(1), w.number(2)); });
    on("is", [](const Words &w) { return Ethernetcontains(w.number(1)) ? "off" : "on"; });
    run("off", R"(is 5 => on | &E 5 0 => off=5/0 | &E 5 0 => | &C 7 0 => off=5/0 7/0 | &E 3 2 =>
        &E 5 2 => | &E 6 1 => | &is 5 => off | &is 6 => on | &E 7 1 => off=5/0 | &is 0 => on
        &C 0 0 => off=0/0 5/0 | &is 0 => off | &C 5 1 => off=0/0 | &E -1 0 => off=
        &C 300 0 => off=300/0 | &E -7 1 => off= | &is 300 => on)");
}

TEST_F(Driver, FailureCodesCarryTheOwner) {
    on("codes", [](const Words &w) {
        PLC_driver.requestList = {Protocol()};
        PLC_driver.requestList[0].var.ownerId = w.number(1);
        QStringList codes{QString::number(SwitchErrorReturn(1000))};
        for (int kind = -1; kind < 9; ++kind) {
            codes << QString::number(GetDriverReturnValue(kind));
        }
        return codes.join(' ');
    });
    run("", R"(codes -1 => 1001 200 1 11 41 71 100 111 141 171 200
               codes 0 => 1001 200 1 11 41 71 100 111 141 171 200
               codes 3 => 1004 200 1 14 44 74 100 114 144 174 200
               codes 11 => 1012 200 1 22 52 82 100 122 152 182 200
               codes 12 => 1001 200 1 11 41 71 100 111 141 171 200)");
}

} // namespace
