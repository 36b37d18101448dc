#include "spoiled_answer.h"

#include "frame.h"
#include "station_numbers.h"

#include <algorithm>

namespace {

constexpr int ReadHolding = 3;
constexpr int MostExtra = 4;
constexpr int MostRead = 20;

// The function whose answers are as long as those of this one.
int otherFunction(int function) {
    constexpr int Pairs[][2] = {{1, 2}, {3, 4}, {5, 6}, {15, 16}};
    for (const auto &pair : Pairs) {
        if (function == pair[0] || function == pair[1])
            return pair[0] + pair[1] - function;
    }
    return function ^ 1;
}

void changeFunction(QByteArray *bytes) {
    const int function = byteAt(*bytes, 1);
    const int other = otherFunction(function & ~ExceptionBit) | (function & ExceptionBit);
    (*bytes)[1] = static_cast<char>(other);
    *bytes = resealed(*bytes);
}

// Behind station and function: the byte count of a read, the high byte of a write's address.
void changeThirdByte(QByteArray *bytes) {
    (*bytes)[2] = static_cast<char>(byteAt(*bytes, 2) + 2);
    *bytes = resealed(*bytes);
}

void changeStation(QByteArray *bytes) {
    (*bytes)[0] = static_cast<char>(byteAt(*bytes, 0) % MaxStation + 1);
    *bytes = resealed(*bytes);
}

void flipBit(QByteArray *bytes, Dice *dice) {
    const int at = dice->below(bytes->size());
    (*bytes)[at] = static_cast<char>(byteAt(*bytes, at) ^ 1 << dice->below(8));
}

bool isWrite(int function) {
    constexpr int Writes[] = {5, 6, 15, 16, 22};
    return std::find(std::begin(Writes), std::end(Writes), function) != std::end(Writes);
}

} // namespace

bool canSpoil(FaultKind kind, const QByteArray &answer) {
    switch (kind) {
    case FaultKind::Count:
        return !isException(answer) && !isWrite(byteAt(answer, 1));
    case FaultKind::Acknowledge:
        return !isException(answer) && isWrite(byteAt(answer, 1));
    default:
        return true;
    }
}

void spoil(const Fault &fault, Dice *dice, Answer *answer) {
    switch (fault.kind) {
    case FaultKind::Function:
        return changeFunction(&answer->bytes);
    case FaultKind::Count:
    case FaultKind::Acknowledge:
        return changeThirdByte(&answer->bytes);
    case FaultKind::Foreign:
        return changeStation(&answer->bytes);
    case FaultKind::Flip:
        return flipBit(&answer->bytes, dice);
    case FaultKind::Cut:
        return answer->bytes.truncate(1 + dice->below(answer->bytes.size() - 1));
    case FaultKind::Extra:
        answer->bytes += dice->bytes(1 + dice->below(MostExtra));
        return;
    case FaultKind::Late:
        answer->late = std::chrono::milliseconds(fault.value);
        return;
    case FaultKind::Drop:
        return answer->bytes.clear();
    default:
        return;
    }
}

Exchange otherMastersExchange(Dice *dice) {
    const int registers = 1 + dice->below(MostRead);
    QByteArray head;
    head += static_cast<char>(1 + dice->below(MaxStation));
    head += static_cast<char>(ReadHolding);
    const QByteArray address = dice->bytes(2);
    const QByteArray data = dice->bytes(2 * registers);
    return {sealed(head + address + '\0' + static_cast<char>(registers)),
            sealed(head + static_cast<char>(data.size()) + data)};
}
