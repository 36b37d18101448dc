// The screens' calls.
#include "screens.h"

#include "cyclic_cover.h"
#include "driver/Communication_Protocol.h"
#include "plc_driver.h"

namespace {

std::string wrongAnswer(const char *call, int answer, int expected, const RW_VAR &var) {
    return std::string(call) + " answered " + std::to_string(answer) + ", not " +
           std::to_string(expected) + ", for " + describe(var);
}

QByteArray drawBytes(Random &random, int size) {
    QByteArray bytes(size, '\0');
    for (char &byte : bytes)
        byte = random.oneIn(3) ? '\0' : random.byte();
    return bytes;
}

int bytesOf(int regType, int count) {
    return regType < 3 ? count : regType < 9 ? 2 * count : regType < 12 ? 4 * count : 8 * count;
}

} // namespace

std::string Screens::act() {
    using Call = std::string (Screens::*)();
    static const Call Reading[] = {&Screens::read, &Screens::read, &Screens::addOnceRead,
                                   &Screens::addOnceRead};
    static const Call Writing[] = {&Screens::setRegister, &Screens::setRegister,
                                   &Screens::setRegister, &Screens::addWrite,
                                   &Screens::addOnceRead, &Screens::read};
    if (random.oneIn(60))
        return switchStation();
    if (random.oneIn(400))
        return rebuildAtRandom();
    if (random.oneIn(1500))
        return appendCyclic();
    if (random.oneIn(4000))
        return flood();
    const Call call = setup.screensWrite ? random.pick(Writing) : random.pick(Reading);
    return (this->*call)();
}

int Screens::anyStation() {
    return setup
        .stations[static_cast<size_t>(random.below(static_cast<int>(setup.stations.size())))];
}

// Of an area that screens write.
int Screens::anyWritableType() {
    const bool second = setup.areasOfScreens.count(8) != 0 && random.oneIn(2);
    return 3 * random.below(5) + (second ? 2 : 1);
}

// A record in host form; few identities and addresses, so that they meet again in the queues.
RW_VAR Screens::drawRecord(int regType, int count) {
    RW_VAR var;
    var.ownerId = random.between(-1, 13);
    var.itemId = random.oneIn(2) ? random.below(4) : random.below(100000);
    var.remoteMode = setup.info.remoteMode;
    var.portId = setup.info.portId;
    var.hostText = QStringLiteral("screen");
    var.regType = regType;
    var.station = anyStation();
    var.count = count;
    var.addressText = drawAddress(random, regType, count, random.oneIn(50));
    return var;
}

std::string Screens::read() {
    const int regType = random.below(15);
    RW_VAR var = drawRecord(regType, random.between(1, 20));
    QByteArray answer("old");
    const int result =
        GetRegisterData(&var.hostText, regType, var.addressText, var.station, &answer, var.count);
    var.address = PLCAddressChangeIntef(regType, var.addressText);
    const QByteArray expected =
        ledger.image.read(ledger.stationOf(var.station), regType, var.address, var.count);
    if (result == 1 && answer == expected)
        return {};
    return wrongAnswer("GetRegisterData", result, 1, var) + ": " + answer.toHex().toStdString() +
           ", not " + expected.toHex().toStdString();
}

std::string Screens::setRegister() {
    const int count = random.oneIn(20) ? random.between(5, 40) : random.between(1, 4);
    const int regType = random.oneIn(100) ? random.below(16) : anyWritableType();
    if (regType % 3 != 0 && regType != 15 && setup.areasOfScreens.count(regType % 3 + 6) == 0)
        return {};
    RW_VAR var = drawRecord(qMin(regType, 14), count);
    var.regType = regType;
    var.isWrite = 1;
    if (random.oneIn(100))
        var.addressText = QStringLiteral("none");
    if (random.oneIn(200) && setup.info.remoteMode == 0)
        var.station = 0;
    const int usual = bytesOf(regType, count);
    QByteArray data = drawBytes(random, random.oneIn(30) ? random.below(usual) : usual);
    const QByteArray kept = data;
    const int expected = ledger.setRegister(var, data);
    const int result = SetRegisterData(&var.hostText, regType, &var.addressText, var.station, &data,
                                       count, var.ownerId, var.itemId);
    ++tally.writes;
    return result == expected && data == kept
               ? std::string()
               : wrongAnswer("SetRegisterData", result, expected, var);
}

// Records of the host's own making: any count of elements, now and then of another port or with a
// type that no station takes.
std::string Screens::addWrite() {
    const int regType = random.oneIn(50) ? 6 : anyWritableType();
    const int count = regType < 6 ? 1 : random.between(1, random.oneIn(9) ? 70 : 3);
    RW_VAR var = drawRecord(regType, regType < 9 ? count : regType < 12 ? 2 * count : 4 * count);
    var.isWrite = 1;
    var.count = count;
    var.address = PLCAddressChangeIntef(regType, var.addressText);
    var.station = ledger.stationOf(var.station);
    if (regType >= 6 && random.oneIn(40))
        var.portId = setup.info.portId + 1;
    var.value = drawBytes(random, regType < 6 ? 1 : bytesOf(regType, count));
    const int mode = random.oneIn(20) ? 1 : 0;
    const int expected = ledger.addWrite(var, mode);
    const RW_VAR kept = var;
    const int result = AddListWriteVar(&var, mode);
    ++tally.writes;
    return result == expected && sameRecord(var, kept)
               ? std::string()
               : wrongAnswer("AddListWriteVar", result, expected, var);
}

std::string Screens::addOnceRead() {
    const bool spanForm = random.oneIn(20);
    const int regType = spanForm ? random.between(6, 9) : random.below(15);
    RW_VAR var = drawRecord(regType, random.between(1, random.oneIn(10) ? 200 : 5));
    if (random.oneIn(30))
        var.portId = setup.info.portId + 1;
    if (random.oneIn(100))
        var.addressText = QStringLiteral("1.2.x");
    if (spanForm)
        var.address = random.below(RegistersPerArea);
    var.count = spanForm ? qMin(var.count, 125) : var.count;
    RW_VAR expectedRecord = var;
    const int expected = ledger.addOnceRead(expectedRecord, spanForm ? 1 : 0);
    const int result = AddListOnceReadVar(&var, spanForm ? 1 : 0);
    ++tally.oneShots;
    return result == expected && sameRecord(var, expectedRecord)
               ? std::string()
               : wrongAnswer("AddListOnceReadVar", result, expected, var);
}

std::string Screens::switchStation() {
    const int station = random.oneIn(3) ? -1 : anyStation();
    const int flag = random.below(3);
    ledger.switchStation(station, flag);
    if (random.oneIn(2)) {
        EnCommStation(station, flag);
    } else {
        EnableEthernet(station, flag);
    }
    return {};
}

std::string Screens::rebuildAtRandom() {
    QList<VARDEF> definitions = drawDefinitions(random, setup);
    const bool beyond = random.oneIn(3);
    if (beyond)
        definitions.append(drawDefinition(random, setup, true));
    if (random.oneIn(20))
        definitions.clear();
    std::string wrong = rebuild(definitions);
    answerable = !beyond && !definitions.isEmpty();
    return wrong;
}

std::string Screens::rebuild(const QList<VARDEF> &definitions) {
    QList<VARDEF> handed = definitions;
    const int result = ReCreatReadVarList(&handed);
    const QList<RW_VAR> &list = PLC_driver.readList;
    if (!definitions.isEmpty()) {
        ledger.counters.passCount = 0;
        ledger.counters.scanDone = 0;
    }
    ledger.rebuilt(list);
    answerable = true;
    if (result != list.size()) {
        return "ReCreatReadVarList answered " + std::to_string(result) + ", not " +
               std::to_string(list.size());
    }
    return uncovered(definitions, list, setup.info);
}

// A cyclic entry in span form as the host may append it, readable or not.
std::string Screens::appendCyclic() {
    RW_VAR var = drawRecord(random.between(6, 9), random.between(0, 20));
    var.address = random.below(RegistersPerArea);
    var.station = ledger.stationOf(var.station);
    ledger.addCyclic(var);
    answerable = false;
    const int result = AddListReadVar(&var);
    const auto expected = static_cast<int>(ledger.cyclic.size());
    return result == expected ? std::string()
                              : wrongAnswer("AddListReadVar", result, expected, var);
}

// More than the queues hold.
std::string Screens::flood() {
    std::string wrong;
    for (int i = 0; i < 1200 && wrong.empty(); ++i)
        wrong = setup.screensWrite && i % 2 != 0 ? setRegister() : addOnceRead();
    return wrong;
}
