#include "panel/web/write_request.h"

#include "panel/file/values.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

// The variable's index; that behind the last when there is none.
std::size_t find(const PanelFile &panel, const QJsonObject &wanted) {
    const QJsonValue line = wanted["line"];
    const auto isWanted = [&](const Variable &variable) {
        return variable.name == wanted["variable"].toString() &&
               (line.isUndefined() || panel.lines[variable.line].name == line.toString());
    };
    const auto found = std::find_if(panel.variables.begin(), panel.variables.end(), isWanted);
    return static_cast<std::size_t>(found - panel.variables.begin());
}

} // namespace

QString readWriteRequest(const Request &request, const PanelFile &panel, WriteOrder *order) {
    order->variable = panel.variables.size();
    order->origin = "page " + request.client;
    const QJsonObject wanted = QJsonDocument::fromJson(request.body).object();
    if (!wanted["variable"].isString() || !wanted.contains("value"))
        return R"(expected {"variable": "NAME", "value": ...})";
    order->variable = find(panel, wanted);
    if (order->variable == panel.variables.size())
        return QString("there is no \"%1\"").arg(wanted["variable"].toString());
    const Variable &variable = panel.variables[order->variable];
    if (!variable.writable)
        return QString("\"%1\" is not writable").arg(variable.name);
    const QJsonValue value = wanted["value"];
    return value.isString() ? encodeTyped(variable, value.toString(), &order->data)
                            : encodeValue(variable, value, &order->data);
}

Answer writeAnswer(const Variable &variable, const WriteResult &result) {
    if (!result.error.isEmpty())
        return refusal(502, result.error);
    QJsonObject answer{{"ok", true}, {"isKnown", result.isKnown}, {"readBack", QJsonValue()}};
    if (!result.readBack.isEmpty()) {
        answer["readBack"] = valueJson(variable, result.readBack);
        answer["text"] = valueText(variable, result.readBack);
    }
    const QByteArray body = QJsonDocument(answer).toJson(QJsonDocument::Compact);
    return {200, "application/json", body, {}};
}
