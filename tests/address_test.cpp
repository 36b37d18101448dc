// Address texts, and variables brought from the host's units into spans of registers.
#include "driver_fixture.h"

#include "lists/address.h"

#include <climits>

namespace {

TEST(Address, ATextIsANumberInTheUnitsOfItsType) {
    struct Row {
        const char *why;
        int regType;
        const char *text;
        int address;
    };
    const Row rows[] = {
        {"a bit is eight times the first number and the second", 0, "12.3", 99},
        {"the second may be above 7", 2, "10.9", 89},
        {"a bit needs a dot", 1, "12", -1},
        {"and one only", 0, "1.2.3", -1},
        {"a part that is no number counts as 0", 0, "x.5", 5},
        {"the second too", 1, "3.", 24},
        {"the last bit", 0, "268435455.7", INT_MAX},
        {"bits behind it wrap around", 0, "268435456.0", INT_MIN},
        {"a byte", 3, "12", 12},
        {"bytes have no dot", 3, "12.3", -1},
        {"no hexadecimal", 6, "0x10", -1},
        {"no text", 6, "", -1},
        {"a negative number stays so", 6, "-3", -3},
        {"a number beyond an int", 7, "2147483648", -1},
        {"types above 14 have numbers", 15, "12", 12},
        {"so have negative ones", -1, "12", 12},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        QString text = row.text;
        EXPECT_EQ(StringAddressToInt(row.regType, text), row.address);
        EXPECT_EQ(PLCAddressChangeIntef(row.regType, text), row.address);
    }
}

TEST(Address, AVariableBecomesASpanOfRegisters) {
    struct Row {
        const char *why;
        Piece host, span;
    };
    const Row rows[] = {
        {"the last bit of a register", {1, 1, 15, 1}, {1, 7, 0, 1}},
        {"bits across two registers", {1, 0, 15, 2}, {1, 6, 0, 2}},
        {"a whole register of bits", {1, 2, 16, 16}, {1, 8, 1, 1}},
        {"no bits take the register they stand in", {1, 2, 5, 0}, {1, 8, 0, 1}},
        {"a bit before the first", {1, 1, -5, 1}, {1, 7, 0, 0}},
        {"bytes across two registers", {1, 4, 3, 2}, {1, 7, 1, 2}},
        {"both bytes of a register", {1, 5, 4, 2}, {1, 8, 2, 1}},
        {"words stay", {1, 7, 9, 3}, {1, 7, 9, 3}},
        {"half a 32-bit value counts as one", {1, 10, 5, 3}, {1, 7, 10, 4}},
        {"a quarter of a 64-bit value counts as one", {1, 14, 2, 5}, {1, 8, 8, 8}},
        {"no 64-bit values", {1, 12, 2, 0}, {1, 6, 8, 0}},
        {"types above 14 stay", {1, 15, 9, 3}, {1, 15, 9, 3}},
        {"so do negative ones", {1, -1, 9, 3}, {1, -1, 9, 3}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        RW_VAR var = variable(row.host);
        EXPECT_EQ(updateRwVar(&var), 0);
        EXPECT_EQ(pieceOf(var), row.span);
    }
}

} // namespace
