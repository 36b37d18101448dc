#include "panel/file/line_fields.h"

#include <set>

namespace {

constexpr size_t MostLines = 64; // each has a thread
constexpr Range BlockLimits{1, 125};
constexpr Range RetryLimits{0, 100};
constexpr Range Milliseconds{1, 60'000};
constexpr Range MillisecondsOrNone{0, 60'000};

struct Whole {
    const char *key;
    Range range;
    int *value; // holds the fallback
};

void readWholes(const JsonFields &fields, std::initializer_list<Whole> wholes) {
    for (const Whole &whole : wholes)
        *whole.value = fields.integer(whole.key, whole.range, *whole.value).value_or(*whole.value);
}

void readCharacters(const JsonFields &fields, LineSettings *line) {
    readWholes(fields, {{"baudRate", {300, 4'000'000}, &line->baudRate}});
    line->parity = fields
                       .choice<LineParity>("parity", {{"none", LineParity::None},
                                                      {"odd", LineParity::Odd},
                                                      {"even", LineParity::Even}})
                       .value_or(LineParity::Even);
    // A character has eleven bits: without a parity bit a second stop bit takes its place.
    line->stopBits = line->parity == LineParity::None ? 2 : 1;
    readWholes(fields, {{"stopBits", {1, 2}, &line->stopBits}});
}

void readTimes(const JsonFields &fields, LineSettings *line) {
    const LineTimes usual = usualTimes(*line);
    line->responseTimeoutMs = usual.responseTimeoutMs;
    line->byteTimeoutMs = usual.byteTimeoutMs;
    line->broadcastDelayMs = usual.broadcastDelayMs;
    line->silenceUs = usual.silenceUs;
    readWholes(fields, {{"responseTimeoutMs", Milliseconds, &line->responseTimeoutMs}});
    line->quietAfterFailureMs = line->responseTimeoutMs;
    readWholes(fields, {{"byteTimeoutMs", Milliseconds, &line->byteTimeoutMs},
                        {"quietAfterFailureMs", MillisecondsOrNone, &line->quietAfterFailureMs},
                        {"broadcastDelayMs", MillisecondsOrNone, &line->broadcastDelayMs},
                        {"silenceUs", {1, 1'000'000}, &line->silenceUs},
                        {"requestDelayMs", MillisecondsOrNone, &line->requestDelayMs},
                        {"scanIntervalMs", {0, 3'600'000}, &line->scanIntervalMs},
                        {"restAfterGiveUpSeconds", {0, 3600}, &line->restAfterGiveUpSeconds}});
    // Every reply would be cut after its first byte.
    if (line->byteTimeoutMs < usual.leastByteTimeoutMs) {
        fields.fail("byteTimeoutMs", QString("%1 is shorter than two characters at %2 baud: "
                                             "permitted are %3 to %4")
                                         .arg(line->byteTimeoutMs)
                                         .arg(line->baudRate)
                                         .arg(usual.leastByteTimeoutMs)
                                         .arg(Milliseconds.high));
    }
}

// true, false, or an object that says how.
std::optional<Rs485Settings> readRs485(const JsonFields &fields) {
    const QJsonValue value = fields.value("rs485");
    if (value.isBool())
        return value.toBool() ? std::optional(Rs485Settings()) : std::nullopt;
    const JsonFields details = fields.object("rs485");
    details.allowOnly({"rtsOnSend", "delayBeforeSendMs", "delayAfterSendMs"});
    Rs485Settings settings;
    settings.rtsOnSend = details.flag("rtsOnSend").value_or(true);
    readWholes(details, {{"delayBeforeSendMs", {0, 1000}, &settings.delayBeforeSendMs},
                         {"delayAfterSendMs", {0, 1000}, &settings.delayAfterSendMs}});
    return value.isObject() ? std::optional(settings) : std::nullopt;
}

// `defaults` has the settings that the file gives for all lines.
LineSettings readLine(const JsonFields &fields, const LineSettings &defaults) {
    fields.allowOnly({"name",
                      "device",
                      "baudRate",
                      "parity",
                      "stopBits",
                      "blockLimit",
                      "retryLimit",
                      "plan",
                      "responseTimeoutMs",
                      "byteTimeoutMs",
                      "quietAfterFailureMs",
                      "broadcastDelayMs",
                      "silenceUs",
                      "requestDelayMs",
                      "scanIntervalMs",
                      "deadShare",
                      "restAfterGiveUpSeconds",
                      "lowLatency",
                      "rs485",
                      "localEcho"});
    LineSettings line = defaults;
    line.device = fields.text("device", QString()).value_or(QString());
    readCharacters(fields, &line);
    readTimes(fields, &line);
    readWholes(fields, {{"blockLimit", BlockLimits, &line.blockLimit},
                        {"retryLimit", RetryLimits, &line.retryLimit}});
    line.plan = fields
                    .choice<PlanChoice>(
                        "plan", {{"driver", PlanChoice::Driver}, {"fastest", PlanChoice::Fastest}})
                    .value_or(PlanChoice::Driver);
    line.deadShare = fields.number("deadShare", {0.01, 1}).value_or(line.deadShare);
    line.lowLatency = fields.flag("lowLatency");
    line.rs485 = readRs485(fields);
    line.localEcho = fields.flag("localEcho").value_or(false);
    return line;
}

void checkDevice(const JsonFields &fields, const LineSettings &line, std::set<QString> *seen) {
    if (line.device.isEmpty()) {
        fields.fail("device", "missing: the file has several lines");
    } else if (!seen->insert(line.device).second) {
        fields.fail("device", QString("another line has \"%1\"").arg(line.device));
    }
}

std::vector<LineSettings> readList(const JsonFields &top, const LineSettings &defaults) {
    const std::vector<JsonFields> objects = top.objects("lines", "name");
    if (objects.empty() || objects.size() > MostLines)
        top.fail("lines", QString("expected 1 to %1 of them").arg(MostLines));
    std::vector<LineSettings> lines;
    std::set<QString> names;
    std::set<QString> devices;
    for (const JsonFields &fields : objects) {
        lines.push_back(readLine(fields, defaults));
        readName(fields, &lines.back().name);
        if (!names.insert(lines.back().name).second)
            fields.fail("name", "another line has the same");
        if (objects.size() > 1)
            checkDevice(fields, lines.back(), &devices);
    }
    return lines;
}

} // namespace

std::vector<LineSettings> readLines(const JsonFields &top) {
    LineSettings defaults;
    readWholes(top, {{"blockLimit", BlockLimits, &defaults.blockLimit},
                     {"retryLimit", RetryLimits, &defaults.retryLimit}});
    if (top.has("lines") && top.has("port"))
        top.fail("port", "stands beside lines: one of the two");
    if (top.has("lines"))
        return readList(top, defaults);
    const JsonFields port = top.object("port");
    LineSettings line = readLine(port, defaults);
    line.name = "line";
    readName(port, &line.name);
    return {line};
}
