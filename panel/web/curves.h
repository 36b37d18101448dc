// The last minutes of every value in few points, for the small curve beside it.
#pragma once

#include "panel/feed/value_change.h"
#include "panel/file/panel_file.h"

#include <QJsonObject>

#include <optional>
#include <vector>

// For one thread at a time.
class Curves {
public:
    static constexpr int Points = 60;
    static constexpr int StepSeconds = 5;

    // The panel outlives them. `now` is a time in seconds that goes on whatever becomes of clocks.
    Curves(const PanelFile &panel, qint64 now);

    // How the variables stand, at least once in a step. Of several values the first counts.
    void note(const std::vector<ValueChange> &values, qint64 now);

    // {"stepSeconds": 5, "curves": {"name": [number or null, ...]}}, the latest last.
    QJsonObject toJson() const;

private:
    const PanelFile &m_panel;
    qint64 m_step;                                            // the latest
    std::vector<std::vector<std::optional<double>>> m_points; // by variable, a ring by step
};
