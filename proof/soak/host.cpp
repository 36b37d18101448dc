// The turns of the communication thread, and what must hold in each.
#include "host.h"

#include "plc_driver.h"
#include "tests/fresh_driver.h"

#include <algorithm>

namespace {

constexpr int GivenUp = 2; // status of a report; 1 is answered
constexpr int GoodReply = 1;
constexpr int GoodOnOtherPort = 100;

Reports *listening = nullptr; // of the host of this round

int onFinish(void *context, int ownerId, int itemId, int status) {
    listening->finished.push_back({ownerId, itemId, status});
    listening->wrongContext |= context != listening;
    return 0;
}

int onFail(QList<RW_VAR> *list, int ownerId, int flag) {
    listening->failedOwners.push_back(ownerId);
    listening->wrongContext |= list == nullptr || !list->isEmpty() || flag != 1;
    return 0;
}

bool isOfQueue(const RW_VAR &var) {
    return var.itemId > 0;
}

Kind kindOf(const RW_VAR &var) {
    const bool write = var.isWrite != 0 || var.saveMode != 0;
    return write ? Kind::Write : isOfQueue(var) ? Kind::OnceRead : Kind::Cyclic;
}

} // namespace

Host::Host(const Setup &setup, quint64 seed, Tally &tally)
    : setup(setup), random(seed), tally(tally), info(setup.info), line(stations, random, tally) {
    resetDriver();
    info.hostContext = &reports;
    listening = &reports;
    SetComInfo(&info);
    RegistCallBackFuncIntf(onFinish, onFail);
    line.faultPercent = setup.faultPercent;
    setRegisters(0, RegistersInUse);
    for (size_t i = 0; i < setup.stations.size(); ++i)
        screens.emplace_back(static_cast<int>(i), random.next(), this->setup);
    if (setup.holdsImage)
        growImage();
    QList<VARDEF> definitions = setup.definitions;
    ReCreatReadVarList(&definitions);
}

// All that this round's calls can reach.
void Host::growImage() {
    for (int area = 6; area <= 8; ++area) {
        answerTo({0, area, 0, 1000});
        for (const int station : setup.stations)
            answerTo({station, area, 0, 1000});
    }
}

// The PLC's own program changes all of these, and every input.
void Host::setRegisters(int from, int to) {
    newGeneration();
    for (const int station : setup.stations) {
        for (int reg = from; reg < to; ++reg) {
            registerOf(stations, station, 7, reg) = random.word();
            registerOf(stations, station, 8, reg) = random.word();
        }
    }
}

void Host::newGeneration() {
    generation = generation % 60000 + random.between(1, 5);
    for (const int station : setup.stations) {
        quint16 *inputs = &registerOf(stations, station, 6, 0);
        for (int reg = 0; reg < RegistersInUse; ++reg)
            inputs[reg] = static_cast<quint16>(generation + reg);
    }
}

void Host::liveOn() {
    newGeneration();
    for (const int station : setup.stations) {
        const int area = random.between(7, 8);
        registerOf(stations, station, area, random.below(FirstOfScreen)) = random.word();
        const bool dead = stations.silent.count(station) != 0;
        if (setup.stationsDie && random.oneIn(dead ? 60 : 700)) {
            stations.silent.insert(station);
            if (dead)
                stations.silent.erase(station);
        }
    }
}

void Host::letScreensAct() {
    while (!calm && random.percent(setup.screenPercent))
        screens[static_cast<size_t>(random.below(static_cast<int>(screens.size())))].act();
}

Off Host::whatIsOff() const {
    Off off;
    for (const Screen &screen : screens) {
        const int epoch = screen.offEpoch;
        off.switches += epoch;
        if (epoch % 2 != 0)
            off.stations.insert(screen.station);
    }
    return off;
}

Waiting Host::whatWaits(const Off &off) const {
    const auto isSendable = [&off](const RW_VAR &write) {
        return !off.holds(write.station);
    };
    const auto isReadable = [&off](const RW_VAR &read) {
        return !off.holds(read.station) && read.regType >= 6 && read.regType <= 8;
    };
    const auto any = [](const QList<RW_VAR> &list, const auto &predicate) {
        return std::any_of(list.cbegin(), list.cend(), predicate);
    };
    return {any(PLC_driver.writeList, isSendable), any(PLC_driver.onceReadList, isReadable),
            any(PLC_driver.readList, isReadable)};
}

bool Host::queuesAreEmpty() const {
    return PLC_driver.writeList.isEmpty() && PLC_driver.onceReadList.isEmpty() &&
           PLC_driver.requestList.isEmpty();
}

void Host::turn() {
    ++turns;
    const Off off = whatIsOff();
    const Waiting waiting = setup.threaded || next != Next::New ? Waiting() : whatWaits(off);
    const Protocol *offered = ComCommunication();
    promises.about(offered == nullptr ? RW_VAR() : offered->var);
    if (offered != nullptr) {
        Exchange exchange{*offered, {}, {}, 0};
        checkRequest(exchange.request, waiting, off);
        exchange.received = line.exchange(exchange.request);
        checkPlc(exchange.request.var);
        if (!setup.threaded) {
            letScreensAct();
            exchange.before = DataStorage;
        }
        QByteArray &reply = exchange.received.bytes;
        reports = Reports();
        exchange.result = DataCom(&reply, reply.size())->result;
        checkVerdict(exchange);
        checkImage(exchange);
    } else {
        promises.require(next == Next::New, "an exchange ends in mid-course");
        order.goesOut(Kind::Nothing, waiting, promises);
    }
    if (!setup.threaded && queuesAreEmpty())
        settle();
}

void Host::checkRequest(const Protocol &request, const Waiting &waiting, const Off &off) {
    const RW_VAR &var = request.var;
    ++tally.exchanges;
    promises.require(next != Next::TheSame || request.frame == lastFrame,
                     "what has failed goes out again as something else");
    promises.require(next != Next::WriteHalf || (var.isWrite != 0 && kindOf(var) == Kind::Write),
                     "a bit or byte is read and not written");
    if (next == Next::New)
        checkNew(var, waiting, off);
    promises.require(hasItsCrc(request.frame), "a frame goes out with a wrong CRC");
    lastFrame = request.frame;
}

void Host::checkNew(const RW_VAR &var, const Waiting &waiting, const Off &off) {
    promises.require(!off.holds(var.station) || off.switches != whatIsOff().switches,
                     "a station that is off is asked");
    promises.require(isOfQueue(var) || info.blockLimit == 1 || var.count <= info.blockLimit,
                     "a cyclic read is longer than the block limit");
    if (!setup.threaded)
        order.goesOut(kindOf(var), waiting, promises);
}

// A frame changes the place that its screen has written, to the value that it has written.
void Host::checkPlc(const RW_VAR &var) {
    if (stations.changes.empty())
        return;
    promises.require(kindOf(var) == Kind::Write, "a read changes the PLC");
    const Screen &writer = screens[static_cast<size_t>(var.ownerId)];
    const Variable &place = writer.placeOf(var.itemId)->variable;
    const QByteArray value = writer.valueOf(var.itemId);
    const bool isWhole = place.width() >= 16 || place.elements == 1;
    const int area8 = place.area() == 8 ? 5000 : 0;
    for (const Stations::Change &change : stations.changes) {
        const Part part = partOf(place, change.address - area8, value);
        promises.require(change.station == place.station || place.station == 0,
                         "another station is written");
        promises.require(((change.before ^ change.after) & ~part.mask) == 0,
                         "a bit or byte beside a written one changes");
        // Of a value that goes out bit by bit, or byte by byte, the others come later.
        const int written = isWhole ? part.mask : change.before ^ change.after;
        promises.require(((change.after ^ part.value) & part.mask & written) == 0,
                         "the PLC gets a value that nobody wrote");
    }
}

void Host::checkVerdict(const Exchange &exchange) {
    const RW_VAR &var = exchange.request.var;
    const bool good = exchange.result == GoodReply || exchange.result == GoodOnOtherPort;
    const bool givenUp = !good && exchange.result != 0;
    const bool genuine = exchange.received.genuine;
    promises.require(!good || genuine, "a reply is accepted that is not the station's own");
    promises.require(good || !genuine, "the station's own reply is rejected");
    failures += good ? 0 : 1;
    promises.require(good || givenUp == (failures > info.retryLimit),
                     "a request is not given up after retryLimit + 1 failures");
    info.retryCount = good ? 0 : info.retryCount;
    failures = good || givenUp ? 0 : failures;
    promises.require(!givenUp || setup.threaded || info.scanDone == 0,
                     "a pass goes on after a give-up");
    next = good && var.saveMode != 0 ? Next::WriteHalf
           : good || givenUp         ? Next::New
                                     : Next::TheSame;
    checkReports(var, next == Next::New, givenUp);
}

void Host::checkReports(const RW_VAR &var, bool ended, bool givenUp) {
    const size_t most = ended && isOfQueue(var) ? 1 : 0;
    const bool silent = kindOf(var) == Kind::OnceRead && var.portId != info.portId;
    promises.require(reports.finished.size() <= most, "a report comes before its request ends");
    promises.require(!givenUp || !isOfQueue(var) || silent || reports.finished.size() == 1,
                     "a request is given up without a report");
    promises.require(reports.failedOwners.size() == (givenUp ? 1 : 0),
                     "failCallback is called for what was not given up, or not called");
    promises.require(!givenUp || !isOfQueue(var) || reports.failedOwners.front() == var.ownerId,
                     "another owner's request is called given up");
    promises.require(!reports.wrongContext, "a callback gets a wrong context or list");
    for (const Reports::Finish &report : reports.finished) {
        promises.require(report.ownerId == var.ownerId && report.itemId == var.itemId,
                         "another request is reported than the one that ended");
        promises.require((report.status == GivenUp) == givenUp, "a report does not fit its result");
        End &end = screens[static_cast<size_t>(var.ownerId)].ends[var.itemId];
        ++end.reports;
        end.answered = end.answered && !givenUp;
    }
}

void Host::checkImage(const Exchange &exchange) {
    const RW_VAR &var = exchange.request.var;
    const bool stored =
        exchange.result == GoodReply && kindOf(var) != Kind::Write && var.portId == info.portId;
    if (setup.threaded)
        return;
    if (!stored) {
        promises.require(DataStorage == exchange.before,
                         exchange.result == GoodReply ? "an acknowledgement changes the image"
                                                      : "a rejected reply changes the image");
        return;
    }
    Image expected = exchange.before;
    QByteArray &area = expected[var.station][var.regType];
    const int end = 2 * (var.address + var.count);
    area.append(std::max(0, end - area.size()), '\0');
    for (int reg = var.address; reg < var.address + var.count; ++reg) {
        const quint16 held = registerOf(stations, var.station, var.regType, reg);
        area[2 * reg] = static_cast<char>(held & 0xFF);
        area[2 * reg + 1] = static_cast<char>(held >> 8);
    }
    promises.require(DataStorage == expected,
                     "a reply is stored elsewhere, or not as the PLC holds it");
}

void Host::settle() {
    for (Screen &screen : screens)
        screen.settle(stations);
}

void Host::calmDown() {
    constexpr int WithStationsOff = 50;
    constexpr int MostTurns = 20000;
    calm = true;
    line.faultPercent = 0;
    stations.silent.clear();
    for (int i = 0; i < WithStationsOff; ++i)
        turn();
    for (Screen &screen : screens)
        screen.switchOn();
    for (int i = 0; i < MostTurns && !queuesAreEmpty() && broken().empty(); ++i)
        turn();
    promises.require(queuesAreEmpty(), "the queues do not run empty");
    settle();
}

void Host::passOnce() {
    setRegisters(0, FirstOfScreen);
    QList<VARDEF> definitions = setup.definitions;
    const int length = ReCreatReadVarList(&definitions);
    for (int i = 0; i <= length; ++i)
        turn();
    promises.require(info.scanDone == 1, "a whole pass is not told");
    for (const Variable &variable : setup.variables) {
        promises.require(answerTo(variable) == hostForm(variable, heldValue(stations, variable)),
                         "after a pass without faults the image is not the PLC's");
    }
}

std::string Host::broken() const {
    std::string text = promises.broken();
    for (const Screen &screen : screens)
        text = text.empty() ? screen.promises.broken() : text;
    return text;
}
