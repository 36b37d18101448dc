// Register types, the host's port block and the station table.
#include "driver_fixture.h"

#include "driver/stations.h"

#include <array>
#include <climits>
#include <cstring>

namespace {

TEST(RegisterTypes, MapToAreasAndOnlyArea8HasAnOffsetOnTheWire) {
    const int types[][3] = {{0, 1, 2}, {3, 4, 5}, {6, 7, 8}, {9, 10, 11}, {12, 13, 14}};
    for (const auto &[input, holding, upper] : types) {
        EXPECT_EQ(getPlcReg(input), 6);
        EXPECT_EQ(getPlcReg(holding), 7);
        EXPECT_EQ(getPlcReg(upper), 8);
        EXPECT_EQ(getOffsetAddress(input), 0);
        EXPECT_EQ(getOffsetAddress(holding), 0);
        EXPECT_EQ(getOffsetAddress(upper), 5000);
    }
    for (const int unknown : {-1, 15, 17, INT_MIN}) {
        EXPECT_EQ(getPlcReg(unknown), unknown);
        EXPECT_EQ(getOffsetAddress(unknown), 0);
    }
}

TEST_F(Driver, SetComInfoClearsTwoFieldsOfTheHostsBlockAndNoOther) {
    std::array<int, 18> fields{101, 102, 103, 104, 105, 106, 107, 108, 109,
                               110, 111, 112, 113, 114, 115, 116, 117, 118};
    ComInfo block{};
    std::memcpy(&block, fields.data(), sizeof fields);
    SetComInfo(&block);
    fields[10] = fields[13] = 0; // resetField1 and resetField2
    EXPECT_EQ(std::memcmp(&block, fields.data(), sizeof fields), 0);
    EXPECT_EQ(PLC_driver.comInfo, &block);
}

TEST_F(Driver, AStationIsSwitchedOffAndOnByEitherCall) {
    EnableEthernet(5, 0);
    EnableEthernet(5, 0);
    EnCommStation(0, 0);
    EXPECT_TRUE(Ethernetcontains(5) && Ethernetcontains(0));
    EnableEthernet(0, 2); // no such flag
    EXPECT_TRUE(Ethernetcontains(0));
    EnableEthernet(6, 2);
    EnCommStation(5, 1); // once is enough
    EXPECT_FALSE(Ethernetcontains(5) || Ethernetcontains(6));
    EXPECT_TRUE(Ethernetcontains(0));
}

TEST_F(Driver, ANegativeStationSwitchesAllOnWhateverTheFlag) {
    for (const int flag : {0, 1, 2}) {
        EnableEthernet(5, 0);
        EnableEthernet(300, 0);
        EnCommStation(-1, flag);
        EXPECT_FALSE(Ethernetcontains(5) || Ethernetcontains(300) || Ethernetcontains(-1));
    }
}

} // namespace
