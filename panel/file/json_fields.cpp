#include "panel/file/json_fields.h"

#include <QJsonArray>

#include <algorithm>
#include <cmath>

namespace {

constexpr int LongestLine = 400;
constexpr int LongestName = 60;

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

QString shortened(const QString &text, int most) {
    return text.size() > most ? text.left(most) + "..." : text;
}

} // namespace

QString numberText(double number) {
    return QString::number(number, 'g', 12);
}

bool isShown(const QString &text) {
    return std::all_of(text.begin(), text.end(), [](QChar character) {
        return character.isPrint() || character.isSurrogate();
    });
}

void readName(const JsonFields &fields, QString *name) {
    const auto fallback = name->isEmpty() ? std::nullopt : std::optional(*name);
    const std::optional<QString> found = fields.text("name", fallback);
    if (!found)
        return;
    if (found->isEmpty() || !isShown(*found)) {
        fields.fail("name", found->isEmpty() ? "empty" : "has a control character");
    } else {
        *name = *found;
    }
}

void FileErrors::add(const QString &line) {
    if (++m_count <= MostShown)
        m_lines += shortened(printable(line), LongestLine);
}

QStringList FileErrors::lines() const {
    const int left = m_count - m_lines.size();
    return left == 0 ? m_lines : m_lines + QStringList{QString("... and %1 more").arg(left)};
}

std::optional<int> JsonFields::integer(const char *key, Range range,
                                       std::optional<int> fallback) const {
    const QJsonValue found = typed(key, QJsonValue::Double, "a number", fallback.has_value());
    if (found.isUndefined())
        return has(key) ? std::nullopt : fallback;
    const double number = found.toDouble();
    if (number == std::floor(number) && number >= range.low && number <= range.high)
        return static_cast<int>(number);
    fail(key, QString("%1 is not a whole number from %2 to %3")
                  .arg(numberText(number), numberText(range.low), numberText(range.high)));
    return {};
}

std::optional<double> JsonFields::number(const char *key, Range range) const {
    const QJsonValue found = typed(key, QJsonValue::Double, "a number", true);
    if (found.isUndefined())
        return {};
    const double number = found.toDouble();
    if (number >= range.low && number <= range.high)
        return number;
    fail(key, QString("%1 is not a number from %2 to %3")
                  .arg(numberText(number), numberText(range.low), numberText(range.high)));
    return {};
}

std::optional<QString> JsonFields::text(const char *key,
                                        const std::optional<QString> &fallback) const {
    const QJsonValue found =
        typed(key, QJsonValue::String, "a text (in quotes)", fallback.has_value());
    if (found.isUndefined())
        return has(key) ? std::nullopt : fallback;
    return found.toString();
}

std::optional<bool> JsonFields::flag(const char *key) const {
    const QJsonValue found = typed(key, QJsonValue::Bool, "true or false", true);
    return found.isUndefined() ? std::nullopt : std::optional(found.toBool());
}

JsonFields JsonFields::object(const char *key) const {
    return {typed(key, QJsonValue::Object, "an object", true).toObject(), m_place,
            m_path + key + '.', m_errors};
}

std::vector<JsonFields> JsonFields::objects(const char *key, const char *nameKey) const {
    const QJsonArray array = typed(key, QJsonValue::Array, "a list", true).toArray();
    std::vector<JsonFields> found;
    for (int i = 0; i < array.size(); ++i) {
        const QJsonObject object = array[i].toObject();
        const QString name = object.value(QLatin1String(nameKey)).toString();
        QString place = QString("%1[%2]").arg(key).arg(i);
        if (!name.isEmpty())
            place += QString(" \"%1\"").arg(shortened(name, LongestName));
        const JsonFields fields(object, place, {}, m_errors);
        if (array[i].isObject()) {
            found.push_back(fields);
        } else {
            fields.fail({}, "expected an object");
        }
    }
    return found;
}

void JsonFields::allowOnly(std::initializer_list<const char *> keys) const {
    for (const QString &key : m_object.keys()) {
        const bool known = key == "$schema" || key == "comment" ||
                           std::any_of(keys.begin(), keys.end(), [&key](const char *allowed) {
                               return key == QLatin1String(allowed);
                           });
        if (!known)
            fail(key, "unknown field");
    }
}

void JsonFields::fail(const QString &key, const QString &reason) const {
    QStringList parts{m_place, key.isEmpty() ? key : m_path + shortened(key, LongestName), reason};
    parts.removeAll(QString());
    m_errors->add(parts.join(": "));
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
