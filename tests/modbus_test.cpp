// Checksums, Modbus RTU requests, the reply check, and replies stored into the image.
#include "driver_fixture.h"

#include "modbus/read_request.h"
#include "modbus/reply_store.h"
#include "modbus/write_request.h"

namespace {

TEST(Checksums, KnownValues) {
    const std::map<QString, int (*)(unsigned char *, unsigned short)> checksums{
        {"CRC", CalCRC}, {"SUM", CalSUM}, {"LRC", CalLRC}, {"XOR", CalXOR}};
    for (const Row &row : table(R"(CRC||65535; CRC|11 03 00 6B 00 03|34678; SUM||0; SUM|80 FF|383
             CRC|01 03 00 00 00 01|2692; CRC|31 32 33 34 35 36 37 38 39|19255; LRC||256
             LRC|01 03|252; LRC|80 80|256; LRC|FF|1; XOR||0; XOR|A5|165; XOR|01 02 03|0
             XOR|F0 81|113)")) {
        QByteArray data = bytes(row[1]);
        auto *first = data.isEmpty() ? nullptr : reinterpret_cast<unsigned char *>(data.data());
        const auto length = static_cast<unsigned short>(data.size());
        EXPECT_EQ(checksums.at(row[0])(first, length), row.number(2)) << row.trace();
        EXPECT_EQ(data, bytes(row[1]));
    }
    std::vector<unsigned char> many(300, 0xFF);
    EXPECT_EQ(CalSUM(many.data(), 300), 10964);
    for (const Row &row : table("0 48; 9 57; 10 65; 15 70; 16 71; -1 47")) {
        EXPECT_EQ(DigitalToASCII(row.number(0)), row.number(1));
    }
    for (const Row &row :
         table("70 15; 102 47; 97 42; 65 10; 64 0; 63 15; 58 10; 57 9; 49 1; 32 0")) {
        EXPECT_EQ(ASCIIToDigital(row.number(0)), row.number(1));
    }
}

TEST_F(Driver, ReadRequests) {
    // variable | frame | replyLength | dataLength
    for (const Row &row : table(R"(17/7:107+3|11 03 00 6B 00 03 76 87|11|6
             1/6:0+10|01 04 00 00 00 0A 70 0D|25|20; 1/8:100+2|01 03 13 EC 00 02 01 7A|9|4
             1/7:-1+1|01 03 FF FF 00 01 *|7|2; 511/7:131070+65794|FF 03 FF FE 01 02 *|131593|131588
             1/-1:0+1|; 1/0:0+1|; 1/5:0+1|; 1/9:0+1|; 1/15:0+1|)")) {
        for (const auto &build : {ReadRegister, ReadAnalog}) {
            SCOPED_TRACE(row.trace());
            info.frameCount = info.frameIndex = 7;
            PLC_driver.requestList = {Protocol()};
            RW_VAR asked = var(row[0]);
            asked.hostText = "pump";
            asked.saveMode = -1;
            asked.value = "v";
            build(&asked);
            const bool built = !row[1].isEmpty();
            EXPECT_TRUE(info.frameCount == (built ? 1 : 7) && info.frameIndex == (built ? 0 : 7));
            ASSERT_EQ(PLC_driver.requestList.size(), built ? 2 : 1);
            const Protocol &request = PLC_driver.requestList.last();
            EXPECT_EQ(hex(request.frame), hex(bytes(row[1])));
            EXPECT_EQ(request.frameLength, request.frame.size());
            EXPECT_EQ(request.replyLength, row.number(2));
            EXPECT_EQ(request.dataLength, row.number(3));
            if (built) {
                EXPECT_EQ(text(request.var), text(asked));
                EXPECT_TRUE(request.var.hostText == "pump" && request.var.saveMode == -1);
                EXPECT_EQ(request.dataOffset, 3);
            }
        }
    }
}

TEST_F(Driver, ReplyCheck) {
    // station | isWrite | reply | verdict
    for (const Row &row : table(R"(17|0|11 03 06 02 2B 00 00 00 64 C8 BA|1; 0|0||2; 0|1|FF|2; 1|0||0
             17|0|11 03 06 02 2B 00 00 00 64 BA C8|0; 18|0|11 03 06 02 2B 00 00 00 64 C8 BA|0
             17|0|11 03 06 02 2B 00 00 00 65 C8 BA|0; 1|0|01 03 00 00*|1; 1|0|01 83 02*|0
             200|0|C8 03 02 00 01*|1; 256|0|00 03 02 00 01*|0; 1|1|01 10 00 0A 00 02*|2
             1|7|01 10 00 0A 00 02*|2; 1|1|02 10 00 0A 00 02*|0)")) {
        PLC_driver.requestList = {Protocol(), Protocol()};
        PLC_driver.requestList[0].var.station = row.number(0);
        PLC_driver.requestList[0].var.isWrite = row.number(1);
        QByteArray reply = bytes(row[2]);
        EXPECT_EQ(CheckGetData(&reply, 0), row.number(3)) << row.trace();
    }
}

TEST_F(Driver, WriteRequests) {
    for (const Row &row : table(R"(1/7:10+2=34127856|01 10 00 0A 00 02 04 12 34 56 78 08 E4
             1/8:10+1=3412|01 10 13 92 00 01 02 12 34*; 1/10:3+1=44332211|01 10 00 06 00 02 04 33 44 11 22*
             1/11:3+1=44332211|01 10 13 8E 00 02 04 33 44 11 22 60 6B
             2/13:1+1=0807060504030201|02 10 00 04 00 04 08 07 08 05 06 03 04 01 02 85 13
             2/14:1+1=0807060504030201|02 10 13 8C 00 04 08 07 08 05 06 03 04 01 02*
             1/7:10+0|01 10 00 0A 00 00 00 0A 88; 1/7:10+2=341278|01 10 00 0A 00 02 04 12 34 00 78*
             515/7:10+1=34129999|03 10 00 0A 00 01 02 12 34*; 1/7:10+-1=3412|01 10 00 0A FF FF FE*
             1/13:1+2147483647=3412|01 10 00 04 FF FC F8*; 1/6:10+1=3412|01 00 00 0A 81 DF
             1/0:10+1|01 00 00 0A 81 DF; 1/3:10+1|01 00 00 0A 81 DF; 1/9:10+1|01 00 00 0A 81 DF
             1/12:10+1|01 00 00 0A 81 DF; 1/15:10+1|01 00 00 0A 81 DF; 1/2:10+1|01 00 13 92*)")) {
        SCOPED_TRACE(row.trace());
        PLC_driver.requestList = {Protocol()};
        info.frameCount = info.frameIndex = 7;
        RW_VAR written = var(row[0]);
        WriteAnalog(&written);
        ASSERT_EQ(PLC_driver.requestList.size(), 2);
        const Protocol &request = PLC_driver.requestList.last();
        EXPECT_EQ(hex(request.frame), hex(bytes(row[1])));
        EXPECT_EQ(request.frameLength, request.frame.size());
        EXPECT_EQ(request.replyLength, 8);
        EXPECT_TRUE(request.dataOffset == 0 && request.dataLength == 0);
        EXPECT_EQ(text(request.var), row.text(0));
        EXPECT_EQ(text(written), row.text(0));
        EXPECT_TRUE(info.frameCount == 1 && info.frameIndex == 0);
    }
    RW_VAR toAll = var("0/7:0+128");
    WriteAnalog(&toAll);
    EXPECT_EQ(PLC_driver.requestList.last().replyLength, 0);
    EXPECT_EQ(PLC_driver.requestList.last().frameLength, 9 + 256);
    EXPECT_EQ(hex(PLC_driver.requestList.last().frame.left(7)), "00 10 00 00 00 80 00");
}

TEST_F(Driver, BitAndByteWritesPatchTheRegisterTheyRead) {
    // write | register as read | read request | write request
    for (const Row &row :
         table(R"(1/1:35+1=01|12 34|01 03 00 02 00 01 25 CA|01 10 00 02 00 01 02 12 3C AB 03
             1/1:35+1=00|FF FF|01 03 00 02 00 01 25 CA|01 10 00 02 00 01 02 FF F7*
             1/1:47+1=80|12 34|01 03 00 02 00 01 25 CA|01 10 00 02 00 01 02 92 34*
             1/1:40+1=00|FF FF|01 03 00 02 00 01 25 CA|01 10 00 02 00 01 02 FE FF*
             1/1:40+1=00|00 00|01 03 00 02 00 01 25 CA|01 10 00 02 00 01 02 00 00*
             1/1:39+1=01|00 00|01 03 00 02 00 01 25 CA|01 10 00 02 00 01 02 00 80*
             1/1:32+1   |FF FF|01 03 00 02 00 01 25 CA|01 10 00 02 00 01 02 FF FE*
             1/1:-5+1=01|12 34|01 03 00 00 00 01*     |01 10 00 00 00 01 02 12 34*
             1/2:35+1=01|80 80|01 03 13 8A 00 01*     |01 10 13 8A 00 01 02 80 88*
             1/4:5+1=ab |12 34|01 03 00 02 00 01 25 CA|01 10 00 02 00 01 02 AB 34 D9 55
             1/4:4+1=ab |12 34|01 03 00 02 00 01 25 CA|01 10 00 02 00 01 02 12 AB EA AD
             1/4:4+1    |FF FF|01 03 00 02 00 01 25 CA|01 10 00 02 00 01 02 FF 00*
             1/5:5+1=ab |12 F4|01 03 13 8A 00 01*     |01 10 13 8A 00 01 02 AB F4*)")) {
        SCOPED_TRACE(row.trace());
        reset();
        PLC_driver.writeList = vars(row[0] + " 1/1:33+1=55"); // only the head counts
        RW_VAR written = PLC_driver.writeList.first();
        written.isWrite = 1;
        WriteRegister(&written);
        ASSERT_EQ(PLC_driver.requestList.size(), 2);
        EXPECT_TRUE(info.frameCount == 2 && info.frameIndex == 0);
        EXPECT_EQ(text(written), row.text(0));
        const Protocol &read = PLC_driver.requestList.first();
        EXPECT_EQ(hex(read.frame), hex(bytes(row[2])));
        EXPECT_TRUE(read.replyLength == 7 && read.var.isWrite == 0);
        EXPECT_EQ(read.var.saveMode, written.regType < 3 ? -1 : -2);
        const Protocol &later = PLC_driver.requestList.last();
        EXPECT_EQ(hex(later.frame), hex(sealed(bytes(row[3]).left(7) + QByteArray(2, '\0'))));
        EXPECT_TRUE(later.replyLength == 8 && later.var.isWrite == 1 && later.var.saveMode == 0);
        QByteArray reply = bytes("01 03 02" + row[1] + "*");
        const std::string before = image(1, 7) + image(1, 8);
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(hex(later.frame), hex(bytes(row[3])));
        EXPECT_EQ(image(1, 7) + image(1, 8), before); // the reply itself is not stored
    }
}

TEST_F(Driver, APatchNeedsAReplyAWriteAndItsFrame) {
    QByteArray reply = bytes("01 03 02 12 34*");
    QByteArray six = reply.left(6);
    QByteArray five = reply.left(5);
    for (const auto &patch : {SpecialRegisterSave, SpecialRegisterSaveByte}) {
        reset();
        RW_VAR written = var("1/1:35+1=01");
        WriteRegister(&written);
        const QByteArray placeholder = PLC_driver.requestList.last().frame;
        EXPECT_EQ(hex(placeholder), "01 10 00 02 00 01 02 00 00 A7 B2");
        patch(&reply); // nothing in writeList
        PLC_driver.writeList = {written};
        patch(&five);
        EXPECT_EQ(PLC_driver.requestList.last().frame, placeholder);
        const Protocol read = PLC_driver.requestList.takeFirst();
        patch(&reply); // nothing behind the request in flight
        EXPECT_EQ(PLC_driver.requestList.last().frame, placeholder);
        PLC_driver.requestList.prepend(read);
        patch(&six);
        EXPECT_NE(PLC_driver.requestList.last().frame, placeholder);
    }
}

TEST_F(Driver, ALocalWriteIsMirroredUnlessCommunicationHasFailed) {
    for (const char *written : {"1/1:9+1=03", "1/4:9+1=03", "1/7:9+1=0304"}) {
        for (const bool failed : {false, true}) {
            reset();
            PLC_driver.commFailed = failed;
            RW_VAR copy = var(written);
            WriteRegister(&copy);
            EXPECT_EQ(PLC_driver.requestList.size(), copy.regType == 7 ? 1 : 2);
            EXPECT_EQ(DataStorage.isEmpty(), failed);
        }
    }
}

TEST_F(Driver, RepliesInTheImage) {
    // request | reply | an area that held six bytes EE
    for (const Row &row : table(R"(17/7:0+3|11 03 06 02 2B 00 00 00 64 C8 BA|2B 02 00 00 64 00
             17/6:1+1|11 03 06 02 2B 00 00 00 64|EE EE 2B 02 EE EE; 17/7:0+0|11 03 06 02 2B|EE EE EE EE EE EE
             17/8:2+2|11 03 06 02 2B 00 00 00 64|EE EE EE EE 2B 02 00 00; 17/7:4+-1|11 03 06 02 2B|EE EE EE EE EE EE
             17/7:-1+2|11 03 06 02 2B 00 00|EE EE EE EE EE EE; 17/7:0+2|11 03 06 02 2B 01|2B 02 00 01 EE EE
             17/7:0+2|11 03 06|EE EE EE EE EE EE; 17/7:5+0|11 03 06 02|EE EE EE EE EE EE 00 00 00 00
             17/7:8388607+2|11 03 04 01 02 03 04|EE EE EE EE EE EE)")) {
        reset();
        RW_VAR asked = var(row[0]);
        DataStorage[17][asked.regType] = QByteArray(6, '\xEE');
        ReadRegister(&asked);
        QByteArray reply = bytes(row[1]);
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(image(17, asked.regType), row.text(2)) << row.trace();
        EXPECT_EQ(PLC_driver.requestList.size(), 1);
    }
}

TEST_F(Driver, RepliesMakeTheirOwnRoom) {
    QByteArray reply = bytes("11 03 06 02 2B 00 00 00 64 C8 BA");
    for (const int area : {6, 7, 8, 20}) { // 20: room, but nothing stored
        reset();
        RW_VAR asked = var("17/7:107+3");
        ReadRegister(&asked);
        PLC_driver.requestList.first().var.regType = area;
        SaveToLocalDataErea(&reply);
        EXPECT_TRUE(DataStorage.keys() == QList<int>{17} && DataStorage[17].size() == 1);
        const QByteArray stored = area == 20 ? QByteArray(6, '\0') : bytes("2B 02 00 00 64 00");
        EXPECT_EQ(DataStorage[17][area], QByteArray(214, '\0') + stored);
    }
}

} // namespace
