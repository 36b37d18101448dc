// Typed reading of JSON objects. Every field that is not what it should be becomes one line,
// "place: field: reason"; a field that failed reads as its fallback.
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringList>

#include <initializer_list>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

struct Range {
    double low;
    double high;
};

// What is wrong with a file, in the order in which it was found.
class FileErrors {
public:
    static constexpr int MostShown = 50;

    void add(const QString &line);
    int count() const { return m_count; }
    // The first of them, and a last line that says how many more there are.
    QStringList lines() const;

private:
    QStringList m_lines;
    int m_count = 0;
};

// A word of the file and what it stands for.
template <typename Value>
struct Choice {
    const char *name;
    Value value;
};

class JsonFields {
public:
    // Of the whole file. `errors` outlives the object and all that are taken from it.
    JsonFields(QJsonObject object, FileErrors *errors)
        : m_object(std::move(object)), m_errors(errors) {}

    // Nothing when the field is wrong, or when it is left out and has no fallback (an error, too).
    std::optional<int> integer(const char *key, Range range,
                               std::optional<int> fallback = {}) const;
    std::optional<QString> text(const char *key, const std::optional<QString> &fallback = {}) const;
    // Nothing when the field is left out or wrong.
    std::optional<double> number(const char *key, Range range = AnyNumber) const;
    std::optional<bool> flag(const char *key) const;
    template <typename Value>
    std::optional<Value> choice(const char *key,
                                std::initializer_list<Choice<Value>> choices) const;

    QJsonValue value(const char *key) const { return m_object.value(QLatin1String(key)); }
    bool has(const char *key) const { return m_object.contains(QLatin1String(key)); }
    // Objects that may be left out: they read as empty. Those of a list are named in errors by
    // their field `nameKey`.
    JsonFields object(const char *key) const;
    std::vector<JsonFields> objects(const char *key, const char *nameKey) const;

    // A misspelt name would be passed over in silence otherwise. "$schema" and "comment" may stand
    // in every object.
    void allowOnly(std::initializer_list<const char *> keys) const;

    // With an empty key the object as a whole is wrong.
    void fail(const QString &key, const QString &reason) const;
    // In the whole file so far.
    int errorCount() const { return m_errors->count(); }

private:
    static constexpr Range AnyNumber{-std::numeric_limits<double>::max(),
                                     std::numeric_limits<double>::max()};

    JsonFields(QJsonObject object, QString place, QString path, FileErrors *errors)
        : m_object(std::move(object)), m_place(std::move(place)), m_path(std::move(path)),
          m_errors(errors) {}
    // The value of a field that must be of a type; Undefined when it is left out or wrong.
    QJsonValue typed(const char *key, QJsonValue::Type type, const char *typeName,
                     bool isOptional) const;

    QJsonObject m_object;
    QString m_place; // the element of a list that this is or stands in, with its name
    QString m_path;  // from there, or from the top
    FileErrors *m_errors;
};

template <typename Value>
std::optional<Value> JsonFields::choice(const char *key,
                                        std::initializer_list<Choice<Value>> choices) const {
    const std::optional<QString> name = text(key, QString());
    if (!name || !has(key))
        return {};
    QStringList names;
    for (const Choice<Value> &choice : choices) {
        if (*name == choice.name)
            return choice.value;
        names += choice.name;
    }
    fail(key, QString("\"%1\" is not one of %2").arg(*name, names.join(", ")));
    return {};
}

// The field "name": a text of at least one character, all of which show. Left alone when it is
// wrong; must be there unless `name` has one already.
void readName(const JsonFields &fields, QString *name);

// A text without control characters.
bool isShown(const QString &text);

// A number as people write it, without an exponent where it can be.
QString numberText(double number);
