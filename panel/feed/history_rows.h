// Changes of variables as rows of the history, one for each of their values.
#pragma once

#include "panel/feed/history_store.h"
#include "panel/file/panel_file.h"

#include <vector>

// For one thread.
class HistoryRows {
public:
    // The panel outlives it.
    explicit HistoryRows(const PanelFile &panel);

    // Every value of every variable: a text is one value.
    const std::vector<HistoryName> &names() const { return m_names; }
    void setIds(std::vector<qint64> ids) { m_ids = std::move(ids); }

    // Appends a row for each value of the variable that is another now, or of another quality.
    void append(const ValueChange &change, std::vector<HistoryRow> *rows);

private:
    HistoryRow rowOf(const ValueChange &change, int element) const;

    const PanelFile &m_panel;
    std::vector<HistoryName> m_names;
    std::vector<std::size_t> m_first; // in m_names, by variable
    std::vector<qint64> m_ids;        // by m_names
    std::vector<HistoryRow> m_latest; // the same
};
