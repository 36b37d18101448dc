#include "panel/feed/history_rows.h"

#include "panel/file/values.h"

namespace {

int elementsOf(const Variable &variable) {
    return variable.display == Display::Text ? 1 : variable.count;
}

bool isSame(const HistoryRow &left, const HistoryRow &right) {
    return left.quality == right.quality && left.number == right.number && left.text == right.text;
}

} // namespace

HistoryRows::HistoryRows(const PanelFile &panel) : m_panel(panel) {
    for (const Variable &variable : panel.variables) {
        m_first.push_back(m_names.size());
        for (int element = 0; element < elementsOf(variable); ++element) {
            m_names.push_back(
                {panel.lines[variable.line].name, variable.name, element, variable.unit});
        }
    }
    m_latest.resize(m_names.size());
}

void HistoryRows::append(const ValueChange &change, std::vector<HistoryRow> *rows) {
    const int elements = elementsOf(m_panel.variables[change.variable]);
    for (int element = 0; element < elements; ++element) {
        const HistoryRow row = rowOf(change, element);
        HistoryRow &latest = m_latest[m_first[change.variable] + static_cast<std::size_t>(element)];
        if (isSame(row, latest))
            continue;
        latest = row;
        rows->push_back(row);
    }
}

HistoryRow HistoryRows::rowOf(const ValueChange &change, int element) const {
    using std::chrono::milliseconds;
    const Variable &variable = m_panel.variables[change.variable];
    HistoryRow row;
    row.variable = m_ids[m_first[change.variable] + static_cast<std::size_t>(element)];
    row.at = std::chrono::duration_cast<milliseconds>(change.at.time_since_epoch()).count();
    row.quality = change.quality;
    if (change.quality == Quality::Never)
        return row;
    row.number = valueNumber(variable, change.data, element);
    if (variable.display == Display::Text)
        row.text = change.text;
    return row;
}
