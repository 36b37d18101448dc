#include "panel_file.h"

#include "json_fields.h"
#include "values.h"

#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>
#include <set>
#include <utility>

namespace {

constexpr qint64 MaxFileBytes = 1024 * 1024;
constexpr int Registers = 65536;     // that an address on the wire tells apart
constexpr int HighAreaOffset = 5000; // area 8 begins there
constexpr Range Milliseconds{1, 60'000};
constexpr Range MillisecondsOrNone{0, 60'000};

LineParity readParity(const JsonFields &fields) {
    const struct {
        const char *name;
        LineParity parity;
    } names[] = {{"none", LineParity::None}, {"odd", LineParity::Odd}, {"even", LineParity::Even}};
    const QString text = fields.text("parity", "even");
    for (const auto &entry : names) {
        if (text == entry.name)
            return entry.parity;
    }
    fields.fail("parity", QString("\"%1\" is not none, odd or even").arg(text));
    return LineParity::None;
}

PortSettings readPort(const JsonFields &fields) {
    fields.allowOnly({"device", "baudRate", "parity", "stopBits", "responseTimeoutMs",
                      "byteTimeoutMs", "quietAfterFailureMs", "broadcastDelayMs",
                      "restAfterGiveUpSeconds"});
    PortSettings port;
    port.device = fields.text("device", QString());
    port.baudRate = fields.integer("baudRate", {300, 4'000'000}, 19200);
    port.parity = readParity(fields);
    // A character has eleven bits: without a parity bit a second stop bit takes its place.
    port.stopBits = fields.integer("stopBits", {1, 2}, port.parity == LineParity::None ? 2 : 1);
    port.responseTimeoutMs = fields.integer("responseTimeoutMs", Milliseconds, 300);
    port.byteTimeoutMs = fields.integer("byteTimeoutMs", Milliseconds, 20);
    port.quietAfterFailureMs =
        fields.integer("quietAfterFailureMs", MillisecondsOrNone, port.responseTimeoutMs);
    port.broadcastDelayMs = fields.integer("broadcastDelayMs", MillisecondsOrNone, 100);
    port.restAfterGiveUpSeconds = fields.integer("restAfterGiveUpSeconds", {0, 3600}, 5);
    return port;
}

Display readDisplay(const JsonFields &fields, const Variable &variable) {
    const QString name = fields.text("format");
    Display display = Display::Unsigned;
    const FormatMatch match = findFormat(name, variable.width().bits, &display);
    if (!match.known) {
        fields.fail("format", QString("unknown format \"%1\"").arg(name));
    } else if (!match.fits) {
        fields.fail("format", QString("%1 does not fit register type %2 (%3-bit)")
                                  .arg(name)
                                  .arg(variable.regType)
                                  .arg(variable.width().bits));
    }
    return display;
}

// Stricter than the driver, which takes any text with a dot for a bit.
void readAddress(const JsonFields &fields, Variable *variable) {
    static const QRegularExpression bitAddress("^(\\d{1,6})\\.([0-7])\\z");
    static const QRegularExpression plainAddress("^(\\d{1,6})\\z");
    const bool isBit = variable->width().bits == 1;
    variable->addressText = fields.text("address");
    const auto match = (isBit ? bitAddress : plainAddress).match(variable->addressText);
    if (!match.hasMatch()) {
        fields.fail("address", QString("\"%1\" is not %2")
                                   .arg(variable->addressText, isBit ? "\"byte.bit\", like \"12.3\""
                                                                     : "a number, like \"100\""));
        return;
    }
    const int number = match.captured(1).toInt();
    variable->address = isBit ? number * 8 + match.captured(2).toInt() : number;

    const RegisterSpan span = variable->span();
    const int offset = span.area == 8 ? HighAreaOffset : 0;
    if (offset + span.first + span.count > Registers)
        fields.fail("address", "beyond the last register of the area");
}

void checkName(const JsonFields &fields, const QString &name) {
    const bool shows = std::all_of(name.begin(), name.end(), [](QChar character) {
        return character.isPrint() || character.isSurrogate();
    });
    if (name.isEmpty() || !shows)
        fields.fail("name", name.isEmpty() ? "empty" : "has a control character");
}

void readExpected(const JsonFields &fields, Variable *variable) {
    const QJsonValue value = fields.value("expect");
    if (value.isUndefined())
        return;
    const QString reason = encodeValue(*variable, value, &variable->expected);
    if (!reason.isEmpty())
        fields.fail("expect", reason);
}

void checkBroadcast(const JsonFields &fields, const Variable &variable) {
    const bool isRead = variable.isReadOnly() || variable.moves || !variable.expected.isEmpty();
    if (variable.isBroadcast() && isRead)
        fields.fail("station", "0 addresses all stations and can only be written");
}

Variable readVariable(const JsonFields &fields, bool once) {
    fields.allowOnly(
        {"name", "station", "registerType", "address", "count", "format", "moves", "expect"});
    Variable variable;
    variable.once = once;
    variable.name = fields.text("name");
    checkName(fields, variable.name);
    variable.station = fields.integer("station", {once ? 1 : 0, 247});
    variable.regType = fields.integer("registerType", {0, 14});
    variable.count = fields.integer("count", {1, variable.width().maxRead}, 1);
    variable.display = readDisplay(fields, variable);
    variable.moves = fields.flag("moves", false);
    readAddress(fields, &variable);
    readExpected(fields, &variable);
    checkBroadcast(fields, variable);
    return variable;
}

auto findByName(const std::vector<Variable> &variables, const QString &name) {
    return std::find_if(variables.begin(), variables.end(),
                        [&name](const Variable &variable) { return variable.name == name; });
}

void readVariables(const JsonFields &top, const char *key, bool once,
                   std::vector<Variable> *variables) {
    for (const JsonFields &fields : top.objects(key)) {
        Variable variable = readVariable(fields, once);
        if (findByName(*variables, variable.name) != variables->end())
            fields.fail("name", QString("duplicate name \"%1\"").arg(variable.name));
        variables->push_back(std::move(variable));
    }
}

// Every write travels in one request, so that it is acknowledged once.
void checkWritable(const JsonFields &fields, const Variable &variable, int blockLimit) {
    const int most = std::min(variable.width().maxWrite, blockLimit);
    if (variable.isReadOnly()) {
        fields.fail("variable", QString("\"%1\" is in the input area").arg(variable.name));
    } else if (variable.count > most) {
        fields.fail("variable", QString("\"%1\" has more than the %2 elements of one write")
                                    .arg(variable.name)
                                    .arg(most));
    } else if (variable.moves) {
        fields.fail("variable", QString("\"%1\" is one that moves").arg(variable.name));
    }
}

WriteJob readWrite(const JsonFields &fields, const PanelFile &panel) {
    fields.allowOnly({"variable", "value"});
    const QString name = fields.text("variable");
    const auto found = findByName(panel.variables, name);
    if (found == panel.variables.end()) {
        fields.fail("variable", QString("there is no variable \"%1\"").arg(name));
        return {};
    }
    checkWritable(fields, *found, panel.blockLimit);
    WriteJob job;
    job.variable = static_cast<size_t>(found - panel.variables.begin());
    const QString reason = encodeValue(*found, fields.value("value"), &job.data);
    if (!reason.isEmpty())
        fields.fail("value", reason);
    return job;
}

// A run that checks nothing would hold whatever happens.
void checkThereIsWork(const JsonFields &top, const PanelFile &panel) {
    std::set<size_t> written;
    for (const WriteJob &job : panel.writes)
        written.insert(job.variable);
    bool isAnyRead = false;
    for (size_t i = 0; i < panel.variables.size(); ++i) {
        const Variable &variable = panel.variables[i];
        isAnyRead = isAnyRead || !variable.isBroadcast();
        if (variable.isBroadcast() && written.count(i) == 0) {
            top.fail(
                "variables",
                QString("\"%1\" addresses all stations and no write names it").arg(variable.name));
        }
    }
    if (!isAnyRead)
        top.fail("variables", panel.variables.empty() ? "there is none" : "none can be read");
}

PanelFile readPanel(const JsonFields &top) {
    top.allowOnly({"port", "blockLimit", "retryLimit", "variables", "onceReads", "writes"});
    PanelFile panel;
    panel.port = readPort(top.object("port"));
    panel.blockLimit = top.integer("blockLimit", {1, 125}, 100);
    panel.retryLimit = top.integer("retryLimit", {0, 100}, 2);
    readVariables(top, "variables", false, &panel.variables);
    readVariables(top, "onceReads", true, &panel.variables);
    for (const JsonFields &fields : top.objects("writes"))
        panel.writes.push_back(readWrite(fields, panel));
    checkThereIsWork(top, panel);
    return panel;
}

QString lineAndColumn(const QByteArray &text, int offset) {
    const QByteArray before = text.left(offset);
    return QString("line %1, column %2")
        .arg(before.count('\n') + 1)
        .arg(before.size() - before.lastIndexOf('\n'));
}

} // namespace

std::optional<PanelFile> parsePanel(const QByteArray &json, QString *error) {
    QJsonParseError syntax;
    const QJsonDocument document = QJsonDocument::fromJson(json, &syntax);
    if (syntax.error != QJsonParseError::NoError) {
        *error = lineAndColumn(json, syntax.offset) + ": not JSON, " + syntax.errorString();
        return {};
    }
    if (!document.isObject()) {
        *error = "line 1: expected an object";
        return {};
    }
    error->clear();
    PanelFile panel = readPanel(JsonFields(document.object(), {}, error));
    return error->isEmpty() ? std::optional(std::move(panel)) : std::nullopt;
}

std::optional<PanelFile> readPanelFile(const QString &path, QString *error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = path + ": " + file.errorString();
        return {};
    }
    const QByteArray json = file.read(MaxFileBytes + 1);
    std::optional<PanelFile> panel;
    if (json.size() > MaxFileBytes) {
        *error = QString("larger than %1 bytes").arg(MaxFileBytes);
    } else {
        panel = parsePanel(json, error);
    }
    if (!panel)
        *error = path + ": " + *error;
    return panel;
}
