// Typed reading of JSON objects. The first field that is not what it should be is kept as one line,
// "place: reason"; what is read after it does not matter any more.
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <initializer_list>
#include <optional>
#include <utility>
#include <vector>

struct Range {
    int low;
    int high;
};

class JsonFields {
public:
    // `error` outlives the object and is empty as long as all is well.
    JsonFields(QJsonObject object, QString place, QString *error)
        : m_object(std::move(object)), m_place(std::move(place)), m_error(error) {}

    // A field without a fallback must be there.
    int integer(const char *key, Range range, std::optional<int> fallback = {}) const;
    QString text(const char *key, const std::optional<QString> &fallback = {}) const;
    bool flag(const char *key, bool fallback) const;
    QJsonValue value(const char *key) const { return m_object.value(QLatin1String(key)); }
    // Objects that may be left out: they read as empty.
    JsonFields object(const char *key) const;
    std::vector<JsonFields> objects(const char *key) const;

    // A misspelt name would be passed over in silence otherwise.
    void allowOnly(std::initializer_list<const char *> keys) const;

    void fail(const QString &key, const QString &reason) const;
    bool failed() const { return !m_error->isEmpty(); }

private:
    QString placeOf(const QString &key) const;
    // The value of a field that must be of a type; Undefined when it is left out or wrong.
    QJsonValue typed(const char *key, QJsonValue::Type type, const char *typeName,
                     bool isOptional) const;

    QJsonObject m_object;
    QString m_place;
    QString *m_error;
};
