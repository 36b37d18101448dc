// Checksums, Modbus RTU requests, the reply check, and replies stored into the image.
#include "driver_fixture.h"

#include "modbus/read_request.h"
#include "modbus/reply_store.h"
#include "modbus/write_request.h"

namespace {

class Modbus : public Driver {
protected:
    Modbus() {
        on("readAnalog", [](const Words &w) { callWith(ReadAnalog, var(w[1])); });
        on("readRegister", [](const Words &w) { callWith(ReadRegister, var(w[1])); });
        on("writeAnalog", [](const Words &w) { callWith(WriteAnalog, var(w[1])); });
        on("writeRegister", [](const Words &w) { callWith(WriteRegister, var(w[1])); });
        on("frame", [](const Words &w) {
            callWith(WriteAnalog, var(w[1]));
            return hex(PLC_driver.requestList.last().frame);
        });
        on("isWrite", [](const Words &w) { PLC_driver.requestList[0].var.isWrite = w.number(1); });
        on("regType", [](const Words &w) { PLC_driver.requestList[0].var.regType = w.number(1); });
        on("drop", [](const Words &) { PLC_driver.requestList.removeFirst(); });
        on("check", [](const Words &w) {
            QByteArray reply = w.data(1);
            return CheckGetData(&reply, 0);
        });
        on("store", [](const Words &w) { with(w, SaveToLocalDataErea); });
        on("bit", [](const Words &w) { with(w, SpecialRegisterSave); });
        on("byte", [](const Words &w) { with(w, SpecialRegisterSaveByte); });
    }

    static void with(const Words &w, void (*function)(QByteArray *)) {
        QByteArray reply = w.data(1);
        function(&reply);
    }

    template <int (*checksum)(unsigned char *, unsigned short)>
    static int of(const Words &w) {
        QByteArray data = w.data(1);
        auto *first = data.isEmpty() ? nullptr : reinterpret_cast<unsigned char *>(data.data());
        return checksum(first, static_cast<unsigned short>(data.size()));
    }
};

TEST_F(Modbus, ChecksumsAndDigits) {
    on("crc", of<CalCRC>);
    on("sum", of<CalSUM>);
    on("lrc", of<CalLRC>);
    on("xor", of<CalXOR>);
    on("ascii", [](const Words &w) { return DigitalToASCII(w.number(1)); });
    on("digit", [](const Words &w) { return ASCIIToDigital(w.number(1)); });
    run("", R"(crc => 65535 | crc 11 03 00 6B 00 03 => 34678 | crc 01 03 00 00 00 01 => 2692
        crc 31 32 33 34 35 36 37 38 39 => 19255 | sum => 0 | sum 80 FF => 383 | lrc => 256
        lrc 01 03 => 252 | lrc 80 80 => 256 | lrc FF => 1 | xor => 0 | xor A5 => 165 | xor 01 02 03 => 0
        xor F0 81 => 113 | ascii 0 => 48 | ascii 9 => 57 | ascii 10 => 65 | ascii 15 => 70 | ascii 16 => 71
        ascii -1 => 47 | digit 70 => 15 | digit 102 => 47 | digit 97 => 42 | digit 65 => 10 | digit 64 => 0
        digit 63 => 15 | digit 58 => 10 | digit 57 => 9 | digit 49 => 1 | digit 48 => 0 | digit 32 => 0)");
    std::vector<unsigned char> many(300, 0xFF);
    EXPECT_EQ(CalSUM(many.data(), 300), 10964);
}

TEST_F(Modbus, ReadRequests) {
    run("requests frames", R"(
        readAnalog 17/7:107+3=07 => requests=11 03 00 6B 00 03 76 87 [11 3 6] 17/7:107+3=07 frames=1/0
        set frameIndex 7; readAnalog 1/6:0+10 => requests=01 04 00 00 00 0A 70 0D [25 3 20] 1/6:0+10 frames=1/0
        readAnalog 1/8:100+2 => requests=01 03 13 EC 00 02 01 7A [9 3 4] 1/8:100+2 frames=1/0
        readRegister 1/8:100+2 => requests=01 03 13 EC 00 02 01 7A [9 3 4] 1/8:100+2 frames=1/0
        readAnalog 511/7:131070+65794 => requests=FF 03 FF FE 01 02 81 A1 [131593 3 131588] 511/7:131070+65794 frames=1/0
        readAnalog 1/-1:0+1 => | readAnalog 1/0:0+1 => | readAnalog 1/5:0+1 => | readAnalog 1/9:0+1 =>
        readRegister 1/15:0+1 => | readAnalog 1/7:0+1; set frameIndex 1; readAnalog 1/9:0+1 =>)");
    for (const auto &build : {ReadAnalog, WriteAnalog}) {
        RW_VAR sent = Filled;
        sent.regType = 7;
        build(&sent);
        EXPECT_EQ(fieldsOf(PLC_driver.requestList.last().var), fieldsOf(sent)); // a full copy
    }
}

TEST_F(Modbus, ReplyCheck) {
    run("", R"(readAnalog 17/7:0+3; check 11 03 06 02 2B 00 00 00 64 C8 BA => 1
        &check 11 03 06 02 2B 00 00 00 64 BA C8 => 0 | &check 11 03 06 02 2B 00 00 00 65 C8 BA => 0
        &check 12 03 06 02 2B 00 00 00 64* => 0 | &check => 0 | readAnalog 0/7:0+1; check => 2
        readAnalog 1/7:0+1; check 01 03 00 00* => 1 | &check 01 83 02* => 0
        &isWrite 1; check 01 10 00 0A 00 02* => 2 | &isWrite 7; check 01 10 00 0A 00 02* => 2
        &check 02 10 00 0A 00 02* => 0 | readAnalog 200/7:0+1; check C8 03 02 00 01* => 1
        readAnalog 256/7:0+1; check 00 03 02 00 01* => 0)");
}

TEST_F(Modbus, WriteRequests) {
    run("requests frames", R"(
        writeAnalog 1/7:10+2=34127856 => requests=01 10 00 0A 00 02 04 12 34 56 78 08 E4 [8 0 0] 1/7:10+2=34127856 frames=1/0
        writeAnalog 1/11:3+1=44332211 => requests=01 10 13 8E 00 02 04 33 44 11 22 60 6B [8 0 0] 1/11:3+1=44332211 frames=1/0
        writeAnalog 0/7:10+0 => requests=00 10 00 0A 00 00 00 1A 48 [0 0 0] 0/7:10+0 frames=1/0)");
    run("", R"(frame 2/13:1+1=0807060504030201 => 02 10 00 04 00 04 08 07 08 05 06 03 04 01 02 85 13
        frame 2/14:1+1=0807060504030201 => 02 10 13 8C 00 04 08 07 08 05 06 03 04 01 02 5D E1
        frame 1/8:10+1=3412 => 01 10 13 92 00 01 02 12 34 95 54
        frame 1/10:3+1=44332211 => 01 10 00 06 00 02 04 33 44 11 22 B0 9D
        frame 1/7:10+2=341278 => 01 10 00 0A 00 02 04 12 34 00 78 37 44
        frame 515/7:10+1=34129999 => 03 10 00 0A 00 01 02 12 34 B2 ED
        frame 1/7:10+-1=3412 => 01 10 00 0A FF FF FE FA C8
        frame 1/13:1+2147483647=3412 => 01 10 00 04 FF FC F8 78 D2
        frame 1/7:10+0 => 01 10 00 0A 00 00 00 0A 88 | frame 1/6:10+1=3412 => 01 00 00 0A 81 DF
        frame 1/0:10+1 => 01 00 00 0A 81 DF | frame 1/3:10+1 => 01 00 00 0A 81 DF
        frame 1/9:10+1 => 01 00 00 0A 81 DF | frame 1/12:10+1 => 01 00 00 0A 81 DF
        frame 1/15:10+1 => 01 00 00 0A 81 DF | frame 1/2:10+1 => 01 00 13 92 8D 45)");
    RW_VAR written = var("1/7:0+128");
    WriteAnalog(&written);
    EXPECT_EQ(hex(PLC_driver.requestList.last().frame.left(7)), "01 10 00 00 00 80 00");
    EXPECT_EQ(PLC_driver.requestList.last().frameLength, 9 + 256);
}

TEST_F(Modbus, BitAndByteWrites) {
    run("requests frames image", R"(
        writeRegister 1/1:35+1=01 => requests=01 03 00 02 00 01 25 CA [7 3 2] 1/7:2+1=0000, 01 10 00 02 00 01 02 00 00 A7 B2 [8 0 0] 1/7:2+1=0000 frames=2/0 image=1/7:00 00 00 00 08
        writeRegister 1/5:5+1=ab => requests=01 03 13 8A 00 01 A1 64 [7 3 2] 1/8:2+1=0000, 01 10 13 8A 00 01 02 00 00 9B FB [8 0 0] 1/8:2+1=0000 frames=2/0 image=1/8:00 00 00 00 00 AB
        set frameIndex 7; failed; writeRegister 1/4:4+1=ab => requests=01 03 00 02 00 01 25 CA [7 3 2] 1/7:2+1=0000, 01 10 00 02 00 01 02 00 00 A7 B2 [8 0 0] 1/7:2+1=0000 frames=2/0
        writeRegister 1/7:0+1=3412 => requests=01 10 00 00 00 01 02 12 34 AB 27 [8 0 0] 1/7:0+1=3412 frames=1/0 image=1/7:34 12
        failed; writeRegister 1/3:0+1 => requests=01 00 00 00 01 D8 [8 0 0] 1/3:0+1 frames=1/0)");
    on("patched", [](const Words &w) { // a write, its register as it is read
        RW_VAR written = var(w[1]);
        written.isWrite = 1;
        PLC_driver.writeList = {written, var("1/1:33+1=55")}; // only the head counts
        WriteRegister(&written);
        const RW_VAR &half = PLC_driver.requestList[0].var;
        EXPECT_TRUE(half.isWrite == 0 && half.saveMode == (written.regType < 3 ? -1 : -2));
        const RW_VAR &later = PLC_driver.requestList[1].var;
        EXPECT_TRUE(later.isWrite == 1 && later.saveMode == 0);
        QByteArray reply = bytes("01 03 02" + w[2] + "*");
        const auto before = DataStorage;
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(DataStorage, before);
        return hex(PLC_driver.requestList[1].frame);
    });
    run("", R"(patched 1/1:35+1=01 1234 => 01 10 00 02 00 01 02 12 3C AB 03
        patched 1/1:35+1=00 FFFF => 01 10 00 02 00 01 02 FF F7 A7 C4
        patched 1/1:47+1=80 1234 => 01 10 00 02 00 01 02 92 34 CB 05
        patched 1/1:40+1=00 FFFF => 01 10 00 02 00 01 02 FE FF A7 92
        patched 1/1:40+1=00 0000 => 01 10 00 02 00 01 02 00 00 A7 B2
        patched 1/1:39+1=01 0000 => 01 10 00 02 00 01 02 00 80 A6 12
        patched 1/1:32+1 FFFF => 01 10 00 02 00 01 02 FF FE 67 C2
        patched 1/1:-5+1=01 1234 => 01 10 00 00 00 01 02 12 34 AB 27
        patched 1/2:35+1=01 8080 => 01 10 13 8A 00 01 02 80 88 FA 5D
        patched 1/4:5+1=ab 1234 => 01 10 00 02 00 01 02 AB 34 D9 55
        patched 1/4:4+1=ab 1234 => 01 10 00 02 00 01 02 12 AB EA AD
        patched 1/4:4+1 FFFF => 01 10 00 02 00 01 02 FF 00 E6 42
        patched 1/5:5+1=ab 12F4 => 01 10 13 8A 00 01 02 AB F4 E5 4C)");
}

TEST_F(Modbus, APatchNeedsAReplyAWriteAndItsFrame) {
    run("requests", R"(
        failed; writeRegister 1/1:35+1=01; bit 01 03 02 12 34* => | &byte 01 03 02 12 34* =>
        &W 1/1:35+1=01; bit 01 03 02 12 34 => | &byte 01 03 02 12 34 =>
        &bit 01 03 02 12 34 00 => requests=01 03 00 02 00 01 25 CA [7 3 2] 1/7:2+1=0000, 01 10 00 02 00 01 02 12 3C AB 03 [8 0 0] 1/7:2+1=0000
        &byte 01 03 02 12 34 00 => requests=01 03 00 02 00 01 25 CA [7 3 2] 1/7:2+1=0000, 01 10 00 02 00 01 02 01 34 A7 F5 [8 0 0] 1/7:2+1=0000
        &drop; bit 01 03 02 12 34 00 => | &byte 01 03 02 12 56 00 =>)");
}

TEST_F(Modbus, RepliesInTheImage) {
    run("image requests", R"(
        image 17 7 EE EE EE EE EE EE; readAnalog 17/7:0+3; store 11 03 06 02 2B 00 00 00 64 C8 BA => image=17/7:2B 02 00 00 64 00
        image 17 6 EE EE EE EE EE EE; readAnalog 17/6:1+1; store 11 03 06 02 2B 00 00 00 64 => image=17/6:EE EE 2B 02 EE EE
        image 17 8 EE EE EE EE EE EE; readAnalog 17/8:2+2; store 11 03 06 02 2B 00 00 00 64 => image=17/8:EE EE EE EE 2B 02 00 00
        image 17 7 EE EE EE EE EE EE; readAnalog 17/7:0+2; store 11 03 06 02 2B 01 => image=17/7:2B 02 00 01 EE EE
        image 17 7 EE EE; readAnalog 17/7:-1+2; store 11 03 06 02 2B 00 00 => | readAnalog 17/7:0+1; store 11 03 06 => image=17/7:00 00
        image 17 7 EE EE; readAnalog 17/7:0+0; store 11 03 06 02 2B => | readAnalog 17/7:2+0; store 11 03 00 => image=17/7:00 00 00 00
        image 17 7 EE EE; readAnalog 17/7:2+-1; store 11 03 06 02 2B => | readAnalog 17/7:8388607+2; store 11 03 04 01 02 03 04 =>
        readAnalog 17/7:0+1; regType 20; store 11 03 02 12 34 => image=17/20:00 00)");
    for (const int area : {7, 8}) { // wire register 5107 is image register 107 of area 8
        reset();
        RW_VAR asked = var(QString("17/%1:107+3").arg(area));
        ReadRegister(&asked);
        QByteArray reply = bytes("11 03 06 02 2B 00 00 00 64 C8 BA");
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(DataStorage[17][area], QByteArray(214, '\0') + bytes("2B 02 00 00 64 00"));
    }
}

} // namespace
