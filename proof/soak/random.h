// The seeded generator: a seed gives the same run on every machine.
#pragma once

#include <QtGlobal>

#include <cstddef>
#include <vector>

class Random {
public:
    explicit Random(quint64 seed) : state(seed) {}

    // splitmix64, upper half.
    quint32 next() {
        state += Q_UINT64_C(0x9e3779b97f4a7c15);
        quint64 z = state;
        z = (z ^ (z >> 30)) * Q_UINT64_C(0xbf58476d1ce4e5b9);
        z = (z ^ (z >> 27)) * Q_UINT64_C(0x94d049bb133111eb);
        return static_cast<quint32>((z ^ (z >> 31)) >> 32);
    }

    // 0 to bound - 1.
    int below(int bound) {
        const quint64 scaled = static_cast<quint64>(next()) * static_cast<quint64>(bound);
        return static_cast<int>(scaled >> 32);
    }

    int between(int lowest, int highest) { return lowest + below(highest - lowest + 1); }
    bool oneIn(int n) { return below(n) == 0; }
    bool percent(int share) { return below(100) < share; }
    char byte() { return static_cast<char>(below(256)); }
    quint16 word() { return static_cast<quint16>(below(65536)); }

    template <typename T, std::size_t Size>
    T pick(const T (&choices)[Size]) {
        return choices[below(static_cast<int>(Size))];
    }

    template <typename T>
    T pick(const std::vector<T> &choices) {
        return choices[static_cast<std::size_t>(below(static_cast<int>(choices.size())))];
    }

private:
    quint64 state;
};
