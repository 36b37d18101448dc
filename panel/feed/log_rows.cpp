#include "panel/feed/log_rows.h"

#include "panel/file/values.h"
#include "panel/health/exchange_text.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace {

QByteArray csvField(QString text) {
    const bool isPlain = !text.contains(',') && !text.contains('"') && !text.contains('\n') &&
                         !text.contains('\r') && text == text.trimmed();
    if (!isPlain)
        text = '"' + text.replace('"', "\"\"") + '"';
    return text.toUtf8();
}

QByteArray csvRow(const PanelFile &panel, const ValueChange &change) {
    const Variable &variable = panel.variables[change.variable];
    QByteArray row;
    for (const QString &text : {timeText(change.at), panel.lines[variable.line].name, variable.name,
                                change.text, variable.unit})
        row += csvField(text) + ',';
    return row + qualityName(change.quality) + '\n';
}

QByteArray jsonRow(const PanelFile &panel, const ValueChange &change) {
    const Variable &variable = panel.variables[change.variable];
    const QJsonObject row{
        {"time", timeText(change.at)},
        {"line", panel.lines[variable.line].name},
        {"variable", variable.name},
        {"value",
         change.quality == Quality::Never ? QJsonValue::Null : valueJson(variable, change.data)},
        {"unit", variable.unit},
        {"quality", qualityName(change.quality)},
    };
    return QJsonDocument(row).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

std::optional<LogFormat> logFormatOf(const QString &path) {
    if (path.endsWith(".csv", Qt::CaseInsensitive))
        return LogFormat::Csv;
    if (path.endsWith(".jsonl", Qt::CaseInsensitive))
        return LogFormat::Json;
    return {};
}

QByteArray logBeginning(LogFormat format) {
    return format == LogFormat::Csv ? "time,line,variable,value,unit,quality\n" : "{";
}

QByteArray logRow(LogFormat format, const PanelFile &panel, const ValueChange &change) {
    return format == LogFormat::Csv ? csvRow(panel, change) : jsonRow(panel, change);
}
