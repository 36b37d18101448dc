// Chance that can be repeated: the same seed makes the same run.
#pragma once

#include <QByteArray>

#include <random>

class Dice {
public:
    explicit Dice(unsigned seed) : m_engine(seed) {}

    // 0 to `count` - 1.
    int below(int count) { return static_cast<int>(m_engine() % static_cast<unsigned>(count)); }
    bool strikes(double share) { return static_cast<double>(m_engine()) < share * 4294967296.0; }
    QByteArray bytes(int count) {
        QByteArray random(count, '\0');
        for (char &byte : random)
            byte = static_cast<char>(below(256));
        return random;
    }

private:
    std::mt19937 m_engine;
};
