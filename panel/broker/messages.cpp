#include "panel/broker/messages.h"

#include "panel/file/values.h"
#include "panel/health/exchange_text.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

using SystemTime = std::chrono::system_clock::time_point;

// A value by itself, which QJsonDocument does not write.
QByteArray jsonText(const QJsonValue &value) {
    const QByteArray list = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return list.mid(1, list.size() - 2);
}

struct Field {
    const char *name;
    QJsonValue value;
};

// In this order, as people read it; QJsonObject would sort.
QByteArray objectText(std::initializer_list<Field> fields) {
    QByteArray text;
    for (const Field &field : fields) {
        text += (text.isEmpty() ? "{\"" : ",\"") + QByteArray(field.name) +
                "\":" + jsonText(field.value);
    }
    return text + '}';
}

QJsonValue valueOrNull(const Variable &variable, const QByteArray &data) {
    return data.isEmpty() ? QJsonValue(QJsonValue::Null) : valueJson(variable, data);
}

} // namespace

QByteArray variableTopic(const PanelFile &panel, std::size_t variable) {
    const Variable &named = panel.variables.at(variable);
    return (panel.lines.at(named.line).name + '/' + named.name).toUtf8();
}

QByteArray valuePayload(const Variable &variable, const ValueChange &change) {
    return objectText({{"value", valueOrNull(variable, change.data)},
                       {"unit", variable.unit},
                       {"quality", qualityName(change.quality)},
                       {"time", timeText(change.at)}});
}

QString readWrite(const Variable &variable, const QByteArray &payload, QByteArray *data) {
    const QJsonDocument document = QJsonDocument::fromJson('[' + payload + ']');
    if (!document.isArray())
        return encodeTyped(variable, QString::fromUtf8(payload), data);
    if (document.array().size() != 1)
        return "expected one value, or a list in brackets";
    const QJsonValue value = document.array().at(0);
    return encodeValue(variable, value.isObject() ? value["value"] : value, data);
}

QByteArray resultPayload(const Variable &variable, const WriteResult &result, SystemTime now) {
    if (!result.error.isEmpty())
        return objectText({{"result", "failed"}, {"error", result.error}, {"time", timeText(now)}});
    if (!result.isKnown)
        return objectText({{"result", "sent"}, {"time", timeText(now)}});
    return objectText({{"result", "written"},
                       {"value", valueOrNull(variable, result.readBack)},
                       {"time", timeText(now)}});
}

QByteArray refusalPayload(const QString &error, SystemTime now) {
    return objectText({{"result", "refused"}, {"error", error}, {"time", timeText(now)}});
}
