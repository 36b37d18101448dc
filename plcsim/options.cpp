#include "options.h"

#include <QCommandLineParser>

namespace {

constexpr int MaxStations = 32;
constexpr int MaxRequests = 1'000'000'000;
constexpr int MaxDelayMs = 60'000;

bool readNumber(const QString &text, int low, int high, int *number) {
    bool isNumber = false;
    *number = text.toInt(&isNumber);
    return isNumber && *number >= low && *number <= high;
}

// "2:100" -> table[2] = 100.
bool readPair(const QString &text, int stations, int high, std::map<int, int> *table) {
    const QStringList parts = text.split(':');
    int station = 0;
    int number = 0;
    if (parts.size() != 2 || !readNumber(parts[0], 1, stations, &station) ||
        !readNumber(parts[1], 0, high, &number)) {
        return false;
    }
    (*table)[station] = number;
    return true;
}

QString wrongValue(const QString &option, const QString &text, const QString &expected) {
    return QString("--%1 %2: expected %3").arg(option, text, expected);
}

QString readSilent(const QStringList &texts, Options *options) {
    for (const QString &text : texts) {
        int station = 0;
        if (!readNumber(text, 1, options->stations, &station)) {
            return wrongValue("silent", text, QString("a station, 1 to %1").arg(options->stations));
        }
        options->silent.insert(station);
    }
    return {};
}

QString readPairs(const QCommandLineParser &parser, Options *options) {
    const struct {
        QString option;
        QString expected;
        int high;
        std::map<int, int> *table;
    } pairs[] = {
        {"silent-after", "STATION:REQUESTS", MaxRequests, &options->silentAfter},
        {"late", "STATION:MILLISECONDS, at most a minute", MaxDelayMs, &options->lateByMs},
    };
    for (const auto &pair : pairs) {
        for (const QString &text : parser.values(pair.option)) {
            if (!readPair(text, options->stations, pair.high, pair.table)) {
                return wrongValue(pair.option, text, pair.expected);
            }
        }
    }
    return {};
}

QString interpret(const QCommandLineParser &parser, Options *options) {
    if (!parser.positionalArguments().isEmpty()) {
        return parser.positionalArguments().constFirst() + ": unexpected argument";
    }
    const QString stations = parser.value("stations");
    if (!readNumber(stations, 1, MaxStations, &options->stations)) {
        return wrongValue("stations", stations, QString("1 to %1").arg(MaxStations));
    }
    options->link = parser.value("link");
    const QString error = readSilent(parser.values("silent"), options);
    return error.isEmpty() ? readPairs(parser, options) : error;
}

} // namespace

std::optional<Options> readOptions(const QStringList &arguments, QString *error) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "A simulated PLC: Modbus RTU stations on a pseudo-terminal, whose path is the first line "
        "of output. Serves until SIGTERM or SIGINT.");
    parser.addOptions({
        {"stations", "Number of stations, from station 1 on.", "N", "3"},
        {"silent", "Leave a station silent. May be repeated.", "STATION"},
        {"silent-after", "Let a station fall silent after that many requests.", "STATION:REQUESTS"},
        {"late", "Delay each answer of a station.", "STATION:MS"},
        {"link", "Make a symbolic link to the device, removed at the end.", "PATH"},
    });
    const QCommandLineOption help = parser.addHelpOption();
    if (!parser.parse(arguments)) {
        *error = parser.errorText();
        return {};
    }
    if (parser.isSet(help))
        parser.showHelp();

    Options options;
    *error = interpret(parser, &options);
    return error->isEmpty() ? std::optional(options) : std::nullopt;
}
