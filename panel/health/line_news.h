// What changes in the state of the lines, for whoever reads standard error or the journal: a device
// that goes and comes back, stations that fall silent and answer again, registers that are refused,
// another master. A state that lasts is told once, and one that comes and goes for years fills no
// disk.
#pragma once

#include "panel/health/diagnosis.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <cstddef>
#include <set>
#include <vector>

class LineNews {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr int MostAnHour = 100; // then one line says that there is more

    // The panel outlives it.
    explicit LineNews(const PanelFile &panel);

    // What is new since the last call, in one line each. Called at an interval: what comes and goes
    // between two calls is not told.
    QStringList take(const LineReports &lines, Clock::time_point now);

private:
    struct Seen {
        QString deviceGone;  // and why; empty while it is there
        QStringList remarks; // what the device cannot do
        QString ailment;     // of the line as a whole
        std::set<int> resting;
        std::set<std::size_t> refused; // variables, since the start
    };

    QStringList takeLine(std::size_t line, const LineReport &report);
    QStringList bounded(const QStringList &news, Clock::time_point now);

    const PanelFile &m_panel;
    std::vector<Seen> m_seen; // by line
    Clock::time_point m_hourBegan;
    int m_told = 0; // in that hour
};
