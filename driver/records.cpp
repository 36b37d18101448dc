// The two mappings of the register-type table.
#include "driver/records.h"

#include "driver/register_types.h"

namespace {

constexpr int FirstArea = 6;
constexpr int Area8 = 8;
constexpr int Area8WireOffset = 5000;

} // namespace

int getPlcReg(int regType) {
    return widthOf(regType) == Width::Unknown ? regType : regType % 3 + FirstArea;
}

int getOffsetAddress(int regType) {
    const bool known = widthOf(regType) != Width::Unknown;
    return known && getPlcReg(regType) == Area8 ? Area8WireOffset : 0;
}
