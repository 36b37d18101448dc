// The register image: its room, what screens read from it, and what a write puts there.
#include "driver_fixture.h"

#include "image/store.h"
#include "image/write_back.h"

namespace {

TEST_F(Driver, RoomForEveryWidth) {
    // type, address, count | area, its size ("-": refused)
    for (const Row &row : table(R"(
0 17 20 6 4; 1 0 1 7 0; 2 16 9 8 3; 2 15 8 8 1; 3 10 3 6 13; 7 10 2 7 24; 10 3 2 7 20; 14 2 1 8 24
20 3 2 20 10; -1 3 2 -1 10; 7 1 -3 7 0; 7 -1 3 7 4; 7 8388607 1 7 16777216; 7 8388608 1 7 -
4 16777216 1 7 -; 1 2147483647 2147483647 7 -; 7 2147483647 2147483647 7 -; 7 2147483647 1 7 -
10 1073741824 1 7 -; 13 2147483647 1 7 -; 13 -2147483648 1 7 0; 20 2147483647 1 20 -)")) {
        SCOPED_TRACE(row.trace());
        DataStorage.clear();
        ControlInformationM request{4, row.number(0), row.number(1), row.number(2)};
        checkTheStorage(request);
        EXPECT_EQ(DataStorage.value(4).contains(row.number(3)), row[4] != "-");
        EXPECT_EQ(DataStorage.isEmpty(), row[4] == "-");
        EXPECT_EQ(DataStorage.value(4).value(row.number(3)), QByteArray(row.number(4), '\0'));
        EXPECT_TRUE(request.station == 4 && request.regType == row.number(0));
        EXPECT_TRUE(request.address == row.number(1) && request.count == row.number(2));
    }
}

TEST_F(Driver, AreasGrowAndNeverShrink) {
    DataStorage[4][7] = bytes("11 22 33 44");
    for (const Row &row : table(R"(1|11 22 33 44; 2|11 22 33 44; 3|11 22 33 44 00 00
             2|11 22 33 44 00 00; 2147483647|11 22 33 44 00 00; -9|11 22 33 44 00 00)")) {
        ControlInformationM request{4, 7, 0, row.number(0)};
        checkTheStorage(request);
        EXPECT_EQ(image(4, 7), row.text(1)) << row.trace();
    }
    EXPECT_TRUE(DataStorage.size() == 1 && DataStorage[4].size() == 1);
}

TEST_F(Driver, ReadsOfEveryWidth) {
    for (const Row &row : table(R"(1|0.7|3|01 00 01; 1|15.7|3|01 00 00; 1|1.2|0|
            4|1|3|82 00 03 00 84 00; 4|15|2|90 00 00 00; 7|1|2|03 84 05 86; 7|6|3|0D 8E 0F 90 00 00
            10|1|1|05 86 07 88; 10|1|2|05 86 07 88; 10|1|3|05 86 07 88 09 8A 0B 8C
            13|1|1|09 8A 0B 8C 0D 8E 0F 90; 13|1|4|09 8A 0B 8C 0D 8E 0F 90; 6|0|1|00 00; 8|0|1|00 00
            13|0|5|81 82 03 84 05 86 07 88 09 8A 0B 8C 0D 8E 0F 90; 15|0|1|; -1|0|1|
            1|0.1|-4|; 4|0|-4|; 7|0|-4|; 10|0|-4|; 13|0|-4|; 15|0|-4|)")) {
        SCOPED_TRACE(row.trace());
        reset();
        DataStorage[2][7] = bytes("81 82 03 84 05 86 07 88 09 8A 0B 8C 0D 8E 0F 90");
        for (const int station : {2, 3}) { // 3 is no matter: the default station is asked
            info.useVarStation = station == 2 ? 1 : 0;
            info.defaultStation = 2;
            QByteArray answer = "old";
            const int type = row.number(0);
            EXPECT_EQ(GetRegisterData(nullptr, type, row[1], station, &answer, row.number(2)), 1);
            EXPECT_EQ(hex(answer), row.text(3));
            EXPECT_EQ(DataStorage.keys(), QList<int>{2});
            EXPECT_TRUE(DataStorage[2].contains(getPlcReg(type)));
        }
    }
}

TEST_F(Driver, ReadsThatAreRefused) {
    // type, address, count, bytes of zero
    for (const Row &row : table(R"(7|x|3|6; 7|-1|2|4; 1|5|3|6; 7||0|0; 7|x|-2|0; 7|9000000|2|4
             1|200000000.0|5|10; 7|0|8388609|0; 7|0|2147483647|0; 7|x|1000000000|0
             7|x|8388608|16777216; 13|2147483647|4|8; 20|2147483647|1|2)")) {
        QByteArray answer = "old";
        EXPECT_EQ(GetRegisterData(nullptr, row.number(0), row[1], 1, &answer, row.number(2)), 0);
        EXPECT_EQ(answer, QByteArray(row.number(3), '\0')) << row.trace();
        EXPECT_TRUE(DataStorage.isEmpty());
    }
}

TEST_F(Driver, AReadMakesRoomAndKeepsItsAnswer) {
    QByteArray answer;
    EXPECT_EQ(GetRegisterData(nullptr, 7, "10", 1, &answer, 2), 1);
    EXPECT_EQ(DataStorage[1][7], QByteArray(24, '\0'));
    RW_VAR written = var("1/7:10+2=34127856");
    WriteDataToLocal(&written);
    EXPECT_EQ(hex(answer), "00 00 00 00");
    for (const Row &row : table("7|10|2|34 12 78 56; 4|20|1|34 00; 4|21|1|12 00; 1|20.2|1|01")) {
        GetRegisterData(nullptr, row.number(0), row[1], 1, &answer, row.number(2));
        EXPECT_EQ(hex(answer), row.text(3)); // all widths see the same bytes
    }
}

TEST_F(Driver, WritesOfEveryWidth) {
    // variable | its area of eight bytes AA afterwards ("": unchanged)
    for (const Row &row : table(R"(
1/1:13+3=010001 |;                        1/1:13+3=000100 |AA 4A AA AA AA AA AA AA
1/1:12+3=800001 |AA DA AA AA AA AA AA AA; 1/2:7+2=0001    |2A AB AA AA AA AA AA AA
1/1:8+4=01      |AA A1 AA AA AA AA AA AA; 1/1:70+1=01     |AA AA AA AA AA AA AA AA 40
1/4:2+2=1122    |AA AA 11 22 AA AA AA AA; 1/1:64+1=00     |AA AA AA AA AA AA AA AA 00
1/5:3+1=11      |AA AA AA 11 AA AA AA AA; 1/1:63+1=00     |AA AA AA AA AA AA AA 2A
1/7:1+2=34127856|AA AA 34 12 78 56 AA AA; 1/8:4+1=3412    |AA AA AA AA AA AA AA AA 34 12
1/7:1+2=34      |AA AA 34 00 00 00 AA AA; 1/10:1+1=0102030405      |AA AA AA AA 01 02 03 04
1/11:1+1=01020304|AA AA AA AA 01 02 03 04; 1/13:0+1=0102030405060708|01 02 03 04 05 06 07 08
1/14:1+1=0102030405060708|AA AA AA AA AA AA AA AA 01 02 03 04 05 06 07 08
1/7:1+0=3412|; 1/7:4+-1=3412|; 1/7:-1+2=34127856|; 1/1:-1+1=01|; 1/7:2147483647+2=3412|
1/1:2147483647+2147483647=01|; 1/6:0+1=3412|; 1/0:0+1=01|; 1/3:0+1=01|; 1/9:0+1=34|; 1/12:0+1=34|)")) {
        SCOPED_TRACE(row.trace());
        reset();
        RW_VAR written = var(row[0]);
        const int area = getPlcReg(written.regType);
        DataStorage[1][area] = QByteArray(8, '\xAA');
        WriteDataToLocal(&written);
        EXPECT_EQ(image(1, area), row[1].isEmpty() ? "AA AA AA AA AA AA AA AA" : row.text(1));
        EXPECT_EQ(text(written), row.text(0));
        EXPECT_EQ(DataStorage[1].size(), 1);
    }
    for (const Row &row : table(R"(3/1:3+1=01|7|08; 3/0:16+1=01|6|00 00; 3/9:1+0=01|6|00 00 00 00
             3/15:1+1=FF|15|00 00 00 00; 3/-1:0+1=FF|-1|00 00)")) {
        reset();
        RW_VAR written = var(row[0]); // of a station never seen before
        WriteDataToLocal(&written);
        EXPECT_EQ(image(3, row.number(1)), row.text(2));
    }
}

} // namespace
