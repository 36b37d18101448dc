#include "panel/health/report.h"

#include "panel/health/exchange_text.h"

#include <QJsonArray>

namespace {

using std::chrono::microseconds;

// JSON keeps whole numbers up to 2^53, which no count reaches.
QJsonValue number(quint64 count) {
    return static_cast<double>(count);
}

QJsonValue milliseconds(microseconds time) {
    return static_cast<double>(time.count()) / 1000;
}

QJsonValue textOrNull(const QString &text) {
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

void addCounts(const ExchangeCounts &counts, QJsonObject *object) {
    QJsonObject failures;
    for (std::size_t i = 0; i < OutcomeCount; ++i) {
        const auto outcome = static_cast<Outcome>(i);
        if (outcome != Outcome::Good && counts.of(outcome) > 0)
            failures[outcomeKey(outcome)] = number(counts.of(outcome));
    }
    object->insert("exchanges", number(counts.exchanges));
    object->insert("failed", number(counts.failed()));
    object->insert("givenUp", number(counts.givenUp));
    object->insert("failures", failures);
}

QJsonArray stepsOf(const ReplyTimes &times) {
    QJsonArray steps;
    for (int step = 0; step < ReplyTimes::Steps; ++step) {
        if (times.in(step) == 0)
            continue;
        const microseconds from = step == 0 ? microseconds(0) : ReplyTimes::upperEnd(step - 1);
        steps += QJsonObject{{"fromMs", milliseconds(from)},
                             {"toMs", milliseconds(ReplyTimes::upperEnd(step))},
                             {"count", number(times.in(step))}};
    }
    return steps;
}

QJsonObject timesObject(const ReplyTimes &times) {
    return {{"count", number(times.count())},
            {"medianMs", milliseconds(times.median())},
            {"p95Ms", milliseconds(times.quantile(0.95))},
            {"longestMs", milliseconds(times.longest())},
            {"steps", stepsOf(times)}};
}

QJsonValue lastObject(const LastExchange &last) {
    if (!last.isKnown())
        return {};
    QJsonObject object{{"at", timeText(last.at)}, {"request", last.what}};
    if (!last.reason.isEmpty())
        object["reason"] = last.reason;
    return object;
}

QJsonValue masterObject(const Strangers &strangers) {
    if (strangers.requests + strangers.answers == 0)
        return {};
    return QJsonObject{{"exchanges", strangers.exchanges},
                       {"requests", strangers.requests},
                       {"answers", strangers.answers}};
}

QJsonArray stationsOf(const PanelFile &panel, const LineReports &lines, std::size_t line) {
    const std::map<int, QString> &resting = lines[line].status.restingStations;
    QJsonArray stations;
    for (const auto &[station, health] : lines[line].findings.health.stations) {
        const auto rest = resting.find(station);
        QJsonObject object{
            {"station", station},
            {"replyTimes", timesObject(health.replyTimes)},
            {"lastGood", lastObject(health.lastGood)},
            {"lastBad", lastObject(health.lastBad)},
            {"resting", rest == resting.end() ? QJsonValue() : textOrNull(rest->second)},
            {"causes", QJsonArray::fromStringList(causesAt(panel, lines, line, station))}};
        addCounts(health.counts, &object);
        stations += object;
    }
    return stations;
}

QJsonArray refusedNames(const PanelFile &panel, const LineStatus &status) {
    QJsonArray names;
    for (const std::size_t variable : status.refusedVariables)
        names += panel.variables[variable].name;
    return names;
}

QJsonArray lineCauses(const Strangers &strangers) {
    const QString cause = lineCause(strangers);
    return cause.isEmpty() ? QJsonArray() : QJsonArray{cause};
}

QJsonObject lineObject(const PanelFile &panel, const LineReports &lines, std::size_t line) {
    const LineSettings &settings = panel.lines[line];
    const auto &[findings, status] = lines[line];
    const bool hasPass = status.lastPass.count() > 0;
    QJsonObject object{{"name", settings.name},
                       {"device", settings.device},
                       {"baudRate", settings.baudRate},
                       {"deviceGone", textOrNull(status.deviceGone)},
                       {"remarks", QJsonArray::fromStringList(status.remarks)},
                       {"shareInUse", findings.health.share()},
                       {"passes", number(status.passes)},
                       {"lastPassMs", hasPass ? milliseconds(status.lastPass) : QJsonValue()},
                       {"deviceLosses", number(findings.health.deviceLosses)},
                       {"strayBytes", number(findings.health.strayBytes)},
                       {"anotherMaster", masterObject(findings.strangers)},
                       {"refusedVariables", refusedNames(panel, status)},
                       {"causes", lineCauses(findings.strangers)},
                       {"stations", stationsOf(panel, lines, line)}};
    addCounts(findings.health.total(), &object);
    return object;
}

} // namespace

QJsonObject healthReport(const PanelFile &panel, const LineReports &lines,
                         std::chrono::system_clock::time_point now) {
    QJsonArray array;
    for (std::size_t line = 0; line < lines.size(); ++line)
        array += lineObject(panel, lines, line);
    return {{"at", timeText(now)}, {"lines", array}};
}
