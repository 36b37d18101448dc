// The calls of a screen.
#include "screen.h"

#include "driver/Communication_Protocol.h"
#include "plc_driver.h"

#include <QtEndian>

#include <algorithm>
#include <iterator>

namespace {

constexpr int QueueBound = 1024;
constexpr int Other = 1; // added to the port's number: another port

// Bits and bytes stand beside one another in a register; a value of several elements is cut at the
// block limit.
constexpr Place Places[] = {
    {{0, 7, 64, 1}},
    {{0, 7, 65, 3}},
    {{0, 10, 34, 2}},
    {{0, 13, 18, 1}},
    {{0, 1, 16 * 76, 1}},
    {{0, 1, 16 * 76 + 3, 1}},
    {{0, 1, 16 * 76 + 9, 4}},
    {{0, 1, 16 * 76 + 14, 1}, Place::RecordOfOtherPort},
    {{0, 4, 2 * 77, 1}},
    {{0, 4, 2 * 77 + 1, 1}},
    {{0, 7, 78, 1}, Place::Record},
    {{0, 7, 79, 1}, Place::RecordOfOtherPort},
    {{0, 7, 80, 30}},
    {{0, 7, 126, 1}, Place::Broadcast},
    {{0, 8, 64, 2}},
    {{0, 2, 16 * 67 + 5, 2}},
    {{0, 5, 2 * 68 + 1, 3}},
    {{0, 11, 36, 2}},
    {{0, 14, 19, 2}},
    {{0, 2, 16 * RegistersRead, 1100}}, // more than a queue holds
};
constexpr size_t PlaceCount = std::size(Places);

} // namespace

Screen::Screen(int number, quint64 seed, const Setup &setup)
    : number(number), station(setup.stations[static_cast<size_t>(number)]), setup(setup),
      random(seed), places(std::begin(Places), std::end(Places)), newest(PlaceCount) {
    for (size_t i = 0; i < PlaceCount; ++i) {
        Variable &variable = places[i].variable;
        const bool broadcast = places[i].way == Place::Broadcast;
        variable.address -= broadcast ? number : 0;
        variable.station = broadcast ? 0 : station;
    }
}

void Screen::act() {
    static constexpr struct {
        int below;
        void (Screen::*call)();
    } Acts[] = {{420, &Screen::write},           {600, &Screen::queueRead},
                {650, &Screen::queueReadAsItIs}, {720, &Screen::readBlock},
                {910, &Screen::readAnywhere},    {950, &Screen::touchImage},
                {980, &Screen::switchStation},   {1000, &Screen::rebuild}};
    const int draw = random.below(1000);
    const auto *act = std::find_if(std::begin(Acts), std::end(Acts),
                                   [draw](const auto &each) { return draw < each.below; });
    (this->*act->call)();
}

// The number tells what it is: the place that is written, or 0 for a read.
int Screen::nextItem(size_t kind) {
    return ++sequence * static_cast<int>(PlaceCount + 1) + static_cast<int>(kind);
}

const Place *Screen::placeOf(int item) const {
    const auto kind = static_cast<size_t>(item) % (PlaceCount + 1);
    return kind == 0 ? nullptr : &places[kind - 1];
}

QByteArray Screen::valueOf(int item) const {
    const Variable &variable = placeOf(item)->variable;
    Random bytes(static_cast<quint64>(number) << 32U | static_cast<quint64>(item));
    const bool single = variable.width() == 1;
    QByteArray value = variable.zeros();
    for (char &byte : value)
        byte = single ? static_cast<char>(bytes.below(2)) : bytes.byte();
    return value;
}

bool Screen::isInOnePiece(const Place &place) const {
    const Variable &variable = place.variable;
    return variable.elements <= (variable.width() < 16 ? 1 : setup.info.blockLimit);
}

RW_VAR Screen::recordOf(const Variable &variable, int item) const {
    RW_VAR record;
    record.ownerId = number;
    record.itemId = item;
    record.portId = setup.info.portId;
    record.regType = variable.regType;
    record.address = variable.address;
    record.addressText = variable.addressText();
    record.station = variable.station;
    record.count = variable.elements;
    return record;
}

// The last place is more than a queue holds.
void Screen::write() {
    const size_t last = PlaceCount - 1;
    const bool floods = setup.floods && random.oneIn(400);
    const size_t index = floods ? last : static_cast<size_t>(random.below(last));
    const Place &place = places[index];
    const int item = nextItem(index + 1);
    const QByteArray value = valueOf(item);
    RW_VAR record = recordOf(place.variable, item);
    record.isWrite = 1;
    record.value = value;
    record.portId += place.way == Place::RecordOfOtherPort ? Other : 0;
    promises.about(record);
    QByteArray data = hostForm(place.variable, value);
    const int length =
        place.isRecord()
            ? AddListWriteVar(&record, 0)
            : SetRegisterData(nullptr, record.regType, &record.addressText, record.station, &data,
                              place.variable.hostCount(), number, item);
    promises.require(length >= 1, "a write is refused");
    promises.require(length <= QueueBound, "the write queue grows beyond its bound");
    // While the line makes room, a full queue may have dropped a piece and taken the next one.
    const bool dropped =
        length >= QueueBound || (setup.threaded && setup.floods && !isInOnePiece(place));
    asked[item] = dropped || isOff();
    const auto older = asked.find(newest[index]);
    if (older != asked.end())
        older->second = true;
    newest[index] = item;
}

// Input registers that are read in one request on threads.
Variable Screen::anyBlock(int owner) {
    return {owner, 6, BlockSize * random.below(RegistersRead / BlockSize), BlockSize};
}

void Screen::queueRead() {
    const Variable variable = setup.threaded
                                  ? anyBlock(station)
                                  : drawVariable(random, station, random.oneIn(10) ? 64 : 4);
    RW_VAR read = recordOf(variable, nextItem(0));
    read.count = variable.hostCount();
    const bool otherPort = random.oneIn(30);
    read.portId += otherPort ? Other : 0;
    RW_VAR again = read;
    const int length = AddListOnceReadVar(&read, 0);
    noteRead(read, length, otherPort);
    promises.require(length <= QueueBound || !setup.floods,
                     "the one-shot queue grows beyond its bound");
    promises.require(setup.threaded || AddListOnceReadVar(&again, 0) == length,
                     "a read that waits already is queued again");
}

// In span form. For area 9 there is no request, and it must not stop the others.
void Screen::queueReadAsItIs() {
    if (setup.floods)
        return;
    RW_VAR read = recordOf(anyBlock(station), nextItem(0));
    read.regType = random.between(6, 9);
    noteRead(read, AddListOnceReadVar(&read, 1), read.regType == 9);
}

void Screen::noteRead(const RW_VAR &read, int length, bool excused) {
    promises.about(read);
    promises.require(length >= 1, "a one-shot read is refused");
    asked[read.itemId] = excused || length >= QueueBound || isOff();
}

void Screen::readBlock() {
    const Variable asked = anyBlock(random.pick(setup.stations));
    const QByteArray block = answerTo(asked);
    const bool isRead = block.count('\0') != block.size();
    const auto word = [&block](int i) {
        return qFromLittleEndian<quint16>(block.constData() + 2 * i);
    };
    for (int i = 1; setup.threaded && isRead && i < BlockSize && promises.hold(); ++i)
        promises.require(word(i) == (word(0) + i) % 65536, "a screen sees a part of a reply");
}

void Screen::touchImage() {
    if (!setup.holdsImage)
        return;
    const int owner = random.pick(setup.stations);
    const int area = random.between(6, 7);
    for (int round = 0; round < 8; ++round) {
        const QMutexLocker image(&PLC_driver.imageMutex); // the bytes; no entry comes or grows now
        volatile char *bytes = DataStorage[owner][area].data();
        for (int index = 0; index < 2 * RegistersRead; index += 4) {
            const char kept = bytes[index];
            bytes[index] = kept;
        }
    }
}

// Also creates areas, and lengthens those that replies and writes are stored to.
void Screen::readAnywhere() {
    answerTo(drawVariable(random, random.pick(setup.stations), 20));
    if (setup.holdsImage)
        return;
    // A read of nothing makes room under storageMutex alone.
    for (int i = 0; i < 8; ++i)
        answerTo({random.pick(setup.stations), random.between(6, 7), imageEnd += 8, 0});
    answerTo(
        {random.between(240, 255), random.below(15), random.below(600), random.between(1, 20)});
}

void Screen::switchStation() {
    if (!setup.switches)
        return;
    if (isOff())
        return switchOn();
    EnCommStation(station, 0);
    ++offEpoch;
    for (auto &request : asked)
        request.second = true;
}

void Screen::switchOn() {
    if (isOff()) {
        ++offEpoch;
        EnableEthernet(station, 1);
    }
}

// All definitions but one.
void Screen::rebuild() {
    QList<VARDEF> definitions = setup.definitions;
    definitions.removeAt(random.below(definitions.size()));
    ReCreatReadVarList(&definitions);
}

void Screen::settle(Stations &stations) {
    for (const auto &[item, excused] : asked) {
        const End &end = ends[item];
        const Place *place = placeOf(item);
        const bool pieceByPiece = setup.threaded && place != nullptr && !isInOnePiece(*place);
        promises.about(recordOf(place != nullptr ? place->variable : Variable{station}, item));
        promises.require(end.reports >= 1 || excused, "a queued request ends without a report");
        promises.require(end.reports <= 1 || pieceByPiece, "a queued request ends in two reports");
    }
    for (size_t i = 0; i < PlaceCount; ++i) {
        const auto last = asked.find(newest[i]);
        const Place &place = places[i];
        const bool heard = place.variable.station != 0 || !setup.stationsDie;
        if (last == asked.end() || last->second || !ends[last->first].answered || !heard)
            continue;
        Variable variable = place.variable;
        variable.station = station;
        promises.about(recordOf(variable, last->first));
        promises.require(heldValue(stations, variable) == valueOf(last->first),
                         "the newest value is not in the PLC");
    }
    asked.clear();
}
