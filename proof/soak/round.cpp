// The turns of a round.
#include "round.h"

#include "driver/Communication_Protocol.h"
#include "invariants.h"
#include "ledger.h"
#include "line.h"
#include "plant.h"
#include "plc_driver.h"
#include "recorder.h"
#include "screens.h"

namespace {

constexpr int FullCheckEvery = 64;

class Round {
public:
    Round(quint64 seed, ScreenChoice choice, Tally &tally)
        : random(seed), setup(drawSetup(random, choice)), plant(setup.stations, seed),
          ledger(setup.info, plant), line(plant, random, tally),
          screens(setup, ledger, random, tally), tally(tally) {}

    std::string run();

private:
    std::string begin();
    std::string turn();
    std::string exchange(Protocol &request);
    std::string checkReports(const Outcome &outcome);
    void world();
    std::string screensAct();
    std::string drain();
    std::string calmPass();
    std::string situation() const;

    Random random;
    RoundSetup setup;
    Plant plant;
    Ledger ledger;
    Line line;
    Recorder recorder;
    Screens screens;
    Tally &tally;
    RW_VAR lastAsked; // of the latest exchange
    Received lastReceived;
    bool calm = false; // no screens, no faults, no changes
    bool idle = false; // the last turn had nothing to send
    int turns = 0;
    int exchanges = 0;
};

std::string Round::begin() {
    resetDriver();
    SetComInfo(&setup.info);
    recorder.attach(setup.info);
    ledger.areasOfScreens = setup.areasOfScreens;
    line.faultPercent = setup.faultPercent;
    line.remote = setup.info.remoteMode != 0;
    return screens.rebuild(drawDefinitions(random, setup));
}

// The PLC's own program, and stations that die and come back.
void Round::world() {
    if (calm)
        return;
    for (auto &[number, station] : plant.stations) {
        if (random.oneIn(station.alive ? 700 : 60))
            station.alive = !station.alive;
        const int area = random.between(6, 8);
        if (setup.areasOfScreens.count(area) != 0 || random.oneIn(3))
            continue;
        const int reg = random.below(RegistersPerArea);
        const auto value = static_cast<quint16>(random.below(65536));
        plant.tick(number, area, reg, value);
        ledger.plc[number].change(area, {reg, 0xFFFF, value});
    }
}

std::string Round::screensAct() {
    std::string wrong;
    while (!calm && wrong.empty() && random.percent(setup.screenPercent))
        wrong = screens.act();
    return wrong;
}

std::string Round::turn() {
    world();
    std::string wrong = screensAct();
    if (!wrong.empty())
        return wrong;
    const ExpectedRequest *expected = ledger.next();
    Protocol *request = ComCommunication();
    wrong = checkRequest(expected, request);
    idle = request == nullptr;
    if (wrong.empty() && request != nullptr)
        wrong = exchange(*request);
    if (!wrong.empty())
        return wrong;
    ++turns;
    return turns % FullCheckEvery == 0 ? checkEverything(ledger, setup.info, plant)
                                       : checkState(ledger, setup.info, plant);
}

std::string Round::exchange(Protocol &request) {
    ++exchanges;
    ++tally.exchanges;
    Received received = line.exchange(request);
    lastAsked = request.var;
    lastReceived = received;
    if (received.delivered)
        ledger.delivered();
    std::string wrong = screensAct();
    if (!wrong.empty())
        return wrong;
    const Outcome outcome = ledger.settle(received.bytes, received.genuine);
    tally.undetectable += outcome.undetectable ? 1 : 0;
    recorder.reports.clear();
    const RW_VAR *current = DataCom(&received.bytes, received.bytes.size());
    wrong = checkCurrent(ledger, current);
    if (wrong.empty())
        wrong = checkReports(outcome);
    const bool good = current->result == 1 || current->result == 100;
    if (good && setup.hostClearsRetries) {
        setup.info.retryCount = 0;
        ledger.hostClearsRetries();
    }
    return wrong;
}

std::string Round::checkReports(const Outcome &outcome) {
    for (const Report &report : recorder.reports) {
        tally.givenUp += report.fail ? 1 : 0;
        tally.finished += !report.fail && report.status == 1 ? 1 : 0;
    }
    if (recorder.foreignContext)
        return "a callback got a wrong context or list";
    if (recorder.reports == outcome.reports)
        return {};
    std::string wrong = "reports differ; made:";
    for (const Report &report : recorder.reports) {
        wrong += (report.fail ? " fail(" : " finish(") + std::to_string(report.ownerId) + "," +
                 std::to_string(report.itemId) + "," + std::to_string(report.status) + ")";
    }
    wrong += "; due:";
    for (const Report &report : outcome.reports) {
        wrong += (report.fail ? " fail(" : " finish(") + std::to_string(report.ownerId) + "," +
                 std::to_string(report.itemId) + "," + std::to_string(report.status) + ")";
    }
    return wrong;
}

// Faults stop: the queues run empty.
std::string Round::drain() {
    calm = true;
    line.faultPercent = 0;
    for (auto &entry : plant.stations)
        entry.second.alive = true;
    ledger.switchStation(-1, 0);
    EnableEthernet(-1, 0);
    std::string wrong;
    while (wrong.empty() && !(ledger.writes.empty() && ledger.onceReads.empty()))
        wrong = turn();
    while (wrong.empty() && !ledger.requests.empty())
        wrong = turn();
    return wrong;
}

// One pass over the cyclic list: the image is the PLC's, and scanDone says so.
std::string Round::calmPass() {
    std::string wrong;
    if (!screens.definitionsAnswerable() || random.oneIn(2))
        wrong = screens.rebuild(drawDefinitions(random, setup));
    const int length = PLC_driver.readList.size();
    for (int i = 0; i <= length && wrong.empty(); ++i)
        wrong = turn();
    if (!wrong.empty())
        return wrong;
    if (setup.info.scanDone != 1)
        return "scanDone is not set after a full pass";
    wrong = checkEverything(ledger, setup.info, plant);
    // In remote mode the head of the list is the one that is read.
    return wrong.empty() && setup.info.remoteMode == 0 ? checkPassedOver(plant) : wrong;
}

// What led to a violation.
std::string Round::situation() const {
    const ComInfo &info = setup.info;
    return "\n  latest exchange: " + describe(lastAsked) + "\n  reply (" +
           (lastReceived.genuine ? "its own" : "not its own") +
           "): " + lastReceived.bytes.toHex().toStdString() + "\n  blockLimit " +
           std::to_string(info.blockLimit) + " retryLimit " + std::to_string(info.retryLimit) +
           " useVarStation " + std::to_string(info.useVarStation) + " remoteMode " +
           std::to_string(info.remoteMode) + " portId " + std::to_string(info.portId) +
           " commMode " + std::to_string(info.commMode);
}

std::string Round::run() {
    std::string wrong = begin();
    for (int i = 0; i < setup.exchanges && wrong.empty(); ++i)
        wrong = turn();
    if (wrong.empty())
        wrong = drain();
    if (wrong.empty())
        wrong = calmPass();
    return wrong.empty() ? wrong
                         : "exchange " + std::to_string(exchanges) + ": " + wrong + situation();
}

} // namespace

void resetDriver() {
    PLC_driver.readList.clear();
    PLC_driver.writeList.clear();
    PLC_driver.onceReadList.clear();
    PLC_driver.requestList.clear();
    PLC_driver.disabledStations.clear();
    PLC_driver.currentVar = RW_VAR();
    PLC_driver.listKind = NoList;
    PLC_driver.writeBurst = 0;
    PLC_driver.onceBurst = 0;
    PLC_driver.passCount = 0;
    PLC_driver.commFailed = false;
    DataStorage.clear();
}

std::string runRound(quint64 seed, ScreenChoice screens, Tally &tally) {
    ++tally.rounds;
    return Round(seed, screens, tally).run();
}
