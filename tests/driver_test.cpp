// Records, register types, set-up calls, station table and result codes.
#include "driver_fixture.h"

#include "driver/replies.h"
#include "driver/stations.h"
#include "image/store.h"

#include <array>
#include <climits>
#include <cstring>

namespace {

TEST(Records, FieldsStandInTheirOrder) {
    const RW_VAR var{1, 2, 3, 4, 5, 6, "7", "8", 9, 10, 11, 12, 13, 14, "15"};
    const std::array<int, 12> fields{var.ownerId, var.itemId, var.isWrite,  var.remoteMode,
                                     var.portId,  var.result, var.regType,  var.address,
                                     var.station, var.count,  var.saveMode, var.spare};
    EXPECT_EQ(fields, (std::array<int, 12>{1, 2, 3, 4, 5, 6, 9, 10, 11, 12, 13, 14}));
    EXPECT_TRUE(var.hostText == "7" && var.addressText == "8" && var.value == "15");
    const Protocol request{"1", 2, 3, 4, 5, var, 7, 8, 9};
    EXPECT_TRUE(request.frame == "1" && request.frameLength == 2 && request.replyLength == 3 &&
                request.dataOffset == 4 && request.dataLength == 5 && request.reserved3 == 9);
    const ControlInformationM room{1, 2, 3, 4};
    EXPECT_TRUE(room.station == 1 && room.regType == 2 && room.address == 3 && room.count == 4);
}

TEST(Records, ACopyDetachesWhenItIsWritten) {
    RW_VAR original;
    original.value = bytes("01 02");
    RW_VAR copy = original;
    copy.value[0] = 9;
    EXPECT_EQ(hex(original.value), "01 02");
}

TEST(Records, RegisterTypesMapToAreasAndOffsets) {
    const struct {
        int type, area, offset;
    } rows[] = {
        {-1, -1, 0},          {0, 6, 0},  {1, 7, 0},  {2, 8, 5000},  {3, 6, 0},   {4, 7, 0},
        {5, 8, 5000},         {6, 6, 0},  {7, 7, 0},  {8, 8, 5000},  {9, 6, 0},   {10, 7, 0},
        {11, 8, 5000},        {12, 6, 0}, {13, 7, 0}, {14, 8, 5000}, {15, 15, 0}, {17, 17, 0},
        {INT_MIN, INT_MIN, 0}};
    for (const auto &row : rows) {
        EXPECT_EQ(getPlcReg(row.type), row.area) << row.type;
        EXPECT_EQ(getOffsetAddress(row.type), row.offset) << row.type;
    }
}

TEST_F(Driver, SetComInfoClearsItsTwoFieldsAndNothingElse) {
    std::array<int, 18> fields{};
    for (int &field : fields) {
        field = static_cast<int>(&field - fields.data()) + 100;
    }
    ComInfo block{};
    std::memcpy(&block, fields.data(), sizeof fields);
    block.hostContext = &fields;
    SetComInfo(&block);
    fields[10] = fields[13] = 0;
    std::array<int, 18> after{};
    std::memcpy(&after, &block, sizeof after);
    EXPECT_EQ(after, fields);
    EXPECT_EQ(block.hostContext, &fields);
    EXPECT_EQ(PLC_driver.comInfo, &block);
}

TEST_F(Driver, SetUpCallsStoreWhatTheyAreGiven) {
    EXPECT_TRUE(PLC_driver.finishCallback == logFinish && PLC_driver.failCallback == logFail);
    int memory[3];
    FlashLocalRegister(memory, memory + 1, memory + 2);
    EXPECT_TRUE(LB == memory && LW == memory + 1 && RWI == memory + 2);
    FlashLocalRegister(nullptr, nullptr, nullptr);
    EXPECT_EQ(QueryFinishFlag(), 1);
}

TEST_F(Driver, BothStationCallsWorkOnOneTable) {
    const struct {
        void (*call)(int, int);
        int station, flag;
        QList<int> disabled;
    } steps[] = {{EnableEthernet, 5, 0, {5}},     {EnableEthernet, 5, 0, {5}},
                 {EnCommStation, 7, 0, {5, 7}},   {EnableEthernet, 3, 2, {5, 7}},
                 {EnableEthernet, 5, 2, {5, 7}},  {EnableEthernet, 6, 1, {5, 7}},
                 {EnableEthernet, 7, 1, {5}},     {EnCommStation, 0, 0, {0, 5}},
                 {EnCommStation, 5, 1, {0}},      {EnableEthernet, -1, 0, {}},
                 {EnableEthernet, 300, 0, {300}}, {EnCommStation, -7, 1, {}}};
    for (const auto &step : steps) {
        step.call(step.station, step.flag);
        EXPECT_EQ(PLC_driver.disabledStations.keys(), step.disabled);
        for (const int station : {0, 3, 5, 7, 300}) {
            EXPECT_EQ(Ethernetcontains(station), step.disabled.contains(station));
        }
        EXPECT_EQ(PLC_driver.disabledStations.values().count(0), step.disabled.size());
    }
}

TEST_F(Driver, FailureCodesCarryTheOwner) {
    const int bases[] = {10, 40, 70, 110, 140, 170};
    const int kinds[] = {1, 2, 3, 5, 6, 7};
    const std::pair<int, int> owners[] = {{-1, 1}, {0, 1}, {3, 4}, {11, 12}, {12, 1}};
    for (const auto &[owner, offset] : owners) {
        Protocol request;
        request.var.ownerId = owner;
        PLC_driver.requestList = {request};
        for (size_t i = 0; i < std::size(bases); ++i) {
            EXPECT_EQ(SwitchErrorReturn(bases[i]), bases[i] + offset);
            EXPECT_EQ(GetDriverReturnValue(kinds[i]), bases[i] + offset);
        }
    }
    const std::pair<int, int> fixed[] = {{0, 1}, {4, 100}, {8, 200}, {-1, 200}};
    for (const auto &[kind, code] : fixed) {
        EXPECT_EQ(GetDriverReturnValue(kind), code);
    }
}

TEST_F(Driver, PassRetValueCopiesAllButTheValue) {
    const RW_VAR source{1, 2, 3, 4, 5, 6, "7", "8", 9, 10, 11, 12, 13, 14, "15"};
    RW_VAR target;
    target.value = "old";
    passRetValue(source, target);
    const QList<int> fields{target.ownerId, target.itemId, target.isWrite,  target.remoteMode,
                            target.portId,  target.result, target.regType,  target.address,
                            target.station, target.count,  target.saveMode, target.spare};
    EXPECT_EQ(fields, (QList<int>{1, 2, 3, 4, 5, 6, 9, 10, 11, 12, 13, 14}));
    EXPECT_TRUE(target.hostText == "7" && target.addressText == "8" && target.value.isEmpty());
    EXPECT_EQ(source.value, "15");
}

} // namespace
