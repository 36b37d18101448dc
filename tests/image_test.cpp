// The register image: its room, what screens read from it, and what a write puts there.
#include "driver_fixture.h"

#include "image/store.h"
#include "image/write_back.h"

#include <climits>

namespace {

TEST_F(Driver, RoomForEveryWidth) {
    constexpr int Bound = 16 * 1024 * 1024;
    const struct {
        int type, address, count;
        int area, size; // size -1: refused
    } rows[] = {{0, 17, 20, 6, 4},
                {1, 0, 1, 7, 0},
                {2, 16, 9, 8, 3},
                {2, 15, 8, 8, 1},
                {3, 10, 3, 6, 13},
                {7, 10, 2, 7, 24},
                {10, 3, 2, 7, 20},
                {14, 2, 1, 8, 24},
                {20, 3, 2, 20, 10},
                {-1, 3, 2, -1, 10},
                {7, 1, -3, 7, 0},
                {7, -1, 3, 7, 4},
                {7, Bound / 2 - 1, 1, 7, Bound},
                {7, Bound / 2, 1, 7, -1},
                {4, Bound, 1, 7, -1},
                {1, INT_MAX, INT_MAX, 7, -1},
                {7, INT_MAX, INT_MAX, 7, -1},
                {7, INT_MAX, 1, 7, -1},
                {10, 1 << 30, 1, 7, -1},
                {13, INT_MAX, 1, 7, -1},
                {13, INT_MIN, 1, 7, 0},
                {20, INT_MAX, 1, 20, -1}};
    for (const auto &row : rows) {
        SCOPED_TRACE(
            QString("%1 %2 %3").arg(row.type).arg(row.address).arg(row.count).toStdString());
        DataStorage.clear();
        ControlInformationM request{4, row.type, row.address, row.count};
        checkTheStorage(request);
        EXPECT_EQ(DataStorage.contains(4), row.size >= 0);
        EXPECT_EQ(DataStorage.value(4).contains(row.area), row.size >= 0);
        const QByteArray area = DataStorage.value(4).value(row.area);
        EXPECT_EQ(area.size(), qMax(row.size, 0));
        EXPECT_EQ(area.count('\0'), area.size());
        EXPECT_TRUE(request.station == 4 && request.regType == row.type &&
                    request.address == row.address && request.count == row.count);
    }
}

TEST_F(Driver, AreasGrowAndNeverShrink) {
    DataStorage[4][7] = bytes("11 22 33 44");
    const std::pair<int, const char *> counts[] = {{1, "11 22 33 44"},
                                                   {2, "11 22 33 44"},
                                                   {3, "11 22 33 44 00 00"},
                                                   {2, "11 22 33 44 00 00"},
                                                   {INT_MAX, "11 22 33 44 00 00"},
                                                   {-9, "11 22 33 44 00 00"}};
    for (const auto &[count, after] : counts) {
        ControlInformationM request{4, 7, 0, count};
        checkTheStorage(request);
        EXPECT_EQ(image(4, 7), after) << count;
    }
    EXPECT_EQ(DataStorage.size(), 1);
    EXPECT_EQ(DataStorage[4].size(), 1);
}

TEST_F(Driver, ReadsOfEveryWidth) {
    const struct {
        int type;
        const char *address;
        int count;
        const char *answer;
    } rows[] = {{1, "0.7", 3, "01 00 01"},
                {1, "15.7", 3, "01 00 00"}, // beyond the array's end
                {1, "1.2", 0, ""},
                {4, "1", 3, "82 00 03 00 84 00"},
                {4, "15", 2, "90 00 00 00"},
                {7, "1", 2, "03 84 05 86"},
                {10, "1", 1, "05 86 07 88"},
                {10, "1", 2, "05 86 07 88"},
                {10, "1", 3, "05 86 07 88 09 8A 0B 8C"},
                {13, "1", 1, "09 8A 0B 8C 0D 8E 0F 90"},
                {13, "0", 5, "81 82 03 84 05 86 07 88 09 8A 0B 8C 0D 8E 0F 90"},
                {7, "6", 3, "0D 8E 0F 90 00 00"},
                {6, "0", 1, "00 00"},
                {8, "0", 1, "00 00"},
                {15, "0", 1, ""},
                {-1, "0", 1, ""}};
    for (const auto &row : rows) {
        SCOPED_TRACE(
            QString("%1 %2 %3").arg(row.type).arg(row.address).arg(row.count).toStdString());
        reset();
        DataStorage[2][7] = bytes("81 82 03 84 05 86 07 88 09 8A 0B 8C 0D 8E 0F 90");
        QByteArray answer = "old";
        EXPECT_EQ(GetRegisterData(nullptr, row.type, row.address, 2, &answer, row.count), 1);
        EXPECT_EQ(hex(answer), row.answer);
        info.useVarStation = 0; // the default station answers in place of any other
        info.defaultStation = 2;
        EXPECT_EQ(GetRegisterData(nullptr, row.type, row.address, 3, &answer, row.count), 1);
        EXPECT_EQ(hex(answer), row.answer);
        EXPECT_EQ(DataStorage.keys(), QList<int>{2});
    }
    EXPECT_TRUE(DataStorage[2].contains(-1)); // the last row's own area
}

TEST_F(Driver, AReadMakesRoomAndKeepsItsAnswer) {
    QByteArray answer;
    EXPECT_EQ(GetRegisterData(nullptr, 7, "10", 1, &answer, 2), 1);
    EXPECT_EQ(hex(answer), "00 00 00 00");
    EXPECT_EQ(DataStorage[1][7], QByteArray(24, '\0'));
    RW_VAR write = var(1, 7, 10, 2, "34 12 78 56");
    WriteDataToLocal(&write);
    EXPECT_EQ(hex(answer), "00 00 00 00");
    GetRegisterData(nullptr, 7, "10", 1, &answer, 2);
    EXPECT_EQ(hex(answer), "34 12 78 56");
}

TEST_F(Driver, ReadsThatAreRefused) {
    const struct {
        int type;
        const char *address;
        int count, result, size;
    } rows[] = {{7, "x", 3, 0, 6},
                {7, "-1", 2, 0, 4},
                {1, "5", 3, 0, 6},
                {7, "", 0, 0, 0},
                {7, "x", -2, 0, 0},
                {7, "9000000", 2, 0, 4},
                {1, "200000000.0", 5, 0, 10},
                {7, "0", 8388609, 0, 0},
                {7, "0", INT_MAX, 0, 0},
                {7, "x", 1000000000, 0, 0},
                {13, "2147483647", 4, 0, 8},
                {20, "2147483647", 1, 0, 2}};
    for (const auto &row : rows) {
        QByteArray answer = "old";
        EXPECT_EQ(GetRegisterData(nullptr, row.type, row.address, 1, &answer, row.count),
                  row.result);
        EXPECT_EQ(answer, QByteArray(row.size, '\0')) << row.type << " " << row.address;
        EXPECT_TRUE(DataStorage.isEmpty());
    }
    DataStorage[1][7] = bytes("11 22 33 44");
    for (const int type : {1, 4, 7, 10, 13, 15}) {
        QByteArray answer = "old";
        EXPECT_EQ(GetRegisterData(nullptr, type, type == 1 ? "0.1" : "0", 1, &answer, -4), 1);
        EXPECT_EQ(hex(answer), "") << type;
    }
}

TEST_F(Driver, WritesOfEveryWidth) {
    const char *const same = "AA AA AA AA AA AA AA AA";
    const struct {
        RW_VAR var;
        const char *after; // of an area that held eight bytes AA
    } rows[] = {{var(1, 1, 13, 3, "01 00 01"), "AA AA AA AA AA AA AA AA"},
                {var(1, 1, 13, 3, "00 01 00"), "AA 4A AA AA AA AA AA AA"},
                {var(1, 1, 12, 3, "80 00 01"), "AA DA AA AA AA AA AA AA"},
                {var(1, 2, 7, 2, "00 01"), "2A AB AA AA AA AA AA AA"},
                {var(1, 1, 70, 1, "01"), "AA AA AA AA AA AA AA AA 40"},
                {var(1, 1, 64, 1, "00"), "AA AA AA AA AA AA AA AA 00"},
                {var(1, 4, 2, 2, "11 22"), "AA AA 11 22 AA AA AA AA"},
                {var(1, 5, 3, 1, "11"), "AA AA AA 11 AA AA AA AA"},
                {var(1, 7, 1, 2, "34 12 78 56"), "AA AA 34 12 78 56 AA AA"},
                {var(1, 8, 4, 1, "34 12"), "AA AA AA AA AA AA AA AA 34 12"},
                {var(1, 10, 1, 1, "01 02 03 04 05"), "AA AA AA AA 01 02 03 04"},
                {var(1, 11, 1, 1, "01 02 03 04"), "AA AA AA AA 01 02 03 04"},
                {var(1, 13, 0, 1, "01 02 03 04 05 06 07 08"), "01 02 03 04 05 06 07 08"},
                {var(1, 14, 1, 1, "01 02 03 04 05 06 07 08"),
                 "AA AA AA AA AA AA AA AA 01 02 03 04 05 06 07 08"},
                {var(1, 7, 1, 2, "34"), "AA AA 34 00 00 00 AA AA"}, // missing bytes are zero
                {var(1, 1, 8, 4, "01"), "AA A1 AA AA AA AA AA AA"},
                {var(1, 7, 1, 0, "34 12"), same},
                {var(1, 7, 4, -1, "34 12"), same},
                {var(1, 7, -1, 2, "34 12 78 56"), same},
                {var(1, 1, -1, 1, "01"), same},
                {var(1, 7, INT_MAX, 2, "34 12"), same},
                {var(1, 1, INT_MAX, INT_MAX, "01"), same}};
    for (const auto &row : rows) {
        SCOPED_TRACE(text(row.var));
        reset();
        const int area = row.var.regType % 3 + 6;
        DataStorage[1][area] = QByteArray(8, '\xAA');
        RW_VAR var = row.var;
        WriteDataToLocal(&var);
        EXPECT_EQ(image(1, area), row.after);
        EXPECT_EQ(text(var), text(row.var));
        EXPECT_EQ(DataStorage[1].size(), 1);
    }
}

TEST_F(Driver, WritesThatOnlyMakeRoom) {
    for (const int type : {0, 3, 6, 9, 12, 15, -1}) {
        reset();
        RW_VAR write = var(3, type, 16, 1, "FF FF FF FF FF FF FF FF");
        WriteDataToLocal(&write);
        ASSERT_EQ(DataStorage.value(3).size(), 1) << type;
        const QByteArray area = DataStorage[3].first();
        EXPECT_TRUE(!area.isEmpty() && area.count('\0') == area.size()) << type;
    }
    RW_VAR bit = var(4, 1, 3, 1, "01"); // a station never seen before
    WriteDataToLocal(&bit);
    EXPECT_EQ(image(4, 7), "08");
}

TEST_F(Driver, WidthsSeeTheSameBytes) {
    RW_VAR byte = var(1, 4, 10, 1, "12");
    WriteDataToLocal(&byte);
    QByteArray answer;
    GetRegisterData(nullptr, 7, "5", 1, &answer, 1);
    EXPECT_EQ(hex(answer), "12 00"); // the low byte of register 5
    GetRegisterData(nullptr, 1, "10.1", 1, &answer, 1);
    EXPECT_EQ(hex(answer), "01");
}

} // namespace
