// The screens' side of the ledger.
#include "ledger.h"

#include <algorithm>

namespace {

constexpr size_t QueueBound = 1024;

bool sameTarget(const RW_VAR &a, const RW_VAR &b) {
    return a.station == b.station && a.regType == b.regType && a.address == b.address &&
           a.count == b.count;
}

bool sameOnceRead(const RW_VAR &a, const RW_VAR &b) {
    return a.ownerId == b.ownerId && a.itemId == b.itemId && sameTarget(a, b);
}

// "8.3" is bit 67; anything that is no address is negative.
int addressOf(int regType, const QString &text) {
    bool good = false;
    if (regType < 0 || regType > 2) {
        const int number = text.toInt(&good);
        return good ? number : -1;
    }
    const int dot = text.indexOf('.');
    return text.count('.') != 1 ? -1 : text.left(dot).toInt() * 8 + text.mid(dot + 1).toInt();
}

// The registers that hold the elements.
void toSpan(RW_VAR &var) {
    const int first = var.address;
    const int end = var.address + var.count;
    switch (var.regType / 3) {
    case 0:
        var.address = first / 16;
        var.count = (first % 16 + var.count + 15) / 16;
        break;
    case 1:
        var.address = first / 2;
        var.count = (end + 1) / 2 - var.address;
        break;
    case 3:
        var.address = first * 2;
        var.count = (var.count + 1) / 2 * 2;
        break;
    case 4:
        var.address = first * 4;
        var.count = (var.count + 3) / 4 * 4;
        break;
    default:
        return;
    }
    var.regType = var.regType % 3 + FirstArea;
}

int bytesOfElement(int regType) {
    return regType >= 12 ? 8 : regType >= 9 ? 4 : 2;
}

int elementsOf(int regType, int count) {
    if (regType > 14)
        return count;
    return regType >= 12 ? (count + 3) / 4 : regType >= 9 ? (count + 1) / 2 : count;
}

} // namespace

Ledger::Ledger(const ComInfo &settings, const Plant &plant) : settings(settings), plant(plant) {
    for (const auto &[number, station] : plant.stations)
        plc[number] = station.memory;
}

int Ledger::stationOf(int station) const {
    return settings.useVarStation != 0 ? station : settings.defaultStation;
}

int Ledger::addWrite(const RW_VAR &var, int mode) {
    const auto pending = writes.empty() ? writes.end() : writes.begin() + 1;
    const auto same = std::find_if(
        pending, writes.end(), [&var](const RW_VAR &waiting) { return sameTarget(waiting, var); });
    if (mode != 1 && same != writes.end()) {
        *same = var;
    } else if (mode == 1 || writes.size() < QueueBound) {
        writes.push_back(var);
    }
    return static_cast<int>(writes.size());
}

int Ledger::addOnceRead(RW_VAR &var, int mode) {
    if (mode == 1) {
        onceReads.push_back(var);
        return static_cast<int>(onceReads.size());
    }
    const int address = addressOf(var.regType, var.addressText);
    if (address < 0)
        return 0;
    var.address = address;
    var.station = stationOf(var.station);
    var.saveMode = 0;
    var.spare = 0;
    if (var.station == 0)
        return 0;
    toSpan(var);
    const int end = var.address + var.count;
    for (int first = var.address; first < end; first += settings.blockLimit) {
        var.address = first;
        var.count = std::min(settings.blockLimit, end - first);
        const auto same = [&var](const RW_VAR &waiting) {
            return sameOnceRead(waiting, var);
        };
        if (onceReads.size() < QueueBound && std::none_of(onceReads.begin(), onceReads.end(), same))
            onceReads.push_back(var);
    }
    return static_cast<int>(onceReads.size());
}

// `var` as the host means it: host form, count as the host counts.
int Ledger::setRegister(RW_VAR var, const QByteArray &data) {
    var.address = addressOf(var.regType, var.addressText);
    if (var.address < 0)
        return 0;
    var.station = stationOf(var.station);
    const int total = elementsOf(var.regType, var.count);
    if (settings.commMode != 2) {
        var.count = total;
        var.value = data;
        image.writeBack(var);
        return 1;
    }
    if (var.regType % 3 == 0)
        return 0;
    const bool single = var.regType < 6;
    const int step = single ? 1 : settings.blockLimit;
    const int width = var.regType < 3 ? 1 : single ? 2 : bytesOfElement(var.regType);
    const QByteArray padded = data + QByteArray(width * total, '\0');
    int length = 0;
    for (int done = 0; done < total; done += step) {
        RW_VAR piece = var;
        piece.address = var.address + done;
        piece.count = std::min(step, total - done);
        piece.value = padded.mid(done * width, single ? 1 : piece.count * width);
        if (var.regType < 3)
            piece.value[0] = padded.at(done) != 0 ? 1 : 0;
        length = addWrite(piece, 0);
        if (counters.commFailed)
            image.writeBack(piece);
    }
    return length;
}

void Ledger::switchStation(int station, int flag) {
    if (station < 0) {
        disabled.clear();
    } else if (flag == 0) {
        disabled.insert(station);
    } else if (flag == 1) {
        disabled.erase(station);
    }
}

void Ledger::rebuilt(const QList<RW_VAR> &list) {
    cyclic.assign(list.begin(), list.end());
}

void Ledger::addCyclic(const RW_VAR &var) {
    cyclic.push_back(var);
}
