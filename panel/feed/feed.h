// The values of all lines as they change: asks each driver for what its line has brought, and
// tells the listeners what is different. One thread.
#pragma once

#include "panel/feed/value_change.h"
#include "panel/file/panel_file.h"
#include "panel/health/freshness.h"
#include "panel/line/driver_library.h"

#include <cstddef>
#include <mutex>
#include <thread>
#include <vector>

class Feed {
public:
    // `drivers` by line. All outlive the feed, which alone waits for `freshness`.
    Feed(const PanelFile &panel, std::vector<const Driver *> drivers, Freshness &freshness);
    ~Feed();
    Feed(const Feed &) = delete;
    Feed &operator=(const Feed &) = delete;

    // Before start().
    void addListener(ValueListener listener);

    void start();
    // Once the lines have ended: tells what they brought last, and returns. There is no second
    // start.
    void stop();

    // How every variable stands, by its index, for whoever comes late: what the listeners were told
    // last. Any thread.
    std::vector<ValueChange> snapshot() const;

private:
    void run();
    void take(const Freshness::Change &change);
    void takeValue(const Freshness::Change &change);
    void takeAge(const Freshness::Change &change);
    void tell(const ValueChange &change);

    const PanelFile &m_panel;
    std::vector<const Driver *> m_drivers;
    Freshness &m_freshness;
    std::vector<ValueListener> m_listeners;

    mutable std::mutex m_mutex;         // for snapshot(); the feed's thread alone changes values
    std::vector<ValueChange> m_current; // by variable
    std::thread m_thread;
};
