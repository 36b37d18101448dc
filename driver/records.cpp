// The two mappings of the register-type table.
#include "driver/records.h"

namespace {

constexpr int LastRegType = 14;
constexpr int FirstArea = 6;
constexpr int Area8 = 8;
constexpr int Area8WireOffset = 5000;

bool isRegType(int regType) {
    return regType >= 0 && regType <= LastRegType;
}

} // namespace

int getPlcReg(int regType) {
    return isRegType(regType) ? regType % 3 + FirstArea : regType;
}

int getOffsetAddress(int regType) {
    return isRegType(regType) && getPlcReg(regType) == Area8 ? Area8WireOffset : 0;
}
