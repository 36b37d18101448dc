#include "options.h"

#include "panel/command_line.h"

namespace {

using command_line::readNumber;
using command_line::wrongValue;

constexpr int MaxStations = 32;
constexpr int MaxRequests = 1'000'000'000;
constexpr int MaxDelayMs = 60'000;

QString stationsText(int stations) {
    return QString("a station, 1 to %1").arg(stations);
}

// An option that gives stations a number each.
struct Numbers {
    QString option;
    QString expected;
    int high;
    std::map<int, int> *table;
};

// "2:100" -> table[2] = 100; returns what was expected instead, nothing when all is well.
QString readPair(const QString &text, int stations, const Numbers &numbers) {
    const QStringList parts = text.split(':');
    int station = 0;
    int number = 0;
    if (parts.size() != 2 || !readNumber(parts[1], 0, numbers.high, &number))
        return numbers.expected;
    if (!readNumber(parts[0], 1, stations, &station))
        return stationsText(stations);
    (*numbers.table)[station] = number;
    return {};
}

QString readSilent(const QStringList &texts, Options *options) {
    for (const QString &text : texts) {
        int station = 0;
        if (!readNumber(text, 1, options->stations, &station)) {
            return wrongValue("silent", text, stationsText(options->stations));
        }
        options->silent.insert(station);
    }
    return {};
}

QString readPairs(const QCommandLineParser &parser, Options *options) {
    const Numbers pairs[] = {
        {"silent-after", "STATION:REQUESTS", MaxRequests, &options->silentAfter},
        {"late", "STATION:MILLISECONDS, at most a minute", MaxDelayMs, &options->lateByMs},
    };
    for (const auto &pair : pairs) {
        for (const QString &text : parser.values(pair.option)) {
            const QString expected = readPair(text, options->stations, pair);
            if (!expected.isEmpty())
                return wrongValue(pair.option, text, expected);
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
    Options options;
    *error = command_line::parse(&parser, arguments);
    if (error->isEmpty())
        *error = interpret(parser, &options);
    return error->isEmpty() ? std::optional(options) : std::nullopt;
}
