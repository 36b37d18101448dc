// The register image: its room, what screens read from it, and what a write puts there.
#include "driver_fixture.h"

#include "image/store.h"
#include "image/write_back.h"

namespace {

class Image : public Driver {
protected:
    Image() {
        on("room", [](const Words &w) { return room(w.number(1), w.number(2), w.number(3)); });
        on("put", [](const Words &w) { callWith(WriteDataToLocal, var(w[1])); });
        on("read",
           [](const Words &w) { return read(w.number(1), w[2], w.number(3), w.number(4)); });
    }

    // Makes room at station 4; the size of the area, -1 when there is none.
    static int room(int regType, int address, int count) {
        ControlInformationM request{4, regType, address, count};
        checkTheStorage(request);
        EXPECT_TRUE(request.station == 4 && request.regType == regType);
        EXPECT_TRUE(request.address == address && request.count == count);
        const int area = getPlcReg(regType);
        EXPECT_LE(DataStorage.size(), 1);
        return DataStorage.value(4).contains(area) ? DataStorage[4][area].size() : -1;
    }
};

TEST_F(Image, RoomForEveryWidth) {
    run("", R"(room 0 17 20 => 4 | room 1 0 1 => 0 | room 2 16 9 => 3 | room 2 15 8 => 1
        room 3 10 3 => 13 | room 7 10 2 => 24 | room 10 3 2 => 20 | room 14 2 1 => 24
        room 20 3 2 => 10 | room -1 3 2 => 10 | room 7 1 -3 => 0 | room 7 -1 3 => 4
        room 7 8388607 1 => 16777216 | room 7 8388608 1 => -1 | room 4 16777216 1 => -1
        room 1 2147483647 2147483647 => -1 | room 7 2147483647 2147483647 => -1
        room 7 2147483647 1 => -1 | room 10 1073741824 1 => -1 | room 13 2147483647 1 => -1
        room 13 -2147483648 1 => 0 | room 20 2147483647 1 => -1)");
    run("image", R"(image 4 7 11 22 33 44; room 7 0 1 => 4 | &room 7 0 2 => 4
        &room 7 0 3 => 6 image=4/7:11 22 33 44 00 00 | &room 7 0 2 => 6 | &room 7 0 -9 => 6
        &room 7 0 2147483647 => 6 | room 7 0 1 => 2 image=4/7:00 00 | room 0 8 0 => 1 image=4/6:00)");
}

TEST_F(Image, ReadsOfEveryWidth) {
    run("image", R"(
        image 2 7 81 82 03 84 05 86 07 88 09 8A 0B 8C 0D 8E 0F 90; read 1 0.7 2 3 => 1 01 00 01
        &read 1 15.7 2 3 => 1 01 00 00 | &read 1 1.2 2 0 => 1 | &read 4 1 2 3 => 1 82 00 03 00 84 00
        &read 7 1 2 2 => 1 03 84 05 86 | &read 10 1 2 1 => 1 05 86 07 88
        &read 10 1 2 2 => 1 05 86 07 88 | &read 10 1 2 3 => 1 05 86 07 88 09 8A 0B 8C
        &read 13 1 2 1 => 1 09 8A 0B 8C 0D 8E 0F 90
        &read 13 1 2 4 => 1 09 8A 0B 8C 0D 8E 0F 90 image=2/7:81 82 03 84 05 86 07 88 09 8A 0B 8C 0D 8E 0F 90 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00
        &read 13 0 2 5 => 1 81 82 03 84 05 86 07 88 09 8A 0B 8C 0D 8E 0F 90
        &read 1 0.1 2 -4 => 1 | &read 4 0 2 -4 => 1 | &read 7 0 2 -4 => 1 | &read 10 0 2 -4 => 1
        &set useVarStation 0; set defaultStation 2; read 7 0 3 1 => 1 81 82
        read 7 2 1 2 => 1 00 00 00 00 image=1/7:00 00 00 00 00 00 00 00
        read 6 0 3 1 => 1 00 00 image=3/6:00 00 | read 8 0 3 1 => 1 00 00 image=3/8:00 00
        image 3 7 11; read 4 0 3 2 => 1 11 00 00 00 image=3/7:11 00
        image 3 7 11 22 33; read 7 0 3 2 => 1 11 22 33 00 image=3/7:11 22 33 00
        read 15 0 3 1 => 1 image=3/15:00 00 | read -1 0 3 1 => 1 image=3/-1:00 00
        read 7 x 1 3 => 0 00 00 00 00 00 00 | read 7 -1 1 2 => 0 00 00 00 00 | read 1 5 1 1 => 0 00 00
        read 7 x 1 0 => 0 | read 7 x 1 -2 => 0 | read 7 9000000 1 2 => 0 00 00 00 00
        read 1 200000000.0 1 1 => 0 00 00 | read 7 0 1 8388609 => 0 | read 7 0 1 2147483647 => 0
        read 7 x 1 1000000000 => 0 | read 13 2147483647 1 1 => 0 00 00 | read 20 2147483647 1 1 => 0 00 00)");
    QByteArray answer;
    EXPECT_EQ(GetRegisterData(nullptr, 7, "x", 1, &answer, 8388608), 0); // the most zeros there are
    EXPECT_EQ(answer, QByteArray(16777216, '\0'));
    GetRegisterData(nullptr, 7, "10", 1, &answer, 2);
    EXPECT_EQ(DataStorage[1][7], QByteArray(24, '\0'));
    RW_VAR written = var("1/7:10+2=34127856");
    WriteDataToLocal(&written);
    EXPECT_EQ(hex(answer), "00 00 00 00"); // what was read stays as it is
}

TEST_F(Image, WritesOfEveryWidth) {
    const QString intoEightBytes = R"(
        put 1/1:13+3=010001 => | put 1/1:13+3=000100 => image=1/7:AA 4A AA AA AA AA AA AA
        put 1/1:12+3=800001 => image=1/7:AA DA AA AA AA AA AA AA
        put 1/1:7+2=0001 => image=1/7:2A AB AA AA AA AA AA AA
        put 1/1:8+4=01 => image=1/7:AA A1 AA AA AA AA AA AA
        put 1/1:63+1=00 => image=1/7:AA AA AA AA AA AA AA 2A
        put 1/1:70+1=01 => image=1/7:AA AA AA AA AA AA AA AA 40
        put 1/1:64+1=00 => image=1/7:AA AA AA AA AA AA AA AA 00
        put 1/4:2+2=1122 => image=1/7:AA AA 11 22 AA AA AA AA
        put 1/7:5+2=34127856 => image=1/7:AA AA AA AA AA AA AA AA 00 00 34 12 78 56
        put 1/7:1+2=34 => image=1/7:AA AA 34 00 00 00 AA AA
        put 1/10:1+1=0102030405 => image=1/7:AA AA AA AA 01 02 03 04
        put 1/13:0+1=0102030405060708 => image=1/7:01 02 03 04 05 06 07 08
        put 1/13:1+1=0102030405060708 => image=1/7:AA AA AA AA AA AA AA AA 01 02 03 04 05 06 07 08
        put 1/7:1+0=3412 => | put 1/7:4+-1=3412 => | put 1/7:-1+2=34127856 => | put 1/1:-1+1=01 =>
        put 1/7:2147483647+2=3412 => | put 1/1:2147483647+2147483647=01 =>)";
    QString script = intoEightBytes;
    run("image", script.replace("put", "image 1 7 AA AA AA AA AA AA AA AA; put").toLatin1());
    run("image", R"(put 3/1:134217727+3=010101 => image=3/7:16777216 bytes
        put 3/1:3+1=01 => image=3/7:08 | put 3/2:9+1=01 => image=3/8:00 02
        put 3/5:1+1=11 => image=3/8:00 11 | put 3/8:1+1=3412 => image=3/8:00 00 34 12
        put 3/11:1+1=01020304 => image=3/8:00 00 00 00 01 02 03 04
        put 3/14:0+1=0102030405060708 => image=3/8:01 02 03 04 05 06 07 08
        put 3/0:16+1=FF => image=3/6:00 00 | put 3/3:1+1=FF => image=3/6:00 00
        put 3/6:0+1=FFFF => image=3/6:00 00 | put 3/9:0+1=FF => image=3/6:00 00 00 00
        put 3/12:0+1=FF => image=3/6:00 00 00 00 00 00 00 00 | put 3/15:0+1=FF => image=3/15:00 00
        put 1/4:10+1=12 => image=1/7:00 00 00 00 00 00 00 00 00 00 12 | &read 7 5 1 1 => 1 12 00 image=1/7:00 00 00 00 00 00 00 00 00 00 12 00
         &read 1 10.1 1 1 => 1 01 | &read 4 10 1 1 => 1 12 00)");
}

} // namespace
