#include "map_file.h"

#include "process_values.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace {

constexpr int LowestValue = -0x8000;
constexpr int HighestValue = 0xFFFF;
constexpr qint64 LargestFile = 1'000'000;

int limitOf(Table table) {
    constexpr int Limits[] = {Coils, DiscreteInputs, InputRegisters, HoldingRegisters};
    return Limits[static_cast<int>(table)];
}

QString readWhole(const QJsonValue &json, int low, int high, int *number) {
    const double value = json.toDouble(NAN);
    if (!(value >= low && value <= high && std::floor(value) == value))
        return QString("expected a whole number, %1 to %2").arg(low).arg(high);
    *number = static_cast<int>(value);
    return {};
}

// A number of an entry, by its name.
QString readField(const QJsonObject &json, const char *name, int low, int high, int *number) {
    const QString error = readWhole(json[QLatin1String(name)], low, high, number);
    return error.isEmpty() ? error : QString("%1: %2").arg(name, error);
}

// Where the entry is: what every kind has.
QString readPlace(const QJsonObject &json, MapEntry *entry) {
    if (json.contains("stations")) {
        const auto stations = readStationNumbers(json["stations"].toString());
        if (!stations)
            return "stations: expected station numbers in a text, as in \"1,5,20-40\"";
        entry->stations = *stations;
    }
    const auto table = readTable(json["table"].toString());
    if (!table)
        return "table: expected holding, input, coil or discrete";
    entry->span = {*table, 0, 1};
    return readField(json, "address", 0, limitOf(*table) - 1, &entry->span.first);
}

int roomBehind(const Span &span) {
    return limitOf(span.table) - span.first;
}

QString readCount(const QJsonObject &json, MapEntry *entry) {
    if (!json.contains("count"))
        return {};
    return readField(json, "count", 1, roomBehind(entry->span), &entry->span.count);
}

QString readValues(const QJsonObject &json, MapEntry *entry) {
    const QJsonArray values = json["values"].toArray();
    if (values.isEmpty() || values.size() > roomBehind(entry->span))
        return QString("values: expected a list of 1 to %1").arg(roomBehind(entry->span));
    for (const QJsonValue &item : values) {
        int value = 0;
        const QString error = readWhole(item, LowestValue, HighestValue, &value);
        if (!error.isEmpty())
            return "values: " + error;
        entry->values.push_back(value);
    }
    entry->span.count = values.size();
    return {};
}

QString readHole(const QJsonObject &json, MapEntry *entry) {
    entry->isHole = true;
    return readCount(json, entry);
}

QString readMotion(const QJsonObject &json, MapEntry *entry) {
    Motion &motion = entry->motion;
    QString error = readCount(json, entry);
    if (error.isEmpty())
        error = readField(json, "from", LowestValue, HighestValue, &motion.from);
    if (error.isEmpty())
        error = readField(json, "to", motion.from, HighestValue, &motion.to);
    motion.step = 1;
    if (error.isEmpty() && json.contains("step"))
        error = readField(json, "step", 1, HighestValue, &motion.step);
    return error;
}

struct Section {
    const char *name;
    const char *fields; // besides those of the place
    QString (*read)(const QJsonObject &, MapEntry *);
};
constexpr Section Sections[] = {{"registers", "values", readValues},
                                {"holes", "count", readHole},
                                {"moving", "count from to step", readMotion}};

QString readEntry(const QJsonValue &value, const Section &section, MapEntry *entry) {
    const QJsonObject json = value.toObject();
    const QStringList known = QString("stations table address %1").arg(section.fields).split(' ');
    for (const QString &name : json.keys()) {
        if (!known.contains(name))
            return QString("%1: not known here; there are %2").arg(name, known.join(", "));
    }
    const QString error = readPlace(json, entry);
    return error.isEmpty() ? section.read(json, entry) : error;
}

QString readSection(const QJsonArray &array, const Section &section,
                    std::vector<MapEntry> *entries) {
    for (int i = 0; i < array.size(); ++i) {
        MapEntry entry;
        const QString error = readEntry(array[i], section, &entry);
        if (!error.isEmpty())
            return QString("%1[%2]: %3").arg(section.name).arg(i).arg(error);
        entries->push_back(entry);
    }
    return {};
}

QString readMap(const QJsonObject &map, std::vector<MapEntry> *entries) {
    int known = 0;
    for (const Section &section : Sections) {
        const QJsonValue list = map[QLatin1String(section.name)];
        known += list.isArray() ? 1 : 0;
        QString error = readSection(list.toArray(), section, entries);
        if (!error.isEmpty())
            return error;
    }
    return known == map.size() ? QString() : "expected nothing but lists: registers, holes, moving";
}

} // namespace

QString readMapFile(const QString &path, std::vector<MapEntry> *entries) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return path + ": " + file.errorString();
    QJsonParseError wrong{};
    const QByteArray text = file.read(LargestFile);
    const QJsonDocument document = QJsonDocument::fromJson(text, &wrong);
    if (wrong.error != QJsonParseError::NoError) {
        const int line = 1 + static_cast<int>(text.left(wrong.offset).count('\n'));
        return QString("%1:%2: %3").arg(path).arg(line).arg(wrong.errorString());
    }
    if (!document.isObject())
        return path + ": expected an object with lists: registers, holes, moving";
    const QString error = readMap(document.object(), entries);
    return error.isEmpty() ? error : path + ": " + error;
}
