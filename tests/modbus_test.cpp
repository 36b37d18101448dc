// Checksums, Modbus RTU requests, the reply check, and replies stored into the image.
#include "driver_fixture.h"

#include "modbus/read_request.h"
#include "modbus/reply_store.h"
#include "modbus/write_request.h"

#include <climits>

namespace {

int sumOf(int (*checksum)(unsigned char *, unsigned short), QByteArray data) {
    return checksum(reinterpret_cast<unsigned char *>(data.data()),
                    static_cast<unsigned short>(data.size()));
}

TEST(Checksums, KnownValues) {
    const struct {
        int (*checksum)(unsigned char *, unsigned short);
        QByteArray data;
        int result;
    } rows[] = {{CalCRC, "", 0xFFFF},
                {CalCRC, bytes("11 03 00 6B 00 03"), 0x8776},
                {CalCRC, bytes("01 03 00 00 00 01"), 0x0A84},
                {CalCRC, "123456789", 0x4B37},
                {CalSUM, "", 0},
                {CalSUM, bytes("80 FF"), 0x17F},
                {CalSUM, QByteArray(300, '\xFF'), 10964},
                {CalLRC, "", 256},
                {CalLRC, bytes("01 03"), 0xFC},
                {CalLRC, bytes("80 80"), 256},
                {CalLRC, bytes("FF"), 1},
                {CalXOR, "", 0},
                {CalXOR, bytes("A5"), 0xA5},
                {CalXOR, bytes("01 02 03"), 0},
                {CalXOR, bytes("F0 81"), 0x71}};
    for (const auto &row : rows) {
        EXPECT_EQ(sumOf(row.checksum, row.data), row.result) << hex(row.data);
    }
    EXPECT_EQ(CalCRC(nullptr, 0) + CalSUM(nullptr, 0) + CalLRC(nullptr, 0) + CalXOR(nullptr, 0),
              0xFFFF + 256);
}

TEST(Checksums, HexadecimalDigits) {
    const std::pair<int, int> toAscii[] = {{0, 0x30},  {9, 0x39},  {10, 0x41},
                                           {15, 0x46}, {16, 0x47}, {-1, 0x2F}};
    for (const auto &[digit, character] : toAscii) {
        EXPECT_EQ(DigitalToASCII(digit), character);
    }
    const std::pair<int, int> toDigit[] = {{0x46, 15}, {0x66, 47}, {0x61, 42}, {0x41, 10},
                                           {0x40, 0},  {0x3F, 15}, {0x3A, 10}, {0x39, 9},
                                           {0x30, 0},  {0x2F, 0},  {0x20, 0},  {-1, 0}};
    for (const auto &[character, digit] : toDigit) {
        EXPECT_EQ(ASCIIToDigital(character), digit) << character;
    }
}

TEST_F(Driver, ReadRequests) {
    const struct {
        RW_VAR var;
        const char *frame;
        int replyLength, dataLength;
    } rows[] = {{var(17, 7, 0x6B, 3), "11 03 00 6B 00 03 76 87", 11, 6},
                {var(1, 6, 0, 10), "01 04 00 00 00 0A 70 0D", 25, 20},
                {var(1, 8, 100, 2), "01 03 13 EC 00 02 01 7A", 9, 4},
                {var(0x1FF, 7, 0x1FFFE, 0x10102), "FF 03 FF FE 01 02 81 A1", 131593, 131588},
                {var(1, 7, -1, 1), "01 03 FF FF 00 01 84 2E", 7, 2}};
    for (const auto &row : rows) {
        for (const auto &build : {ReadRegister, ReadAnalog}) {
            reset();
            info.frameCount = info.frameIndex = 7;
            PLC_driver.requestList.append(Protocol());
            RW_VAR var = row.var;
            var.hostText = "pump";
            var.saveMode = -1;
            var.value = "v";
            build(&var);
            ASSERT_EQ(PLC_driver.requestList.size(), 2);
            const Protocol &request = PLC_driver.requestList.last();
            EXPECT_EQ(hex(request.frame), row.frame);
            EXPECT_EQ(request.frameLength, 8);
            EXPECT_EQ(request.replyLength, row.replyLength);
            EXPECT_EQ(request.dataOffset, 3);
            EXPECT_EQ(request.dataLength, row.dataLength);
            EXPECT_EQ(text(request.var), text(var));
            EXPECT_TRUE(request.var.hostText == "pump" && request.var.saveMode == -1);
            EXPECT_TRUE(info.frameCount == 1 && info.frameIndex == 0);
        }
    }
    info.frameCount = info.frameIndex = 7;
    PLC_driver.requestList.clear();
    for (const int type : {-1, 0, 5, 9, 15}) {
        RW_VAR unreadable = var(1, type, 0, 1);
        ReadRegister(&unreadable);
    }
    EXPECT_TRUE(PLC_driver.requestList.isEmpty() && info.frameCount == 7 && info.frameIndex == 7);
}

TEST_F(Driver, ReplyCheck) {
    const struct {
        int station, isWrite;
        QByteArray reply;
        int result;
    } rows[] = {{17, 0, bytes("11 03 06 02 2B 00 00 00 64 C8 BA"), 1},
                {17, 0, bytes("11 03 06 02 2B 00 00 00 64 BA C8"), 0}, // CRC bytes swapped
                {17, 0, bytes("11 03 06 02 2B 00 00 00 65 C8 BA"), 0},
                {18, 0, bytes("11 03 06 02 2B 00 00 00 64 C8 BA"), 0},
                {1, 0, sealed("01 03 00 00"), 1}, // six bytes are enough
                {1, 0, sealed("01 83 02"), 0},    // an exception is five
                {1, 0, QByteArray(), 0},
                {200, 0, sealed("C8 03 02 00 01"), 1}, // unsigned
                {256, 0, sealed("00 03 02 00 01"), 0}, // sent as 0, compared as 256
                {1, 1, sealed("01 10 00 0A 00 02"), 2},
                {1, 7, sealed("01 10 00 0A 00 02"), 2},
                {1, 1, sealed("02 10 00 0A 00 02"), 0},
                {0, 0, QByteArray(), 2},
                {0, 1, bytes("FF"), 2}};
    for (const auto &row : rows) {
        Protocol request;
        request.var.station = row.station;
        request.var.isWrite = row.isWrite;
        PLC_driver.requestList = {request, Protocol()};
        QByteArray reply = row.reply;
        EXPECT_EQ(CheckGetData(&reply, 0), row.result) << row.station << ": " << hex(reply);
    }
}

TEST_F(Driver, WriteRequests) {
    const struct {
        RW_VAR var;
        const char *frame;
    } rows[] = {
        {var(1, 7, 10, 2, "34 12 78 56"), "01 10 00 0A 00 02 04 12 34 56 78 08 E4"},
        {var(1, 8, 10, 1, "34 12"), "01 10 13 92 00 01 02 12 34 95 54"},
        {var(1, 10, 3, 1, "44 33 22 11"), "01 10 00 06 00 02 04 33 44 11 22 B0 9D"},
        {var(1, 11, 3, 1, "44 33 22 11"), "01 10 13 8E 00 02 04 33 44 11 22 60 6B"},
        {var(2, 13, 1, 1, "08 07 06 05 04 03 02 01"),
         "02 10 00 04 00 04 08 07 08 05 06 03 04 01 02 85 13"},
        {var(2, 14, 1, 1, "08 07 06 05 04 03 02 01"),
         "02 10 13 8C 00 04 08 07 08 05 06 03 04 01 02 5D E1"},
        {var(1, 7, 10, 0), "01 10 00 0A 00 00 00 0A 88"},
        {var(1, 7, 10, 2, "34 12 78"), "01 10 00 0A 00 02 04 12 34 00 78 37 44"}, // short: zero
        {var(0x203, 7, 10, 1, "34 12 99 99"), "03 10 00 0A 00 01 02 12 34 B2 ED"},
        {var(1, 7, 10, -1, "34 12"), "01 10 00 0A FF FF FE FA C8"},
        {var(1, 13, 1, INT_MAX, "34 12"), "01 10 00 04 FF FC F8 78 D2"},
        {var(1, 6, 10, 1, "34 12"), "01 00 00 0A 81 DF"},
        {var(1, 0, 10, 1), "01 00 00 0A 81 DF"},
        {var(1, 3, 10, 1), "01 00 00 0A 81 DF"},
        {var(1, 9, 10, 1), "01 00 00 0A 81 DF"},
        {var(1, 12, 10, 1), "01 00 00 0A 81 DF"},
        {var(1, 2, 10, 1), "01 00 13 92 8D 45"},
        {var(1, 15, 10, 1), "01 00 00 0A 81 DF"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.frame);
        reset();
        info.frameCount = info.frameIndex = 7;
        RW_VAR var = row.var;
        WriteAnalog(&var);
        ASSERT_EQ(PLC_driver.requestList.size(), 1);
        const Protocol &request = PLC_driver.requestList.first();
        EXPECT_EQ(hex(request.frame), row.frame);
        EXPECT_EQ(request.frameLength, request.frame.size());
        EXPECT_EQ(request.replyLength, 8);
        EXPECT_TRUE(request.dataOffset == 0 && request.dataLength == 0);
        EXPECT_EQ(text(request.var), text(row.var));
        EXPECT_TRUE(info.frameCount == 1 && info.frameIndex == 0);
    }
}

TEST_F(Driver, LongAndBroadcastWrites) {
    RW_VAR write = var(0, 7, 0, 128);
    write.value = QByteArray(256, '\x11');
    WriteAnalog(&write);
    const Protocol &request = PLC_driver.requestList.first();
    EXPECT_EQ(request.replyLength, 0);
    EXPECT_EQ(request.frameLength, 9 + 256);
    EXPECT_EQ(hex(request.frame.left(8)), "00 10 00 00 00 80 00 11"); // byte count modulo 256
}

TEST_F(Driver, BitAndByteWritesPatchTheRegisterTheyRead) {
    const struct {
        int type, address;
        const char *value, *registers; // as read
        const char *read, *written;
    } rows[] = {
        {1, 35, "01", "12 34", "01 03 00 02 00 01 25 CA", "01 10 00 02 00 01 02 12 3C AB 03"},
        {1, 35, "00", "FF FF", "01 03 00 02 00 01 25 CA", "01 10 00 02 00 01 02 FF F7 A7 C4"},
        {1, 47, "80", "12 34", "01 03 00 02 00 01 25 CA", "01 10 00 02 00 01 02 92 34 CB 05"},
        {1, 40, "00", "FF FF", "01 03 00 02 00 01 25 CA", "01 10 00 02 00 01 02 FE FF A7 92"},
        {1, 39, "01", "00 00", "01 03 00 02 00 01 25 CA", "01 10 00 02 00 01 02 00 80 A6 12"},
        {1, 32, "", "FF FF", "01 03 00 02 00 01 25 CA", "01 10 00 02 00 01 02 FF FE 67 C2"},
        {2, 35, "01", "80 80", "01 03 13 8A 00 01 A1 64", "01 10 13 8A 00 01 02 80 88 FA 5D"},
        {4, 5, "AB", "12 34", "01 03 00 02 00 01 25 CA", "01 10 00 02 00 01 02 AB 34 D9 55"},
        {4, 4, "AB", "12 34", "01 03 00 02 00 01 25 CA", "01 10 00 02 00 01 02 12 AB EA AD"},
        {4, 4, "", "FF FF", "01 03 00 02 00 01 25 CA", "01 10 00 02 00 01 02 FF 00 E6 42"},
        {5, 5, "AB", "12 F4", "01 03 13 8A 00 01 A1 64", "01 10 13 8A 00 01 02 AB F4 E5 4C"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.written);
        reset();
        RW_VAR write = var(1, row.type, row.address, 1, row.value);
        write.isWrite = 1;
        PLC_driver.writeList = {write, var(1, row.type, row.address + 1, 1, "55")};
        WriteRegister(&write);
        ASSERT_EQ(PLC_driver.requestList.size(), 2);
        EXPECT_TRUE(info.frameCount == 2 && info.frameIndex == 0);
        EXPECT_EQ(text(write), text(PLC_driver.writeList.first()));
        const Protocol &read = PLC_driver.requestList.first();
        EXPECT_EQ(hex(read.frame), row.read);
        EXPECT_TRUE(read.replyLength == 7 && read.var.isWrite == 0);
        EXPECT_EQ(read.var.saveMode, row.type < 3 ? -1 : -2);
        const Protocol &later = PLC_driver.requestList.last();
        EXPECT_EQ(hex(later.frame), hex(sealed(bytes(row.written).left(7) + QByteArray(2, '\0'))));
        EXPECT_TRUE(later.replyLength == 8 && later.var.isWrite == 1 && later.var.saveMode == 0);
        QByteArray reply = sealed(bytes("01 03 02") + bytes(row.registers));
        const std::string before = image(1, 7) + image(1, 8);
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(hex(later.frame), row.written);
        EXPECT_EQ(image(1, 7) + image(1, 8), before); // the reply itself is not stored
    }
}

TEST_F(Driver, APatchNeedsAReplyAWriteAndItsFrame) {
    RW_VAR write = var(1, 1, 35, 1, "01");
    QByteArray reply = sealed("01 03 02 12 34");
    QByteArray five = reply.left(5);
    for (const auto &patch : {SpecialRegisterSave, SpecialRegisterSaveByte}) {
        reset();
        WriteRegister(&write);
        const std::string placeholder = hex(PLC_driver.requestList.last().frame);
        EXPECT_EQ(placeholder, "01 10 00 02 00 01 02 00 00 A7 B2");
        patch(&reply); // no head in writeList
        PLC_driver.writeList = {write};
        patch(&five);
        EXPECT_EQ(hex(PLC_driver.requestList.last().frame), placeholder);
        QByteArray six = reply.left(6);
        patch(&six);
        EXPECT_NE(hex(PLC_driver.requestList.last().frame), placeholder);
        PLC_driver.requestList.removeFirst();
        const std::string alone = hex(PLC_driver.requestList.last().frame);
        QByteArray other = sealed("01 03 02 77 77");
        patch(&other);
        EXPECT_EQ(hex(PLC_driver.requestList.last().frame), alone);
    }
    write.address = -5; // nobody's bit, but nothing may break
    reset();
    WriteRegister(&write);
    PLC_driver.writeList = {write};
    SpecialRegisterSave(&reply);
    EXPECT_EQ(PLC_driver.requestList.last().frame.size(), 11);
}

TEST_F(Driver, ALocalWriteIsMirroredUnlessCommunicationHasFailed) {
    for (const bool failed : {false, true}) {
        for (const int type : {1, 4, 7}) {
            reset();
            PLC_driver.commFailed = failed;
            RW_VAR write = var(1, type, 9, 1, "03 04");
            WriteRegister(&write);
            EXPECT_EQ(PLC_driver.requestList.size(), type == 7 ? 1 : 2);
            EXPECT_EQ(DataStorage.value(1).value(7).count('\0') ==
                          DataStorage.value(1).value(7).size(),
                      failed);
        }
    }
}

TEST_F(Driver, RepliesInTheImage) {
    const char *const three = "11 03 06 02 2B 00 00 00 64 C8 BA";
    const struct {
        RW_VAR var;
        const char *reply;
        const char *after; // of an area that held six bytes EE
    } rows[] = {{var(17, 7, 0, 3), three, "2B 02 00 00 64 00"},
                {var(17, 7, 1, 1), three, "EE EE 2B 02 EE EE"},
                {var(17, 7, 2, 2), three, "EE EE EE EE 2B 02 00 00"},
                {var(17, 7, 0, 0), three, "EE EE EE EE EE EE"},
                {var(17, 7, 3, 0), three, "EE EE EE EE EE EE"},
                {var(17, 7, 5, -1), three, "EE EE EE EE EE EE 00 00"},
                {var(17, 7, -1, 2), three, "EE EE EE EE EE EE"},
                {var(17, 7, 0, 2), "11 03 06 02 2B 01", "2B 02 00 01 EE EE"}, // odd: a high byte
                {var(17, 7, 0, 2), "11 03 06", "EE EE EE EE EE EE"}};
    for (const auto &row : rows) {
        reset();
        DataStorage[17][7] = QByteArray(6, '\xEE');
        RW_VAR var = row.var;
        ReadRegister(&var);
        QByteArray reply = bytes(row.reply);
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(image(17, 7), row.after) << text(var);
        EXPECT_EQ(PLC_driver.requestList.size(), 1);
    }
}

TEST_F(Driver, RepliesMakeTheirOwnRoom) {
    for (const int area : {6, 7, 8}) {
        reset();
        RW_VAR read = var(17, area, 0x6B, 3);
        ReadRegister(&read);
        QByteArray reply = bytes("11 03 06 02 2B 00 00 00 64 C8 BA");
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(DataStorage.keys(), QList<int>{17});
        EXPECT_EQ(DataStorage.value(17).keys(), QList<int>{area});
        EXPECT_EQ(DataStorage[17][area], QByteArray(214, '\0') + bytes("2B 02 00 00 64 00"));
    }
    RW_VAR nothing = var(5, 7, 4, 0);
    PLC_driver.requestList.clear();
    ReadRegister(&nothing);
    QByteArray reply = sealed("05 03 00");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(DataStorage[5][7], QByteArray(8, '\0'));
    PLC_driver.requestList.first().var.regType = 20;
    PLC_driver.requestList.first().dataLength = 2;
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(DataStorage[5][20], QByteArray(8, '\0'));
}

} // namespace
