// Records, register types, set-up calls, station table and result codes.
#include "driver_fixture.h"

#include "driver/replies.h"
#include "driver/stations.h"
#include "image/store.h"

#include <array>
#include <cstring>

namespace {

const RW_VAR Filled{1, 2, 3, 4, 5, 6, "7", "8", 9, 10, 11, 12, 13, 14, "15"};

// All fields of a variable in the order of their meaning.
std::string fieldsOf(const RW_VAR &v) {
    const QList<int> head{v.ownerId, v.itemId, v.isWrite, v.remoteMode, v.portId, v.result};
    const QList<int> tail{v.regType, v.address, v.station, v.count, v.saveMode, v.spare};
    QStringList fields;
    for (const int field : head) {
        fields << QString::number(field);
    }
    fields << v.hostText << v.addressText;
    for (const int field : tail) {
        fields << QString::number(field);
    }
    return fields.join(' ').toStdString() + " " + v.value.toStdString();
}

TEST(Records, FieldsStandInTheirOrder) {
    EXPECT_EQ(fieldsOf(Filled), "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15");
    const Protocol request{"1", 2, 3, 4, 5, Filled, 7, 8, 9};
    EXPECT_TRUE(request.frame == "1" && request.frameLength == 2 && request.replyLength == 3);
    EXPECT_TRUE(request.dataOffset == 4 && request.dataLength == 5 && request.reserved3 == 9);
    const ControlInformationM room{1, 2, 3, 4};
    EXPECT_TRUE(room.station == 1 && room.regType == 2 && room.address == 3 && room.count == 4);
    RW_VAR copy = Filled;
    copy.value[0] = 'x';
    EXPECT_EQ(Filled.value, "15"); // a copy detaches when it is written
}

TEST(Records, RegisterTypesMapToAreasAndOffsets) {
    for (const Row &row : table(R"(-1 -1 0; 0 6 0; 1 7 0; 2 8 5000; 3 6 0; 4 7 0; 5 8 5000; 6 6 0
             7 7 0; 8 8 5000; 9 6 0; 10 7 0; 11 8 5000; 12 6 0; 13 7 0; 14 8 5000; 15 15 0; 17 17 0
             -2147483648 -2147483648 0)")) {
        EXPECT_EQ(getPlcReg(row.number(0)), row.number(1)) << row.trace();
        EXPECT_EQ(getOffsetAddress(row.number(0)), row.number(2)) << row.trace();
    }
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
    // call (E or C), station, flag, and what is switched off then
    for (const Row &row : table(R"(E|5|0|5; E|5|0|5; C|7|0|5 7; E|3|2|5 7; E|5|2|5 7; E|6|1|5 7
             E|7|1|5; C|0|0|0 5; C|5|1|0; E|-1|0|; E|300|0|300; C|-7|1|)")) {
        (row[0] == "E" ? EnableEthernet : EnCommStation)(row.number(1), row.number(2));
        QStringList disabled;
        for (const int station : PLC_driver.disabledStations.keys()) {
            disabled << QString::number(station);
            EXPECT_TRUE(Ethernetcontains(station));
            EXPECT_EQ(PLC_driver.disabledStations.value(station, -1), 0);
        }
        EXPECT_EQ(disabled.join(' ').toStdString(), row.text(3));
        EXPECT_FALSE(Ethernetcontains(3));
    }
}

TEST_F(Driver, FailureCodesCarryTheOwner) {
    for (const Row &row : table("-1 1; 0 1; 3 4; 11 12; 12 1")) { // owner, offset
        PLC_driver.requestList = {Protocol()};
        PLC_driver.requestList[0].var.ownerId = row.number(0);
        for (const Row &kind : table("1 10; 2 40; 3 70; 5 110; 6 140; 7 170")) {
            const int code = kind.number(1) + row.number(1);
            EXPECT_EQ(SwitchErrorReturn(kind.number(1)), code);
            EXPECT_EQ(GetDriverReturnValue(kind.number(0)), code);
        }
    }
    for (const Row &row : table("0 1; 4 100; 8 200; -1 200")) {
        EXPECT_EQ(GetDriverReturnValue(row.number(0)), row.number(1));
    }
}

TEST_F(Driver, PassRetValueCopiesAllButTheValue) {
    RW_VAR target;
    target.value = "old";
    passRetValue(Filled, target);
    EXPECT_EQ(fieldsOf(target), "1 2 3 4 5 6 7 8 9 10 11 12 13 14 ");
    EXPECT_EQ(Filled.value, "15");
}

} // namespace
