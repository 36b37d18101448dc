#include "panel/screen/table_model.h"

#include "panel/line/span_text.h"

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
    row.lateBytes = report.findings.health.strayBytes;
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

// The clock may be set back.
std::chrono::seconds timeSince(Moment then, Moment now) {
    return std::max(std::chrono::seconds(0), std::chrono::floor<std::chrono::seconds>(now - then));
}

TableStation stationOf(int number, const StationHealth &health, Moment now) {
    TableStation row;
    row.station = number;
    row.exchanges = health.counts.exchanges;
    row.failed = health.counts.failed();
    row.failures = failuresText(health.counts);
    row.median = health.replyTimes.median();
    row.most = health.replyTimes.quantile(0.95);
    row.longest = health.replyTimes.longest();
    if (health.lastGood.isKnown())
        row.lastGood = spanText(timeSince(health.lastGood.at, now));
    if (const LastExchange &bad = health.lastBad; bad.isKnown()) {
        row.lastBad =
            QString("%1 ago, %2: %3").arg(spanText(timeSince(bad.at, now)), bad.what, bad.reason);
    }
    return row;
}

std::vector<TableStation> stationsOf(const PanelFile &panel, const LineReports &lines, Moment now) {
    std::vector<TableStation> rows;
    for (std::size_t line = 0; line < lines.size(); ++line) {
        const auto &resting = lines[line].status.restingStations;
        for (const auto &[number, health] : lines[line].findings.health.stations) {
            TableStation row = stationOf(number, health, now);
            const auto rest = resting.find(number);
            row.line = nameOf(panel, line);
            row.resting = rest == resting.end() ? QString() : rest->second;
            row.cause = causesAt(panel, lines, line, number).value(0);
            rows.push_back(row);
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
        if (row.quality != Quality::Never)
            row.age = timeSince(lastGood(i), now);
        model.values.push_back(row);
    }
    model.stations = stationsOf(panel, lines, now);
    return model;
}
