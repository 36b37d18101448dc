// The panel's screen: reads values out of the driver on a thread of its own and shows them, as a
// live table on a terminal and as plain lines, one for each change, anywhere else.
#pragma once

#include "driver_library.h"
#include "panel_file.h"
#include "statistics.h"
#include "watch.h"

#include <QString>

#include <condition_variable>
#include <mutex>
#include <vector>

class Screen {
public:
    // All outlive the screen.
    Screen(const Driver &driver, const PanelFile &panel, const Watch &watch,
           const Statistics &statistics);

    // The thread's work, until stop() is called; shows the last state before it returns.
    void run();
    void stop();

private:
    void show();
    void showTable(const std::vector<QString> &values) const;
    void showChanges(const std::vector<QString> &values);
    std::vector<QString> readAll() const;
    bool waitForStop();

    const Driver &m_driver;
    const PanelFile &m_panel;
    const Watch &m_watch;
    const Statistics &m_statistics;
    const bool m_isTerminal;
    std::vector<QString> m_shown; // by variable, what the last line about it said

    std::mutex m_mutex; // guards m_stopped
    std::condition_variable m_wake;
    bool m_stopped = false;
};
