// The calls of a screen on its own thread.
#include "screen_thread.h"

#include "driver/Communication_Protocol.h"
#include "plc_driver.h"

namespace {

int bytesOf(const RW_VAR &var) {
    const int type = var.regType;
    return var.count * (type < 6 ? 1 : type < 9 ? 2 : type < 12 ? 4 : 8);
}

// What SetRegisterData takes: bytes lie in items of two.
QByteArray hostData(const RW_VAR &var) {
    return var.regType / 3 == 1 ? var.value + '\0' : var.value;
}

} // namespace

ScreenThread::ScreenThread(int number, quint64 seed, const ScreenSetup &setup)
    : number(number), station(setup.stations[static_cast<size_t>(number) % setup.stations.size()]),
      random(seed), setup(setup) {
    const int base = number * RegistersPerScreen;
    addWritable(7, base, 1, 1);
    addWritable(7, base + 1, 3, 3);
    addWritable(10, (base + 4) / 2, 2, 1);
    addWritable(13, (base + 8) / 4, 4, 1);
    for (int bit = 0; bit < 4; ++bit)
        addWritable(1, 16 * (base + 12) + 3 * bit, 1, 1);
    addWritable(4, 2 * (base + 13), 1, 1);
    addWritable(4, 2 * (base + 13) + 1, 1, 1);
    addRecord(7, base + 14, setup.portId);
    addRecord(1, 16 * (base + 12) + 14, setup.portId + 1);
}

void ScreenThread::addRecord(int regType, int address, int portId) {
    addWritable(regType, address, 1, 1);
    writables.back().asRecord = true;
    writables.back().latest.portId = portId;
}

void ScreenThread::addWritable(int regType, int address, int hostCount, int elements) {
    Writable writable;
    RW_VAR &var = writable.latest;
    var.ownerId = number;
    var.isWrite = 1;
    var.portId = setup.portId;
    var.regType = regType;
    var.address = address;
    var.addressText = regType < 3
                          ? QString::number(address / 8) + '.' + QString::number(address % 8)
                          : QString::number(address);
    var.station = station;
    var.count = elements;
    writable.hostCount = hostCount;
    writables.push_back(writable);
}

void ScreenThread::run(int calls) {
    for (int i = 0; i < calls && wrong.empty(); ++i)
        call();
}

void ScreenThread::call() {
    if (setup.floods && random.oneIn(100))
        flood();
    const int draw = random.below(100);
    if (draw < 45) {
        write();
    } else if (draw < 65) {
        readBlock();
    } else if (draw < 80) {
        queueRead();
    } else if (draw < 88) {
        setup.holdsImage ? touchImage() : readAnywhere();
    } else if (draw < 97) {
        EnCommStation(setup.switchedStation, random.below(2));
    } else {
        ReCreatReadVarList(&setup.definitions);
    }
}

int ScreenThread::anyStation() {
    return setup
        .stations[static_cast<size_t>(random.below(static_cast<int>(setup.stations.size())))];
}

void ScreenThread::touchImage() {
    const int owner = anyStation();
    const int area = random.between(6, 7);
    for (int round = 0; round < 8; ++round) {
        const QMutexLocker image(&PLC_driver.imageMutex); // the bytes; no entry comes or grows now
        volatile char *bytes = DataStorage[owner][area].data();
        for (int index = 0; index < 4 * 2 * BlockSize; index += 4) {
            const char kept = bytes[index];
            bytes[index] = kept;
        }
    }
}

// Creates areas, and lengthens those that replies are stored to.
void ScreenThread::readAnywhere() {
    QString text;
    QByteArray answer;
    for (int reads = 0; reads < 4; ++reads) {
        const int address = random.below(1 << random.between(5, 15));
        GetRegisterData(&text, random.between(6, 7), QString::number(address), anyStation(),
                        &answer, random.between(1, 4));
    }
    GetRegisterData(&text, random.below(15), QString::number(random.below(600)) + ".0",
                    random.below(250), &answer, random.between(1, 20));
    GetRegisterData(&text, random.between(3, 14), QString::number(random.below(600)),
                    random.below(250), &answer, random.between(1, 20));
}

void ScreenThread::write() {
    Writable &writable =
        writables[static_cast<size_t>(random.below(static_cast<int>(writables.size())))];
    RW_VAR &var = writable.latest;
    var.itemId = nextItem++;
    var.value = QByteArray(bytesOf(var), '\0');
    for (char &byte : var.value)
        byte = var.regType < 3 ? static_cast<char>(random.below(2)) : random.byte();
    QByteArray data = hostData(var);
    const int length = writable.asRecord
                           ? AddListWriteVar(&var, 0)
                           : SetRegisterData(&var.hostText, var.regType, &var.addressText, station,
                                             &data, writable.hostCount, number, var.itemId);
    writable.dropped = length >= 1024;
    // Every writable waits at most once, beside the write that is out.
    const auto most = static_cast<int>(writables.size()) * MostScreens + 1;
    if (length < 1 || length > (setup.floods ? 1024 : most))
        wrong = "a write was answered with a queue of " + std::to_string(length);
}

// One bit after the other in an area that holds nothing else. Some may end before the others are
// queued, so there is more than one report.
void ScreenThread::flood() {
    QString address = QStringLiteral("0.0");
    QByteArray data(1100, '\1');
    SetRegisterData(&address, 2, &address, station, &data, data.size(), number, -1);
}

void ScreenThread::readBlock() {
    const int owner = anyStation();
    const int first = BlockSize * random.below(4);
    QString text;
    QByteArray answer;
    const int result = GetRegisterData(&text, 6, QString::number(first), owner, &answer, BlockSize);
    if (result != 1 || answer.size() != 2 * BlockSize) {
        wrong = "a read was answered with " + std::to_string(answer.size()) + " bytes";
        return;
    }
    if (answer.count('\0') == answer.size())
        return; // not read from the PLC yet
    const auto generation = [&answer, first](int i) {
        const int low = static_cast<unsigned char>(answer.at(2 * i));
        const int high = static_cast<unsigned char>(answer.at(2 * i + 1));
        return (low + 256 * high - first - i) & 0xFFFF;
    };
    for (int i = 1; i < BlockSize; ++i) {
        if (generation(i) != generation(0))
            wrong = "a block of two generations: " + answer.toHex().toStdString();
    }
}

void ScreenThread::queueRead() {
    RW_VAR var;
    var.ownerId = number;
    var.itemId = nextItem++;
    var.portId = setup.portId;
    var.regType = 6;
    var.address = BlockSize * random.below(4);
    var.addressText = QString::number(var.address);
    var.station = anyStation();
    var.count = BlockSize;
    const int length = AddListOnceReadVar(&var, random.oneIn(4) ? 1 : 0);
    if (length > 1024 + 400 * MostScreens)
        wrong = "the one-shot queue has " + std::to_string(length) + " entries";
}
