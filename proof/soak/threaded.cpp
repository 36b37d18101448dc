// Screens on threads of their own, the communication thread on this one. Checked is what holds in
// whatever order the threads step: no block of a reply is ever seen torn, the queues keep their
// bounds, every write reports at most once and its newest value is the one in the PLC, what lies
// beside it stays, and after a calm pass the image is the PLC's.
#include "threaded.h"

#include "driver/Communication_Protocol.h"
#include "image/store.h"
#include "invariants.h"
#include "line.h"
#include "plant.h"
#include "plc_driver.h"
#include "recorder.h"
#include "requests.h"
#include "round.h"
#include "screen_thread.h"

#include <atomic>
#include <list>
#include <thread>

namespace {

constexpr int FaultShares[] = {0, 5, 20, 40};

class ThreadedRound {
public:
    ThreadedRound(quint64 seed, Tally &tally)
        : random(seed), stations{1 + random.below(60), 70 + random.below(60)}, switchedStation(200),
          plant(plantStations(), seed), line(plant, random, tally), tally(tally) {}

    std::string run(int threads);

private:
    std::vector<int> plantStations() const { return {stations[0], stations[1], switchedStation}; }
    QList<VARDEF> definitions() const;
    void begin(int threads);
    void work();
    void turn();
    void growImage();
    void newGeneration();
    void calmDown();
    std::string checkWrites() const;
    std::string checkScreen(const ScreenThread &screen) const;
    std::string checkReports() const;
    int statusOf(int ownerId, int itemId) const;

    Random random;
    std::vector<int> stations;
    int switchedStation;
    Plant plant;
    Line line;
    Tally &tally;
    ComInfo info{};
    Recorder recorder;
    std::list<ScreenThread> screens;
    std::map<int, Memory> before; // the stations' registers at the start
    int generation = 0;
};

// Area 6 in whole blocks, area 7 where the screens write.
QList<VARDEF> ThreadedRound::definitions() const {
    QList<VARDEF> all;
    for (const int station : plantStations()) {
        for (int area = 6; area <= 7; ++area) {
            for (int first = 0; first < 4 * BlockSize; first += BlockSize) {
                VARDEF definition;
                definition.regType = static_cast<unsigned char>(area);
                definition.station = static_cast<unsigned char>(station);
                definition.addressText = QString::number(first);
                definition.count = BlockSize;
                all.append(definition);
            }
        }
    }
    return all;
}

void ThreadedRound::begin(int threads) {
    resetDriver();
    info.blockLimit = BlockSize;
    info.retryLimit = random.below(4);
    info.useVarStation = 1;
    info.portId = 1;
    info.commMode = 2;
    SetComInfo(&info);
    recorder.attach(info);
    line.faultPercent = random.pick(FaultShares);
    line.undetectable = false;
    newGeneration();
    for (const auto &[number, station] : plant.stations)
        before[number] = station.memory;
    ScreenSetup setup{stations,    switchedStation, definitions(),
                      info.portId, random.oneIn(2), random.oneIn(16)};
    if (setup.holdsImage)
        growImage();
    for (int i = 0; i < threads; ++i)
        screens.emplace_back(i, random.next(), setup);
    ReCreatReadVarList(&setup.definitions);
}

// All that this round's calls can reach.
void ThreadedRound::growImage() {
    for (const int station : plantStations()) {
        for (int area = 6; area <= 8; ++area) {
            ControlInformationM all{station, area, 0, RegistersPerArea};
            checkTheStorage(all);
        }
    }
}

void ThreadedRound::newGeneration() {
    generation = generation % 60000 + 1 + random.below(5);
    for (auto &[number, station] : plant.stations) {
        for (int reg = 0; reg < RegistersPerArea; ++reg)
            station.memory.change(6, {reg, 0xFFFF, static_cast<quint16>(generation + reg)});
    }
}

void ThreadedRound::turn() {
    const Protocol *request = ComCommunication();
    if (request == nullptr)
        return;
    ++tally.exchanges;
    Received received = line.exchange(*request);
    const RW_VAR *current = DataCom(&received.bytes, received.bytes.size());
    if (current->result == 1 || current->result == 100)
        info.retryCount = 0;
}

void ThreadedRound::work() {
    std::atomic<int> running{static_cast<int>(screens.size())};
    std::list<std::thread> threads;
    const int calls = random.between(50, 400);
    for (ScreenThread &screen : screens) {
        threads.emplace_back([&screen, &running, calls] {
            screen.run(calls);
            --running;
        });
    }
    while (running > 0) {
        newGeneration();
        for (auto &entry : plant.stations) {
            if (random.oneIn(entry.second.alive ? 700 : 60))
                entry.second.alive = !entry.second.alive;
        }
        turn();
        std::this_thread::yield(); // QMutex is not fair: leave the screens their turn
    }
    for (std::thread &thread : threads)
        thread.join();
}

// No faults, no screens: the queues run empty, then one pass over the cyclic list.
void ThreadedRound::calmDown() {
    line.faultPercent = 0;
    for (auto &entry : plant.stations)
        entry.second.alive = true;
    EnCommStation(-1, 0);
    while (!PLC_driver.writeList.isEmpty() || !PLC_driver.onceReadList.isEmpty() ||
           !PLC_driver.requestList.isEmpty())
        turn();
    QList<VARDEF> all = definitions();
    const int length = ReCreatReadVarList(&all);
    for (int i = 0; i <= length; ++i)
        turn();
}

int ThreadedRound::statusOf(int ownerId, int itemId) const {
    for (const Report &report : recorder.reports) {
        if (!report.fail && report.ownerId == ownerId && report.itemId == itemId)
            return report.status;
    }
    return 0;
}

std::string ThreadedRound::checkReports() const {
    std::map<std::pair<int, int>, int> seen;
    for (const Report &report : recorder.reports) {
        tally.givenUp += report.fail ? 1 : 0;
        if (report.fail)
            continue;
        tally.finished += report.status == 1 ? 1 : 0;
        if (report.itemId > 0 && ++seen[{report.ownerId, report.itemId}] > 1) {
            return "two reports for owner " + std::to_string(report.ownerId) + " item " +
                   std::to_string(report.itemId);
        }
    }
    return recorder.foreignContext ? "a callback got a wrong context or list" : "";
}

// The newest value of every writable that was not given up; and all that lies beside.
std::string ThreadedRound::checkScreen(const ScreenThread &screen) const {
    const Memory &memory = plant.stations.at(screen.station).memory;
    Memory expected = before.at(screen.station);
    Memory actual = memory;
    for (const Writable &writable : screen.writables) {
        const RW_VAR &var = writable.latest;
        const int status = var.itemId == 0 ? 0 : statusOf(var.ownerId, var.itemId);
        const bool unknown = status == 2 || writable.dropped;
        if (var.itemId != 0 && status == 0 && !unknown)
            return "the newest write never reported: " + describe(var);
        const Access access = accessOfWrite(var);
        for (RegisterChange change : access.changes) {
            if (unknown)
                change.value = actual.at(access.area, change.reg); // perhaps carried out
            if (var.itemId != 0)
                expected.change(access.area, change);
        }
    }
    const int base = screen.number * RegistersPerScreen;
    for (int reg = base; reg < base + RegistersPerScreen; ++reg) {
        if (actual.at(7, reg) != expected.at(7, reg)) {
            return "register " + std::to_string(reg) + " of station " +
                   std::to_string(screen.station) + " is " + std::to_string(actual.at(7, reg)) +
                   ", not " + std::to_string(expected.at(7, reg));
        }
    }
    return {};
}

std::string ThreadedRound::checkWrites() const {
    for (const ScreenThread &screen : screens) {
        std::string wrong = screen.wrong.empty() ? checkScreen(screen) : screen.wrong;
        if (!wrong.empty())
            return wrong;
    }
    return {};
}

std::string ThreadedRound::run(int threads) {
    begin(threads);
    work();
    calmDown();
    std::string wrong = checkReports();
    if (wrong.empty())
        wrong = checkWrites();
    if (wrong.empty() && info.scanDone != 1)
        wrong = "scanDone is not set after a full pass";
    return wrong.empty() ? checkPassedOver(plant) : wrong;
}

} // namespace

std::string runThreadedRound(quint64 seed, int threads, Tally &tally) {
    ++tally.rounds;
    return ThreadedRound(seed, tally).run(threads);
}
