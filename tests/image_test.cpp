// The register image: its room, what screens read from it, and what a write puts there.
#include "driver_fixture.h"

#include "image/store.h"
#include "image/write_back.h"

#include <climits>

namespace {

class Image : public Driver {
protected:
    // The bytes of an area, none when there is no such area.
    static std::string area(int number) { return hex(DataStorage.value(1).value(number)); }
};

TEST_F(Image, RoomIsMadeInTheWidthOfTheType) {
    struct Row {
        const char *why;
        int regType, address, count, size; // -1: no area
    };
    const Row rows[] = {
        {"bits, nine to a byte", 0, 17, 20, 4},
        {"one bit needs none", 1, 0, 1, 0},
        {"words", 7, 10, 2, 24},
        {"32-bit values", 10, 3, 2, 20},
        {"unknown types like words", 20, 3, 2, 10},
        {"a negative size", 7, 1, -3, 0},
        {"the largest area", 7, 8388607, 1, 16777216},
        {"a byte more", 4, 16777216, 1, -1},
        {"64-bit values beyond any int", 13, INT_MAX, 1, -1},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        restart();
        ControlInformationM request{1, row.regType, row.address, row.count};
        checkTheStorage(request);
        EXPECT_EQ(std::tie(request.station, request.regType, request.address, request.count),
                  std::tuple(1, row.regType, row.address, row.count));
        const auto areas = DataStorage.value(1);
        const int number = getPlcReg(row.regType);
        EXPECT_EQ(areas.contains(number) ? areas.value(number).size() : -1, row.size);
    }
}

TEST_F(Image, AnAreaGrowsWithZerosAndNeverShrinks) {
    show(7, "0", 2, bytes("11 22 33 44"));
    for (const int count : {1, 2, -9, INT_MAX}) {
        ControlInformationM request{1, 7, 0, count};
        checkTheStorage(request);
        EXPECT_EQ(area(7), "11 22 33 44");
    }
    ControlInformationM request{1, 7, 0, 3};
    checkTheStorage(request);
    EXPECT_EQ(area(7), "11 22 33 44 00 00");
}

TEST_F(Image, EveryTypeIsAViewOfTheSameBytes) {
    struct Row {
        const char *why;
        int regType;
        const char *address;
        int count;
        const char *shown;
    };
    const Row rows[] = {
        {"a byte for each bit, across two bytes", 1, "3.0", 9, "01 01 00 00 00 00 00 00 00"},
        {"bits behind the end", 1, "15.3", 6, "01 00 00 00 00 00"},
        {"two bytes for each byte", 4, "1", 3, "01 00 02 00 03 00"},
        {"words", 7, "1", 2, "02 03 04 05"},
        {"half a 32-bit value counts as one", 10, "1", 3, "04 05 06 07 08 09 0A 0B"},
        {"a 64-bit value", 13, "1", 4, "08 09 0A 0B 0C 0D 0E 0F"},
        {"a quarter counts as one, room is made", 13, "1", 5,
         "08 09 0A 0B 0C 0D 0E 0F 00 00 00 00 00 00 00 00"},
        {"no words", 7, "1", 0, ""},
        {"less than no bits", 1, "0.1", -4, ""},
        {"less than no 32-bit values", 10, "0", -4, ""},
        {"an unknown type", 15, "0", 1, ""},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        restart();
        show(7, "0", 8, bytes("00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"));
        EXPECT_EQ(screen(row.regType, row.address, row.count), row.shown);
    }
}

TEST_F(Image, WhatNothingHasReachedReadsAsZero) {
    show(7, "0", 1, bytes("11 11"));
    EXPECT_EQ(screen(7, "2", 2), "00 00 00 00");
    EXPECT_EQ(area(7), "11 11 00 00 00 00 00 00");
    EXPECT_EQ(screen(8, "0", 1), "00 00");
    EXPECT_EQ(screen(7, "0", 1, 2), "00 00");
    info.useVarStation = 0; // the default station answers for every other
    info.defaultStation = 1;
    EXPECT_EQ(screen(7, "0", 1, 2), "11 11");
}

TEST_F(Image, AReadThatIsRefusedAnswersTwoZeroBytesForEachElement) {
    struct Row {
        const char *why;
        int regType;
        const char *address;
        int count, size;
    };
    const Row rows[] = {
        {"no address", 7, "x", 3, 6},
        {"a negative address", 7, "-1", 2, 4},
        {"less than nothing", 7, "x", -2, 0},
        {"bits behind the bound", 1, "200000000.0", 1, 2},
        {"64-bit values beyond any int", 13, "2147483647", 1, 2},
        {"the most zeros there are", 7, "x", 8388608, 16777216},
        {"more zeros than an area has", 7, "x", 8388609, 0},
        {"more bits than an area has bytes", 1, "0.0", 16777217, 0},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        QByteArray answer = "old";
        EXPECT_EQ(GetRegisterData(nullptr, row.regType, row.address, 1, &answer, row.count), 0);
        EXPECT_EQ(answer, QByteArray(row.size, '\0'));
        EXPECT_TRUE(DataStorage.isEmpty());
    }
}

TEST_F(Image, AWriteChangesItsOwnBitsAndBytes) {
    struct Row {
        const char *why;
        Piece written;
        const char *image; // AA AA AA AA before
    };
    const Row rows[] = {
        {"bits of one byte", {1, 1, 12, 3, "80 00 01"}, "AA DA AA AA"},
        {"bits across two bytes", {1, 1, 7, 2, "00 01"}, "2A AB AA AA"},
        {"missing bits are cleared", {1, 1, 8, 4, "01"}, "AA A1 AA AA"},
        {"a bit behind the end", {1, 1, 46, 1, "01"}, "AA AA AA AA 00 40"},
        {"bytes", {1, 4, 1, 2, "11 22"}, "AA 11 22 AA"},
        {"words, the second behind the end", {1, 7, 1, 2, "34 12 78 56"}, "AA AA 34 12 78 56"},
        {"missing bytes are zero", {1, 7, 0, 2, "34"}, "34 00 00 00"},
        {"a 32-bit value", {1, 10, 1, 1, "01 02 03 04 05"}, "AA AA AA AA 01 02 03 04"},
        {"a 64-bit value", {1, 13, 0, 1, "01 02 03 04 05 06 07 08"}, "01 02 03 04 05 06 07 08"},
        {"area 8 is another", {1, 8, 0, 1, "34 12"}, "AA AA AA AA"},
        {"the input area", {1, 6, 0, 1, "34 12"}, "AA AA AA AA"},
        {"less than no words", {1, 7, 1, -1, "34 12"}, "AA AA AA AA"},
        {"words before the first", {1, 7, -1, 2, "34 12 78 56"}, "AA AA AA AA"},
        {"a bit before the first", {1, 1, -1, 1, "01"}, "AA AA AA AA"},
        {"bits beyond any int", {1, 1, INT_MAX, INT_MAX, "01"}, "AA AA AA AA"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        restart();
        show(7, "0", 2, bytes("AA AA AA AA"));
        RW_VAR var = variable(row.written);
        WriteDataToLocal(&var);
        EXPECT_EQ(area(7), row.image);
        EXPECT_EQ(area(6), row.written.regType == 6 ? "00 00" : "");
        EXPECT_EQ(area(8), row.written.regType == 8 ? "34 12" : "");
    }
}

TEST_F(Image, BitsEndAtTheBoundOfTheirArea) {
    RW_VAR var = variable({1, 1, 134217727, 3, "01 01 01"});
    WriteDataToLocal(&var);
    EXPECT_EQ(DataStorage[1][7].size(), 16777216);
    EXPECT_EQ(DataStorage[1][7].at(16777215), '\x80');
}

} // namespace
