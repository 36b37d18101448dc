#include "faults.h"

#include "words.h"

#include <QStringList>

namespace {

constexpr double UsualShare = 0.01;
constexpr int MaxLateMs = 60'000;
constexpr int MaxException = 255;

enum class Value { None, Milliseconds, Code };

struct Kind {
    const char *name;
    FaultKind kind;
    Value value = Value::None;
    int usual = 0;
};
constexpr Kind Kinds[] = {
    {"drop", FaultKind::Drop},
    {"late", FaultKind::Late, Value::Milliseconds, 200},
    {"flip", FaultKind::Flip},
    {"cut", FaultKind::Cut},
    {"extra", FaultKind::Extra},
    {"foreign", FaultKind::Foreign},
    {"exception", FaultKind::Exception, Value::Code, 4},
    {"function", FaultKind::Function},
    {"count", FaultKind::Count},
    {"acknowledge", FaultKind::Acknowledge},
    {"noise", FaultKind::Noise},
    {"echo", FaultKind::Echo},
    {"master", FaultKind::Master},
};

const Kind *findKind(const QString &name) {
    for (const Kind &kind : Kinds) {
        if (name == kind.name)
            return &kind;
    }
    return nullptr;
}

QString allNames() {
    QStringList names;
    for (const Kind &kind : Kinds)
        names << kind.name;
    return names.join(", ");
}

// "0.5%"
bool readShare(QString text, double *share) {
    if (!text.endsWith('%'))
        return false;
    text.chop(1);
    bool isNumber = false;
    const double percent = text.toDouble(&isNumber);
    *share = percent / 100;
    return isNumber && percent >= 0 && percent <= 100;
}

bool readValue(const QString &text, Value kind, int *value) {
    if (kind == Value::Code)
        return readNumber(text, 1, MaxException, value);
    const auto duration = readDuration(text);
    if (kind == Value::None || !duration)
        return false;
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(*duration).count();
    *value = static_cast<int>(ms);
    return ms <= MaxLateMs;
}

// "3+7-9", behind the @ of a fault.
bool readStations(const QString &text, StationNumbers *stations) {
    const auto numbers = readStationNumbers(text, '+');
    *stations = numbers.value_or(StationNumbers());
    return numbers.has_value();
}

// "late=20%:140ms", "cut"
QString readKind(const QString &text, Fault *fault) {
    const QString name = text.section('=', 0, 0);
    const Kind *kind = findKind(name);
    if (kind == nullptr)
        return QString("%1: no such fault; there are %2").arg(name, allNames());
    *fault = {kind->kind, UsualShare, kind->usual, {}};
    if (!text.contains('='))
        return {};
    const QStringList parts = text.section('=', 1).split(':');
    if (!readShare(parts[0], &fault->share))
        return text + ": expected a share, as in " + name + "=1%";
    if (parts.size() > 2 ||
        (parts.size() == 2 && !readValue(parts[1], kind->value, &fault->value))) {
        return text + ": only late=1%:140ms, at most a minute, and exception=1%:2 have a value";
    }
    return {};
}

// The same, with the stations that it is for where not all are meant.
QString readFault(const QString &text, Fault *fault) {
    QString error = readKind(text.section('@', 0, 0), fault);
    if (!error.isEmpty() || !text.contains('@'))
        return error;
    return readStations(text.section('@', 1), &fault->stations)
               ? QString()
               : text + ": expected station numbers behind the @, as in 2+5+20-40";
}

} // namespace

const char *nameOf(FaultKind kind) {
    for (const Kind &known : Kinds) {
        if (known.kind == kind)
            return known.name;
    }
    return "";
}

QString readFaults(const QString &text, Faults *faults) {
    Faults found;
    const QStringList parts = text == "none" ? QStringList() : text.split(',');
    for (const QString &part : parts) {
        Fault fault;
        QString error = readFault(part.trimmed(), &fault);
        if (!error.isEmpty())
            return error;
        found.push_back(fault);
    }
    *faults = found;
    return {};
}
