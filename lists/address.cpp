// Parses address texts and turns host units into registers.
#include "lists/address.h"

#include "driver/register_types.h"
#include "driver/wrapping.h"
#include "plc_driver.h"

#include <QStringList>

namespace {

constexpr int NoAddress = -1;

// "a.b": eight bits for each unit of the first number.
int bitAddress(const QString &text) {
    const QStringList parts = text.split(QStringLiteral("."));
    if (parts.size() != 2) {
        return NoAddress;
    }
    return wrappingAdd(wrappingMultiply(parts.at(0).toInt(), 8), parts.at(1).toInt());
}

// Parts of a register take whole registers.
void spanOfParts(RW_VAR &var, int partsInRegister) {
    const int before = var.address % partsInRegister;
    const int parts = wrappingAdd(before, var.count);
    var.address /= partsInRegister;
    var.count = wrappingAdd(parts, partsInRegister - 1) / partsInRegister;
}

// Elements of several registers; the count is in registers and is rounded up to whole elements.
void spanOfElements(RW_VAR &var, int registersInElement) {
    const int elements = wrappingAdd(var.count, registersInElement - 1) / registersInElement;
    var.address = wrappingMultiply(var.address, registersInElement);
    var.count = wrappingMultiply(elements, registersInElement);
}

} // namespace

int StringAddressToInt(int regType, QString addressText) {
    if (widthOf(regType) == Width::Bit) {
        return bitAddress(addressText);
    }
    bool isNumber = false;
    const int address = addressText.toInt(&isNumber);
    return isNumber ? address : NoAddress;
}

int PLCAddressChangeIntef(int regType, QString &addressText) {
    return StringAddressToInt(regType, addressText);
}

int updateRwVar(RW_VAR *var) {
    const int area = getPlcReg(var->regType);
    switch (widthOf(var->regType)) {
    case Width::Bit:
        spanOfParts(*var, 16);
        break;
    case Width::Byte:
        spanOfParts(*var, 2);
        break;
    case Width::Double:
        spanOfElements(*var, 2);
        break;
    case Width::Quad:
        spanOfElements(*var, 4);
        break;
    case Width::Word:
    case Width::Unknown:
        break;
    }
    var->regType = area;
    return 0;
}
