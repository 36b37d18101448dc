#include "panel/screen/table_model.h"

#include <algorithm>
#include <tuple>

namespace {

QString nameOf(const PanelFile &panel, std::size_t line) {
    return panel.lines.size() > 1 ? panel.lines[line].name : QString();
}

TableLine lineOf(const PanelFile &panel, std::size_t line, const LineReport &report) {
    const LineSettings &settings = panel.lines[line];
    TableLine row;
    row.name = nameOf(panel, line);
    row.device = settings.device;
    row.setting = QString("%1 %2 %3")
                      .arg(settings.baudRate)
                      .arg(parityName(settings.parity))
                      .arg(settings.stopBits);
    row.share = report.findings.health.recentShare;
    row.pass = report.status.lastPass;
    row.deviceGone = report.status.deviceGone;
    row.cause = lineCause(report.findings.strangers);
    return row;
}

TableValue valueOf(const PanelFile &panel, const ValueChange &value) {
    const Variable &variable = panel.variables[value.variable];
    TableValue row;
    row.line = nameOf(panel, variable.line);
    row.station = variable.station;
    row.name = variable.name;
    row.quality = value.quality;
    if (value.quality != Quality::Never)
        row.text = value.text + (variable.unit.isEmpty() ? "" : ' ' + variable.unit);
    return row;
}

std::vector<TableStation> stationsOf(const PanelFile &panel, const LineReports &lines) {
    std::vector<TableStation> rows;
    for (std::size_t line = 0; line < lines.size(); ++line) {
        for (const auto &[number, health] : lines[line].findings.health.stations) {
            const auto &resting = lines[line].status.restingStations;
            const auto rest = resting.find(number);
            rows.push_back(
                {nameOf(panel, line), number, health.counts.exchanges, health.counts.failed(),
                 health.replyTimes.median(), health.replyTimes.longest(),
                 rest == resting.end() ? QString() : rest->second,
                 causesAt(panel, lines, line, number).value(0), failuresText(health.counts)});
        }
    }
    std::stable_partition(rows.begin(), rows.end(),
                          [](const TableStation &row) { return !row.isWell(); });
    return rows;
}

// The variables that can be read, by line and station.
std::vector<std::size_t> orderOf(const PanelFile &panel) {
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < panel.variables.size(); ++i) {
        if (!panel.variables[i].isBroadcast())
            order.push_back(i);
    }
    const auto place = [&panel](std::size_t i) {
        return std::make_tuple(panel.variables[i].line, panel.variables[i].station);
    };
    std::stable_sort(order.begin(), order.end(),
                     [&place](std::size_t a, std::size_t b) { return place(a) < place(b); });
    return order;
}

} // namespace

TableModel tableModel(const PanelFile &panel, const LineReports &lines,
                      const std::vector<ValueChange> &values,
                      const std::function<Moment(std::size_t)> &lastGood, Moment now) {
    TableModel model;
    for (std::size_t line = 0; line < lines.size(); ++line)
        model.lines.push_back(lineOf(panel, line, lines[line]));
    for (const std::size_t i : orderOf(panel)) {
        TableValue row = valueOf(panel, values[i]);
        if (row.quality != Quality::Never) {
            const auto age = std::chrono::floor<std::chrono::seconds>(now - lastGood(i));
            row.age = std::max(std::chrono::seconds(0), age); // the clock may be set back
        }
        model.values.push_back(row);
    }
    model.stations = stationsOf(panel, lines);
    return model;
}
