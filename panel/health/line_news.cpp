#include "panel/health/line_news.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

// What `now` has and `before` has not.
template <typename Each>
std::vector<Each> addedTo(const std::set<Each> &before, const std::set<Each> &now) {
    std::vector<Each> added;
    std::set_difference(now.begin(), now.end(), before.begin(), before.end(),
                        std::back_inserter(added));
    return added;
}

std::set<int> restingOf(const LineStatus &status) {
    std::set<int> stations;
    for (const auto &[station, text] : status.restingStations)
        stations.insert(station);
    return stations;
}

// "no answer for 2 min, next try in 12 s" is how it is told when it has just begun.
QString restText(const QString &text) {
    return text.section(" for ", 0, 0) + ", it is tried now and then";
}

} // namespace

LineNews::LineNews(const PanelFile &panel) : m_panel(panel), m_seen(panel.lines.size()) {}

QStringList LineNews::take(const LineReports &lines, Clock::time_point now) {
    QStringList news;
    for (std::size_t line = 0; line < lines.size(); ++line) {
        const QString name =
            lines.size() > 1 ? QString("line %1: ").arg(m_panel.lines[line].name) : QString();
        for (const QString &text : takeLine(line, lines[line]))
            news += name + text;
    }
    return bounded(news, now);
}

QStringList LineNews::bounded(const QStringList &news, Clock::time_point now) {
    if (now - m_hourBegan >= std::chrono::hours(1)) {
        m_hourBegan = now;
        m_told = 0;
    }
    QStringList told = news.mid(0, std::max(0, MostAnHour - m_told));
    if (told.size() < news.size() && m_told <= MostAnHour)
        told += "the lines change too often to tell each time: the report and the page go on";
    m_told += std::min(news.size(), MostAnHour + 1);
    return told;
}

QStringList LineNews::takeLine(std::size_t line, const LineReport &report) {
    const LineStatus &status = report.status;
    Seen now;
    now.deviceGone = status.deviceTrouble;
    now.remarks = status.remarks;
    now.ailment = lineCause(report.findings.strangers);
    now.resting = restingOf(status);
    now.refused = m_seen[line].refused; // told once: it is asked for again and again
    now.refused.insert(status.refusedVariables.begin(), status.refusedVariables.end());
    const Seen before = std::exchange(m_seen[line], now);
    QStringList news;
    if (now.deviceGone != before.deviceGone) {
        news += now.deviceGone.isEmpty() ? m_panel.lines[line].device + " is back" : now.deviceGone;
    }
    for (const QString &remark : now.remarks) {
        if (!before.remarks.contains(remark))
            news += remark;
    }
    if (!now.ailment.isEmpty() && before.ailment.isEmpty())
        news += now.ailment;
    for (const int station : addedTo(before.resting, now.resting))
        news += stationText(station) + ": " + restText(status.restingStations.at(station));
    for (const int station : addedTo(now.resting, before.resting))
        news += stationText(station) + " answers again";
    for (const std::size_t variable : addedTo(before.refused, now.refused))
        news += m_panel.variables[variable].name + ": refused by its station";
    return news;
}
