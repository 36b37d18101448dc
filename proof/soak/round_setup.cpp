// Draws a round's settings and its definitions.
#include "round_setup.h"

#include "memory.h"

namespace {

constexpr int BlockLimits[] = {1, 2, 3, 7, 16, 32, 61, 100, 123, 125};
constexpr int FaultShares[] = {0, 1, 5, 15, 30, 60};
constexpr int ScreenShares[] = {2, 10, 30, 60};
constexpr int MostDefinitions[] = {1, 4, 12, 60};

// Elements of a type in an area.
int elementsInArea(int regType) {
    static const int PerRegister[] = {16, 2, 1};
    return regType < 9    ? RegistersPerArea * PerRegister[regType / 3]
           : regType < 12 ? RegistersPerArea / 2
                          : RegistersPerArea / 4;
}

int elementsOf(int regType, int count) {
    return regType >= 12 ? (count + 3) / 4 : regType >= 9 ? (count + 1) / 2 : count;
}

void drawScreens(Random &random, RoundSetup &setup, ScreenChoice screens) {
    const bool half = random.oneIn(2);
    setup.screensWrite = screens == ScreenChoice::Half ? half : screens == ScreenChoice::Always;
    setup.screenPercent = random.pick(ScreenShares);
    if (setup.screensWrite) {
        setup.areasOfScreens.insert(7);
        if (random.oneIn(2))
            setup.areasOfScreens.insert(8);
    }
}

} // namespace

RoundSetup drawSetup(Random &random, ScreenChoice screens) {
    RoundSetup setup;
    const int count = random.between(1, 4);
    for (int i = 0; i < count; ++i)
        setup.stations.push_back(1 + 50 * i + random.below(50));
    drawScreens(random, setup, screens);
    setup.hostClearsRetries = !random.oneIn(8);
    setup.faultPercent = random.pick(FaultShares);
    setup.definitions = random.between(1, random.pick(MostDefinitions));
    setup.exchanges = random.between(200, 3000);
    ComInfo &info = setup.info;
    info.blockLimit = random.pick(BlockLimits);
    info.defaultStation = setup.stations.front();
    info.useVarStation = random.oneIn(4) ? 0 : 1;
    info.retryLimit = random.below(4);
    info.remoteMode = random.oneIn(6) ? 1 : 0;
    info.portId = random.below(3);
    info.commMode = random.oneIn(10) ? 1 : 2;
    return setup;
}

QString drawAddress(Random &random, int regType, int count, bool beyond) {
    const int elements = elementsInArea(regType);
    const int last = beyond ? elements + 8 : qMax(0, elements - elementsOf(regType, count));
    const int address = random.oneIn(4) ? qMin(last, random.below(16)) : random.below(last + 1);
    if (regType > 2)
        return QString::number(address);
    return QString::number(address / 8) + '.' + QString::number(address % 8);
}

VARDEF drawDefinition(Random &random, const RoundSetup &setup, bool beyond) {
    VARDEF definition;
    definition.regType = static_cast<unsigned char>(random.below(15));
    definition.station = static_cast<unsigned char>(
        setup.stations[static_cast<size_t>(random.below(static_cast<int>(setup.stations.size())))]);
    definition.count = random.oneIn(6) ? random.between(1, 60) : random.between(1, 4);
    definition.addressText = drawAddress(random, definition.regType, definition.count, beyond);
    definition.hostText = QString::number(random.below(100));
    return definition;
}

QList<VARDEF> drawDefinitions(Random &random, const RoundSetup &setup) {
    QList<VARDEF> definitions;
    for (int i = 0; i < setup.definitions; ++i)
        definitions.append(drawDefinition(random, setup, false));
    return definitions;
}
