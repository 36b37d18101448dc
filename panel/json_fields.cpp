#include "json_fields.h"

#include <QJsonArray>

#include <algorithm>
#include <cmath>

namespace {

// A key or text of the file may hold anything; an error is one line all the same.
QString printable(const QString &text) {
    QString line;
    for (const QChar character : text) {
        if (character.isPrint() || character.isSurrogate()) {
            line += character;
        } else {
            line += QString("\\u%1").arg(character.unicode(), 4, 16, QChar('0'));
        }
    }
    return line;
}

} // namespace

int JsonFields::integer(const char *key, Range range, std::optional<int> fallback) const {
    const QJsonValue found = typed(key, QJsonValue::Double, "a number", fallback.has_value());
    if (found.isUndefined())
        return fallback.value_or(range.low);
    const double number = found.toDouble();
    if (number != std::floor(number) || number < range.low || number > range.high) {
        fail(key, QString("%1 is not a whole number from %2 to %3")
                      .arg(number, 0, 'g', 12)
                      .arg(range.low)
                      .arg(range.high));
        return range.low;
    }
    return static_cast<int>(number);
}

QString JsonFields::text(const char *key, const std::optional<QString> &fallback) const {
    const QJsonValue found = typed(key, QJsonValue::String, "a text", fallback.has_value());
    return found.isUndefined() ? fallback.value_or(QString()) : found.toString();
}

bool JsonFields::flag(const char *key, bool fallback) const {
    return typed(key, QJsonValue::Bool, "true or false", true).toBool(fallback);
}

JsonFields JsonFields::object(const char *key) const {
    return {typed(key, QJsonValue::Object, "an object", true).toObject(), placeOf(key), m_error};
}

std::vector<JsonFields> JsonFields::objects(const char *key) const {
    const QJsonArray array = typed(key, QJsonValue::Array, "a list", true).toArray();
    std::vector<JsonFields> found;
    for (int i = 0; i < array.size(); ++i) {
        const QString name = QString("%1[%2]").arg(key).arg(i);
        if (!array[i].isObject())
            fail(name, "expected an object");
        found.emplace_back(array[i].toObject(), placeOf(name), m_error);
    }
    return found;
}

void JsonFields::allowOnly(std::initializer_list<const char *> keys) const {
    for (const QString &key : m_object.keys()) {
        const bool known = std::any_of(keys.begin(), keys.end(), [&key](const char *allowed) {
            return key == QLatin1String(allowed);
        });
        if (!known)
            fail(key, "unknown field");
    }
}

void JsonFields::fail(const QString &key, const QString &reason) const {
    if (!failed())
        *m_error = printable(placeOf(key) + ": " + reason);
}

QString JsonFields::placeOf(const QString &key) const {
    return m_place.isEmpty() ? key : m_place + '.' + key;
}

QJsonValue JsonFields::typed(const char *key, QJsonValue::Type type, const char *typeName,
                             bool isOptional) const {
    QJsonValue found = value(key);
    if (found.type() == type)
        return found;
    if (!found.isUndefined()) {
        fail(key, QString("expected ") + typeName);
    } else if (!isOptional) {
        fail(key, "missing");
    }
    return QJsonValue::Undefined;
}
