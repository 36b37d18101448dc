#include "panel/file/panel_file.h"

#include "panel/file/broker_fields.h"
#include "panel/file/json_fields.h"
#include "panel/file/line_fields.h"
#include "panel/file/values.h"
#include "panel/file/variable_fields.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>

#include <algorithm>
#include <set>
#include <utility>

namespace {

constexpr qint64 MaxFileBytes = 1024 * 1024;

// The panel as far as it is read.
struct Reading {
    PanelFile panel;
    QHash<QString, size_t> byName; // index of the variable
    std::set<size_t> wrong;        // variables that have errors
    std::set<size_t> unclear;      // those of whose values nothing can be said
};

void readVariables(const JsonFields &top, const char *key, bool once, Reading *reading) {
    PanelFile &panel = reading->panel;
    for (const JsonFields &fields : top.objects(key, "name")) {
        const int errorsBefore = fields.errorCount();
        bool isValueKnown = false;
        Variable variable = readVariable(fields, panel.lines, once, &isValueKnown);
        if (reading->byName.contains(variable.name) && !variable.name.isEmpty())
            fields.fail("name", "another variable has the same");
        if (panel.broker && !variable.name.isEmpty())
            checkTopicLevel(fields, "name", variable.name);
        if (fields.errorCount() > errorsBefore)
            reading->wrong.insert(panel.variables.size());
        if (!isValueKnown)
            reading->unclear.insert(panel.variables.size());
        reading->byName.insert(variable.name, panel.variables.size());
        panel.variables.push_back(std::move(variable));
    }
}

// Why nobody can write its variable; nothing of one that is wrong already.
QString obstacleTo(const WriteJob &job, const Reading &reading) {
    const PanelFile &panel = reading.panel;
    if (reading.wrong.count(job.variable) > 0 || panel.lines.empty())
        return {};
    const Variable &variable = panel.variables[job.variable];
    return variable.moves ? QString("it is one that moves")
                          : writeObstacle(variable, panel.lines[variable.line].blockLimit);
}

void readWrite(const JsonFields &fields, Reading *reading) {
    fields.allowOnly({"variable", "value"});
    const std::optional<QString> name = fields.text("variable");
    const auto found = name ? reading->byName.constFind(*name) : reading->byName.constEnd();
    if (found == reading->byName.constEnd()) {
        if (name)
            fields.fail("variable", QString("there is no variable \"%1\"").arg(*name));
        return;
    }
    WriteJob job;
    job.variable = *found;
    reading->panel.writes.push_back(job);
    const QString obstacle = obstacleTo(job, *reading);
    if (!obstacle.isEmpty())
        fields.fail("variable", obstacle);
    if (reading->unclear.count(job.variable) > 0)
        return;
    const Variable &variable = reading->panel.variables[job.variable];
    const QString reason = encodeValue(variable, fields.value("value"), &job.data);
    if (!reason.isEmpty())
        fields.fail("value", reason);
    reading->panel.writes.back() = job;
}

void checkThereIsWork(const JsonFields &top, const PanelFile &panel) {
    std::set<size_t> written;
    for (const WriteJob &job : panel.writes)
        written.insert(job.variable);
    bool isAnyRead = false;
    for (size_t i = 0; i < panel.variables.size(); ++i) {
        const Variable &variable = panel.variables[i];
        isAnyRead = isAnyRead || !variable.isBroadcast();
        if (variable.isBroadcast() && !variable.writable && written.count(i) == 0) {
            top.fail(
                "variables",
                QString("\"%1\" addresses all stations, and no write names it").arg(variable.name));
        }
    }
    if (!isAnyRead)
        top.fail("variables", panel.variables.empty() ? "there is none" : "none can be read");
}

void checkLineNames(const JsonFields &top, const std::vector<LineSettings> &lines) {
    for (const LineSettings &line : lines) {
        if (!line.name.isEmpty())
            checkTopicLevel(top, "lines", line.name);
    }
}

PanelFile readPanel(const JsonFields &top) {
    top.allowOnly({"port", "lines", "blockLimit", "retryLimit", "variables", "onceReads", "writes",
                   "broker", "historyDays", "historyMegabytes"});
    Reading reading;
    PanelFile &panel = reading.panel;
    panel.lines = readLines(top);
    if (top.has("broker")) {
        panel.broker = readBroker(top.object("broker"));
        checkLineNames(top, panel.lines);
    }
    panel.historyDays = top.integer("historyDays", {1, 36'500}, 30).value_or(30);
    panel.historyMegabytes = top.integer("historyMegabytes", {1, 1'000'000}, 1024).value_or(1024);
    readVariables(top, "variables", false, &reading);
    readVariables(top, "onceReads", true, &reading);
    for (const JsonFields &fields : top.objects("writes", "variable"))
        readWrite(fields, &reading);
    // What is wrong may be why there is none.
    if (top.errorCount() == 0)
        checkThereIsWork(top, panel);
    return std::move(reading.panel);
}

QString lineAndColumn(const QByteArray &text, int offset) {
    const QByteArray before = text.left(offset);
    return QString("line %1, column %2")
        .arg(before.count('\n') + 1)
        .arg(before.size() - before.lastIndexOf('\n'));
}

// A panel file and the files that it names may move together.
void resolveNames(const QString &panelFile, BrokerSettings *broker) {
    const QDir folder(QFileInfo(panelFile).path());
    for (QString *name : {&broker->passwordFile, &broker->caFile, &broker->certFile,
                          &broker->keyFile, &broker->spoolFile}) {
        if (!name->isEmpty())
            *name = folder.filePath(*name);
    }
}

} // namespace

std::optional<PanelFile> parsePanel(const QByteArray &json, QStringList *errors) {
    errors->clear();
    QJsonParseError syntax;
    const QJsonDocument document = QJsonDocument::fromJson(json, &syntax);
    if (syntax.error != QJsonParseError::NoError) {
        *errors += lineAndColumn(json, syntax.offset) + ": not JSON, " + syntax.errorString();
        return {};
    }
    if (!document.isObject()) {
        *errors += "line 1: expected an object";
        return {};
    }
    FileErrors found;
    PanelFile panel = readPanel(JsonFields(document.object(), &found));
    *errors = found.lines();
    return errors->isEmpty() ? std::optional(std::move(panel)) : std::nullopt;
}

std::optional<PanelFile> readPanelFile(const QString &path, QStringList *errors) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *errors = QStringList{path + ": " + file.errorString()};
        return {};
    }
    const QByteArray json = file.read(MaxFileBytes + 1);
    std::optional<PanelFile> panel;
    if (json.size() > MaxFileBytes) {
        *errors = QStringList{QString("larger than %1 bytes").arg(MaxFileBytes)};
    } else {
        panel = parsePanel(json, errors);
    }
    for (QString &error : *errors)
        error = path + ": " + error;
    if (panel && panel->broker)
        resolveNames(path, &*panel->broker);
    return panel;
}
