// Draws a round's settings.
#include "setup.h"

#include "plc_driver.h"

#include <algorithm>

namespace {

constexpr int BlockLimits[] = {1, 2, 3, 7, 16, 32, 61, 100, 123, 125};
constexpr int FaultShares[] = {0, 1, 5, 15, 30, 60};
constexpr int ScreenShares[] = {2, 10, 30, 60};
constexpr int MostDefinitions[] = {1, 4, 12, 60};

Setup drawCommon(Random &random, int screens) {
    Setup setup;
    for (int i = 0; i < screens; ++i)
        setup.stations.push_back(1 + 15 * i + random.below(15));
    setup.stationsDie = !random.oneIn(3);
    setup.switches = random.oneIn(2);
    setup.floods = random.oneIn(16);
    setup.faultPercent = random.pick(FaultShares);
    setup.info.retryLimit = random.below(4);
    setup.info.useVarStation = 1;
    setup.info.portId = random.below(3);
    setup.info.commMode = 2;
    return setup;
}

void readInCycles(Setup &setup, const Variable &variable) {
    VARDEF definition;
    definition.regType = static_cast<unsigned char>(variable.regType);
    definition.station = static_cast<unsigned char>(variable.station);
    definition.addressText = variable.addressText();
    definition.count = variable.hostCount();
    setup.variables.push_back(variable);
    setup.definitions.append(definition);
}

} // namespace

Setup drawSetup(Random &random) {
    Setup setup = drawCommon(random, random.between(1, 4));
    setup.info.blockLimit = random.pick(BlockLimits);
    setup.screenPercent = random.pick(ScreenShares);
    setup.turns = random.between(200, 3000);
    const int definitions = random.between(1, random.pick(MostDefinitions));
    for (int i = 0; i < definitions; ++i) {
        const int most = random.oneIn(6) ? 30 : 4;
        const int station = random.pick(setup.stations);
        readInCycles(setup, drawVariable(random, station, most));
    }
    return setup;
}

Setup drawThreadedSetup(Random &random, int screens) {
    Setup setup = drawCommon(random, screens);
    setup.threaded = true;
    setup.info.blockLimit = BlockSize;
    setup.holdsImage = random.oneIn(2);
    setup.turns = random.between(50, 400); // of each screen
    for (const int station : setup.stations) {
        for (int block = 0; block < RegistersRead; block += BlockSize) {
            readInCycles(setup, {station, 6, block, BlockSize});
            readInCycles(setup, {station, 7, block, BlockSize});
        }
    }
    return setup;
}

Variable drawVariable(Random &random, int station, int mostElements) {
    Variable variable{station, random.below(15), 0, 1};
    const int room = RegistersRead * 16 / variable.width();
    variable.elements = std::min(random.between(1, mostElements), room);
    variable.address = random.below(room - variable.elements + 1);
    return variable;
}

QByteArray answerTo(const Variable &variable) {
    QByteArray answer("old");
    GetRegisterData(nullptr, variable.regType, variable.addressText(), variable.station, &answer,
                    variable.hostCount());
    return answer;
}
