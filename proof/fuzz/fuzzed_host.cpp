// Draws a host from bytes.
#include "fuzzed_host.h"

#include "driver/Communication_Protocol.h"
#include "image/store.h"
#include "plc_driver.h"
#include "tests/fresh_driver.h"

#include <climits>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int Extremes[] = {INT_MIN, INT_MIN + 1, INT_MAX / -2, -65536,      -16,         -5,
                            -3,      -2,          -1,           0,           1,           2,
                            65535,   65536,       MaxAreaBytes, INT_MAX / 8, INT_MAX - 1, INT_MAX};

} // namespace

void require(bool holds, const char *promise) {
    if (holds)
        return;
    static_cast<void>(std::fprintf(stderr, "broken promise: %s\n", promise));
    std::abort();
}

int drawInt(FuzzedDataProvider &input) {
    const int kind = input.ConsumeIntegralInRange(0, 7);
    if (kind == 0)
        return input.ConsumeIntegral<int>();
    return kind == 1 ? input.PickValueInArray(Extremes) : input.ConsumeIntegralInRange(0, 300);
}

int drawRegType(FuzzedDataProvider &input) {
    return input.ConsumeIntegralInRange(0, 15) == 0 ? drawInt(input)
                                                    : input.ConsumeIntegralInRange(0, 14);
}

QString drawAddress(FuzzedDataProvider &input) {
    switch (input.ConsumeIntegralInRange(0, 3)) {
    case 0:
        return QString::fromStdString(input.ConsumeRandomLengthString(24));
    case 1:
        return QString::number(drawInt(input)) + '.' + QString::number(drawInt(input));
    default:
        return QString::number(drawInt(input));
    }
}

QByteArray drawBytes(FuzzedDataProvider &input, int most) {
    return QByteArray::fromStdString(input.ConsumeRandomLengthString(static_cast<size_t>(most)));
}

ComInfo &freshDriver(FuzzedDataProvider &input) {
    static ComInfo info;
    info = ComInfo();
    info.blockLimit = input.ConsumeBool() ? input.ConsumeIntegralInRange(1, 125) : drawInt(input);
    info.defaultStation = input.ConsumeIntegralInRange(0, 3);
    info.retryLimit = input.ConsumeIntegralInRange(-1, 3);
    info.retryCount = input.ConsumeIntegralInRange(0, 15) == 0 ? drawInt(input) : 0;
    info.useVarStation = input.ConsumeBool() ? 1 : 0;
    info.remoteMode = input.ConsumeIntegralInRange(0, 3) == 0 ? 1 : 0;
    info.portId = input.ConsumeIntegralInRange(0, 2);
    info.commMode = input.ConsumeIntegralInRange(0, 7) == 0 ? 1 : 2;
    resetDriver();
    PLC_driver.commFailed = input.ConsumeBool();
    SetComInfo(&info);
    if (input.ConsumeBool()) {
        RegistCallBackFuncIntf([](void *, int, int, int) { return 0; },
                               [](QList<RW_VAR> *, int, int) { return 0; });
    }
    return info;
}

RW_VAR drawVar(FuzzedDataProvider &input) {
    RW_VAR var;
    var.ownerId = input.ConsumeIntegralInRange(-1, 13);
    var.itemId = input.ConsumeIntegralInRange(0, 3);
    var.isWrite = input.ConsumeIntegralInRange(0, 1);
    var.portId = input.ConsumeIntegralInRange(0, 2);
    var.regType = drawRegType(input);
    var.address = drawInt(input);
    var.addressText = drawAddress(input);
    var.station = input.ConsumeIntegralInRange(0, 7) == 0 ? drawInt(input)
                                                          : input.ConsumeIntegralInRange(0, 3);
    var.count = drawInt(input);
    var.saveMode = input.ConsumeIntegralInRange(-2, 0);
    var.value = drawBytes(input, 64);
    return var;
}

VARDEF drawDefinition(FuzzedDataProvider &input) {
    VARDEF definition;
    definition.regType = static_cast<unsigned char>(drawRegType(input));
    definition.station = static_cast<unsigned char>(input.ConsumeIntegralInRange(0, 3));
    definition.addressText = drawAddress(input);
    definition.count = drawInt(input);
    return definition;
}

void checkBounds() {
    for (const QMap<int, QByteArray> &areas : qAsConst(DataStorage)) {
        for (const QByteArray &area : areas)
            require(area.size() <= MaxAreaBytes, "no area grows beyond 16 MiB");
    }
}
