#include "panel/command/plan_report.h"

#include "panel/command/device_options.h"
#include "panel/file/registers.h"
#include "panel/line/read_frames.h"

#include <QJsonArray>

#include <algorithm>
#include <chrono>
#include <set>

namespace {

constexpr int TerminalWidth = 80;
constexpr double SameMs = 0.001; // sums of the same times, in another order, differ by less

double inMilliseconds(LineTime time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

StationReplyTimes sameForAll(const PanelFile &panel, LineTime replyTime) {
    StationReplyTimes times;
    for (const Variable &variable : panel.variables)
        times[variable.station] = replyTime;
    return times;
}

// The names of the variables that a block reads, and how many of its registers none of them needs.
void noteVariables(const PanelFile &panel, std::size_t line, PlannedRequest *request) {
    const RegisterSpan &block = request->block;
    std::set<int> asked;
    for (const Variable &variable : panel.variables) {
        const RegisterSpan span = variable.span();
        const int first = std::max(span.first, block.first);
        const int end = std::min(endOf(span), endOf(block));
        if (variable.line != line || variable.once || !sameArea(span, block) || first >= end)
            continue;
        request->variables += variable.name;
        for (int i = first; i < end; ++i)
            asked.insert(i);
    }
    request->unasked = block.count - static_cast<int>(asked.size());
}

PlannedPass planPass(const PanelFile &panel, std::size_t line, const Blocks &blocks,
                     LineTime replyTime) {
    const LineCost cost(panel.lines[line]);
    PlannedPass pass;
    for (const RegisterSpan &block : blocks) {
        PlannedRequest request{block,
                               {},
                               0,
                               ReadRequestBytes + readReplyBytes(block.count),
                               inMilliseconds(cost.read(block.count, replyTime))};
        noteVariables(panel, line, &request);
        pass.unasked += request.unasked;
        pass.bytes += request.bytes;
        pass.milliseconds += request.milliseconds;
        pass.requests.push_back(std::move(request));
    }
    return pass;
}

const char *areaName(const RegisterSpan &block) {
    return block.area == InputArea ? "input" : "holding";
}

int wireRegister(const RegisterSpan &block) {
    return block.first + wireOffset(block.area);
}

// How long a pass takes, the pause that was asked for included.
double passMilliseconds(const LineSettings &settings, const PlannedPass &pass) {
    return std::max<double>(pass.milliseconds, settings.scanIntervalMs);
}

double readsPerSecond(const LineSettings &settings, const PlannedPass &pass) {
    return 1000 / passMilliseconds(settings, pass);
}

// Names with commas, in lines of at most `width` characters as far as the names allow.
QStringList wrapped(const QStringList &names, int width) {
    QStringList lines{QString()};
    for (int i = 0; i < names.size(); ++i) {
        const QString name = names[i] + (i + 1 < names.size() ? "," : "");
        if (!lines.last().isEmpty() && lines.last().size() + 1 + name.size() > width)
            lines += QString();
        lines.last() += (lines.last().isEmpty() ? "" : " ") + name;
    }
    return lines;
}

QString counted(int count, const QString &thing) {
    return QString("%1 %2%3").arg(count).arg(thing, count == 1 ? "" : "s");
}

QString requestText(const PlannedRequest &request) {
    const int first = wireRegister(request.block);
    const QString registers = QString("%1..%2").arg(first).arg(first + request.block.count - 1);
    const QString row = QString("  %1  %2 %3 %4 %5 %6  ")
                            .arg(request.block.station, 7)
                            .arg(areaName(request.block), -7)
                            .arg(registers, -12)
                            .arg(request.unasked, 7)
                            .arg(request.bytes, 5)
                            .arg(request.milliseconds, 7, 'f', 1);
    const QString indent = '\n' + QString(row.size(), ' ');
    return row + wrapped(request.variables, TerminalWidth - row.size()).join(indent) + '\n';
}

QString passText(const QString &name, const LineSettings &settings, const PlannedPass &pass) {
    QString text = QString("\n  %1: %2, %3, %4 that nobody asked for\n"
                           "  station  area    registers    unasked bytes      ms  variables\n")
                       .arg(name, counted(static_cast<int>(pass.requests.size()), "request"),
                            counted(pass.bytes, "byte"), counted(pass.unasked, "register"));
    for (const PlannedRequest &request : pass.requests)
        text += requestText(request);
    return text + QString("  a pass takes %1 ms: each variable is read %2 times a second\n")
                      .arg(passMilliseconds(settings, pass), 0, 'f', 1)
                      .arg(readsPerSecond(settings, pass), 0, 'f', 2);
}

QString inUse(const LineSettings &settings) {
    return settings.plan == PlanChoice::Driver ? "driver" : "fastest";
}

bool sameRequests(const PlannedPass &a, const PlannedPass &b) {
    return std::equal(a.requests.begin(), a.requests.end(), b.requests.begin(), b.requests.end(),
                      [](const PlannedRequest &x, const PlannedRequest &y) {
                          return contains(x.block, y.block) && contains(y.block, x.block);
                      });
}

QString bothPasses(const LinePlans &plans) {
    const LineSettings &line = plans.settings;
    if (sameRequests(plans.driver, plans.fastest))
        return passText("plan \"driver\", and \"fastest\" alike", line, plans.driver);
    return passText("plan \"driver\"", line, plans.driver) +
           passText("plan \"fastest\"", line, plans.fastest);
}

QString advantage(const QString &quicker, const QString &slower, double less, double more) {
    return QString("\n  \"%1\" reads %2 times as often as \"%3\", %4 ms less a pass")
        .arg(quicker)
        .arg(more / less, 0, 'f', 2)
        .arg(slower)
        .arg(more - less, 0, 'f', 1);
}

QString comparison(const LinePlans &plans) {
    const double driver = passMilliseconds(plans.settings, plans.driver);
    const double fastest = passMilliseconds(plans.settings, plans.fastest);
    QString text = "\n  the two plans take the same time";
    if (driver - fastest > SameMs) {
        text = advantage("fastest", "driver", fastest, driver);
    } else if (fastest - driver > SameMs) {
        text = advantage("driver", "fastest", driver, fastest) +
               ",\n  but reads some values in two parts, which may not belong together";
    }
    return text + QString("; the file asks for \"%1\"\n").arg(inUse(plans.settings));
}

QJsonObject passJson(const LineSettings &settings, const PlannedPass &pass) {
    QJsonArray requests;
    for (const PlannedRequest &request : pass.requests) {
        requests += QJsonObject{{"station", request.block.station},
                                {"area", areaName(request.block)},
                                {"register", wireRegister(request.block)},
                                {"count", request.block.count},
                                {"unasked", request.unasked},
                                {"bytes", request.bytes},
                                {"milliseconds", request.milliseconds},
                                {"variables", QJsonArray::fromStringList(request.variables)}};
    }
    return {{"requests", requests},
            {"unasked", pass.unasked},
            {"bytes", pass.bytes},
            {"milliseconds", passMilliseconds(settings, pass)},
            {"readsPerSecond", readsPerSecond(settings, pass)}};
}

} // namespace

LinePlans planLine(const Driver &driver, const PanelFile &panel, std::size_t line,
                   double stationTimeMs) {
    PanelFile fast = panel;
    fast.lines[line].plan = PlanChoice::Fastest;
    const auto stationTime = std::chrono::duration_cast<LineTime>(
        std::chrono::duration<double, std::milli>(stationTimeMs));
    const LineTime replyTime = LineCost(panel.lines[line]).replyTime(stationTime);
    Plan fastest(fast, line, {});
    fastest.setReplyTimes(sameForAll(panel, replyTime));
    return {panel.lines[line], stationTimeMs,
            planPass(panel, line, driverBlocks(driver, panel, line), replyTime),
            planPass(panel, line, fastest.blocks(), replyTime)};
}

QString planText(const LinePlans &plans) {
    const LineSettings &line = plans.settings;
    QString text = QString("%1: %2 %3 %4, at most %5 a request, stations answer after %6 ms\n")
                       .arg(line.name)
                       .arg(line.baudRate)
                       .arg(parityName(line.parity))
                       .arg(line.stopBits)
                       .arg(counted(line.blockLimit, "register"))
                       .arg(plans.stationTimeMs);
    if (plans.driver.requests.empty())
        return text + "  nothing is polled\n";
    return text + bothPasses(plans) + comparison(plans);
}

QJsonObject planJson(const LinePlans &plans) {
    const LineSettings &line = plans.settings;
    QJsonObject json{{"name", line.name},
                     {"device", line.device},
                     {"baudRate", line.baudRate},
                     {"blockLimit", line.blockLimit},
                     {"replyTimeMs", plans.stationTimeMs},
                     {"plan", inUse(line)}};
    if (plans.driver.requests.empty())
        return json;
    json["driver"] = passJson(line, plans.driver);
    json["fastest"] = passJson(line, plans.fastest);
    json["timesFaster"] =
        passMilliseconds(line, plans.driver) / passMilliseconds(line, plans.fastest);
    return json;
}
