// What the panel file expects of its variables, compared with what came: that a value moves, that
// it shows up.
#pragma once

#include "panel/feed/value_change.h"
#include "panel/file/panel_file.h"

#include <QByteArray>

#include <cstddef>
#include <mutex>
#include <vector>

class Expectations {
public:
    // The panel outlives it.
    explicit Expectations(const PanelFile &panel);

    // A ValueListener.
    void observe(const ValueChange &change);

    // Any thread, by the variable's index.
    bool hasMoved(std::size_t variable) const;
    // Has had the value that the panel file expects.
    bool hasShownExpected(std::size_t variable) const;

private:
    struct Progress {
        bool isSeen = false;
        QByteArray firstValue;
        bool moved = false;
        bool shownExpected = false;
    };

    const PanelFile &m_panel;
    mutable std::mutex m_mutex;       // guards all below
    std::vector<Progress> m_progress; // by variable
};
