// Checksums, Modbus RTU requests, the reply check, and replies stored into the image.
#include "driver_fixture.h"

#include "modbus/checksums.h"
#include "modbus/write_request.h"

#include <climits>

namespace {

using Modbus = Driver;

TEST(Checksums, AreThoseOfTheirProtocols) {
    struct Row {
        const char *why;
        int (*checksum)(unsigned char *, unsigned short);
        const char *data;
        int result;
    };
    const Row rows[] = {
        {"no bytes", CalCRC, "", 0xFFFF},
        {"a request", CalCRC, "11 03 00 6B 00 03", 0x8776},
        {"the check value of the catalogues", CalCRC, "31 32 33 34 35 36 37 38 39", 0x4B37},
        {"bytes are unsigned", CalSUM, "80 FF", 0x17F},
        {"256 in the place of 0", CalLRC, "80 80", 256},
        {"the negative of the sum", CalLRC, "01 03", 252},
        {"no bytes", CalXOR, "", 0},
        {"bytes joined", CalXOR, "F0 81", 0x71},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        QByteArray data = bytes(row.data);
        auto *first = data.isEmpty() ? nullptr : reinterpret_cast<unsigned char *>(data.data());
        EXPECT_EQ(row.checksum(first, static_cast<unsigned short>(data.size())), row.result);
    }
    QByteArray many(300, '\xFF');
    EXPECT_EQ(CalSUM(reinterpret_cast<unsigned char *>(many.data()), 300), 300 * 255 - 65536);
}

TEST(Checksums, DigitsAreUpperCase) {
    for (const auto &[digit, text] : {std::pair{0, '0'}, {9, '9'}, {10, 'A'}, {15, 'F'}}) {
        EXPECT_EQ(DigitalToASCII(digit), text);
        EXPECT_EQ(ASCIIToDigital(text), digit);
    }
    EXPECT_EQ(ASCIIToDigital('/'), 0); // below '0'
    EXPECT_EQ(ASCIIToDigital('@'), 0);
    EXPECT_EQ(ASCIIToDigital('a'), 42); // not folded
}

TEST_F(Modbus, WriteRequests) {
    struct Row {
        const char *why;
        int station, regType, address, count;
        const char *value, *frame;
        int replyLength;
    };
    const Row rows[] = {
        {"words", 1, 7, 10, 2, "34 12 78 56", "01 10 00 0A 00 02 04 12 34 56 78 08 E4", 8},
        {"missing bytes are zero", 515, 8, 10, 1, "34", "03 10 13 92 00 01 02 00 34 80 94", 8},
        {"32-bit, low register first", 1, 11, 3, 1, "44 33 22 11 99",
         "01 10 13 8E 00 02 04 33 44 11 22 60 6B", 8},
        {"64-bit", 2, 13, 1, 1, "08 07 06 05 04 03 02 01",
         "02 10 00 04 00 04 08 07 08 05 06 03 04 01 02 85 13", 8},
        {"no words, a broadcast", 0, 7, 10, 0, "", "00 10 00 0A 00 00 00 1A 48", 0},
        {"a size beyond any", 1, 13, 1, INT_MAX, "34 12", "01 10 00 04 FF FC F8 78 D2", 8},
        {"the input area has no such request", 1, 12, 10, 1, "", "01 00 00 0A 81 DF", 8},
        {"nor has an unknown type", 1, 15, 10, 1, "", "01 00 00 0A 81 DF", 8},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        RW_VAR var = variable({row.station, row.regType, row.address, row.count, row.value});
        info.frameCount = info.frameIndex = 7;
        WriteAnalog(&var);
        const Protocol &request = PLC_driver.requestList.last();
        EXPECT_EQ(hex(request.frame), row.frame);
        EXPECT_EQ(request.replyLength, row.replyLength);
        EXPECT_EQ(request.dataOffset + request.dataLength, 0);
        EXPECT_EQ(fieldsOf(request.var), fieldsOf(var));
        EXPECT_EQ(std::tie(info.frameCount, info.frameIndex), std::tuple(1, 0));
    }
}

TEST_F(Modbus, TheByteCountOfALongWriteWraps) {
    info.blockLimit = 128;
    write(7, "0", 128, {});
    EXPECT_EQ(ask().substr(0, 20), "01 10 00 00 00 80 00");
    EXPECT_EQ(PLC_driver.requestList.first().frameLength, 9 + 256);
}

TEST_F(Modbus, ABitOrByteIsWrittenByReadingItsRegisterFirst) {
    struct Row {
        const char *why;
        int regType;
        const char *address, *value, *read, *reply, *write;
    };
    const char *register2 = "01 03 00 02 00 01 25 CA", *register5002 = "01 03 13 8A 00 01 A1 64";
    const Row rows[] = {
        {"a bit set", 1, "4.3", "01", register2, "01 03 02 12 34 B5 33",
         "01 10 00 02 00 01 02 12 3C AB 03"},
        {"the highest bit cleared", 1, "5.7", "00", register2, "01 03 02 FF FF B9 F4",
         "01 10 00 02 00 01 02 7F FF C7 C2"},
        {"a bit of area 8", 2, "4.7", "80", register5002, "01 03 02 00 00 B8 44",
         "01 10 13 8A 00 01 02 00 80 9A 5B"},
        {"a low byte", 4, "4", "AB", register2, "01 03 02 12 34 B5 33",
         "01 10 00 02 00 01 02 12 AB EA AD"},
        {"a high byte of area 8", 5, "5", "AB", register5002, "01 03 02 12 F4 B5 63",
         "01 10 13 8A 00 01 02 AB F4 E5 4C"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        restart();
        write(row.regType, row.address, 1, bytes(row.value));
        write(7, "9", 1, bytes("EE EE")); // waits, and has no part in this
        EXPECT_EQ(ask(), row.read);
        EXPECT_EQ(info.frameCount, 2);
        EXPECT_EQ(answer(row.reply), 1);
        EXPECT_EQ(ask(), row.write);
        EXPECT_EQ(answer("01 10 00 00 00 01 01 C9"), 1);
    }
}

TEST_F(Modbus, ScreensSeeAWriteWhenItsRequestIsBuiltUnlessTheLineHasFailed) {
    write(1, "4.3", 1, bytes("01"));
    write(7, "3", 1, bytes("34 12"), 1, 8);
    ask();
    EXPECT_EQ(screen(7, "1", 3), "00 00 08 00 00 00");
    answer("01 03 02 12 34 B5 33");
    EXPECT_EQ(screen(7, "1", 3), "00 00 08 00 00 00"); // nothing of what was read for it
    noAnswer();
    EXPECT_EQ(ask(), "01 10 00 03 00 01 02 12 34 AB 14");
    EXPECT_EQ(screen(7, "1", 3), "00 00 08 00 00 00");
}

TEST_F(Modbus, AReadChangesItsOwnRegistersLowByteFirst) {
    struct Row {
        const char *why;
        int station, area;
        const char *read, *reply;
    };
    const Row rows[] = {
        {"input registers", 17, 6, "11 04 00 01 00 02 22 9B", "11 04 04 02 2B 00 64 9A 1E"},
        {"holding registers", 200, 7, "C8 03 00 01 00 02 84 52", "C8 03 04 02 2B 00 64 D3 64"},
        {"holding registers from 5000", 1, 8, "01 03 13 89 00 02 11 65",
         "01 03 04 02 2B 00 64 8A 68"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        restart();
        DataStorage[row.station][row.area] = QByteArray(8, '\xEE');
        queueRead(row.area, "1", 2, row.station);
        EXPECT_EQ(ask(), row.read);
        EXPECT_EQ(fieldsOf(PLC_driver.requestList.first().var),
                  fieldsOf(PLC_driver.onceReadList.first()));
        EXPECT_EQ(answer(row.reply), 1);
        EXPECT_EQ(hex(DataStorage[row.station][row.area]), "EE EE 2B 02 64 00 EE EE");
    }
}

} // namespace
