#include "options.h"

#include "words.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <string>
#include <vector>

namespace {

constexpr int MaxRequests = 1'000'000'000;
constexpr int MaxDelayMs = 60'000;
constexpr int MinBaud = 110;
constexpr int MaxBaud = 4'000'000;
constexpr int WrongOptions = 2;
constexpr char ListText[] = "station numbers, 1 to 247, as in 1,5,20-40";

// What was typed, before it is looked at.
struct Texts {
    std::string stations = "3";
    std::vector<std::string> silent;
    std::vector<std::string> silentAfter;
    std::vector<std::string> late;
    std::string link;
    std::string map;
    std::string faults = "none";
    std::string device;
    std::string parity = "even";
    int baud = 0;
    int stopBits = 0;
    double replyTimeMs = 0;
    unsigned seed = 1;
};

// An option that gives stations a number each.
struct Numbers {
    QString option;
    QString expected;
    int high;
    const std::vector<std::string> &texts;
    std::map<int, int> *table;
};

void addOptions(CLI::App *app, Texts *texts) {
    app->add_option("--stations", texts->stations,
                    "Stations on the line: a plain N is 1 to N, or a list as in 1,5,20-40 (3)");
    app->add_option("--link", texts->link,
                    "Make a symbolic link to the device, removed at the end");
    app->add_option("--silent", texts->silent, "Leave stations silent; may be repeated")
        ->allow_extra_args(false);
    app->add_option("--silent-after", texts->silentAfter,
                    "STATION:REQUESTS, let a station fall silent after that many requests")
        ->allow_extra_args(false);
    app->add_option("--late", texts->late, "STATION:MS, delay each answer of a station")
        ->allow_extra_args(false);
    app->add_option("--baud", texts->baud,
                    "Keep the timing of a line of this speed, byte by byte; a host that is set to "
                    "another speed gets garbage (no timing)")
        ->check(CLI::Range(MinBaud, MaxBaud));
    app->add_option("--parity", texts->parity,
                    "none, odd or even (even). A pseudo-terminal has no parity: there it tells "
                    "only how long a character is")
        ->check(CLI::IsMember({"none", "odd", "even"}));
    app->add_option("--stop-bits", texts->stopBits,
                    "1 or 2 (1, without parity 2). With --baud a host with others gets garbage")
        ->check(CLI::Range(1, 2));
    app->add_option("--reply-time", texts->replyTimeMs,
                    "Milliseconds from the end of a request to the answer, never less than the "
                    "silence between two frames (0)");
    app->add_option(
        "--faults", texts->faults,
        "KIND[=SHARE%[:VALUE]][@STATIONS],... as in drop=1%,late=20%:140ms@2+5-7; kinds: "
        "drop, late, flip, cut, extra, foreign, exception, function, count, "
        "acknowledge, noise, echo, master (none)");
    app->add_option("--map", texts->map,
                    "File (JSON) with values, holes and movement of registers (none)");
    app->add_option("--seed", texts->seed, "Start of everything that happens by chance (1)");
    app->add_option("--device", texts->device,
                    "Serve a real serial port instead of a pseudo-terminal")
        ->excludes("--link");
}

QString wrongValue(const QString &option, const QString &text, const QString &expected) {
    return QString("--%1 %2: expected %3").arg(option, text, expected);
}

// "2:100" -> table[2] = 100
QString readPairs(const Numbers &numbers) {
    for (const std::string &typed : numbers.texts) {
        const QString text = QString::fromStdString(typed);
        const QStringList parts = text.split(':');
        int station = 0;
        int number = 0;
        if (parts.size() != 2 || !readNumber(parts[0], 1, MaxStation, &station) ||
            !readNumber(parts[1], 0, numbers.high, &number)) {
            return wrongValue(numbers.option, text, numbers.expected);
        }
        (*numbers.table)[station] = number;
    }
    return {};
}

QString readStations(const std::string &typed, StationNumbers *stations) {
    QString text = QString::fromStdString(typed);
    int last = 0;
    if (readNumber(text, 1, MaxStation, &last))
        text = QString("1-%1").arg(last);
    const auto numbers = readStationNumbers(text);
    if (!numbers)
        return wrongValue("stations", text, ListText);
    *stations = *numbers;
    return {};
}

QString readSilent(const std::vector<std::string> &texts, StationNumbers *silent) {
    for (const std::string &typed : texts) {
        const auto numbers = readStationNumbers(QString::fromStdString(typed));
        if (!numbers)
            return wrongValue("silent", QString::fromStdString(typed), ListText);
        silent->insert(numbers->begin(), numbers->end());
    }
    return {};
}

void readLine(const Texts &texts, Options *options) {
    options->link = QString::fromStdString(texts.link);
    options->device = QString::fromStdString(texts.device);
    options->isPaced = texts.baud > 0 && texts.device.empty();
    options->framingIsSet = texts.stopBits != 0 || texts.parity == "none";
    options->seed = texts.seed;
    options->replyTimeMs = texts.replyTimeMs;
    options->line.parity = texts.parity == "none"  ? Parity::None
                           : texts.parity == "odd" ? Parity::Odd
                                                   : Parity::Even;
    options->line.stopBits = options->line.parity == Parity::None ? 2 : 1;
    if (texts.stopBits != 0)
        options->line.stopBits = texts.stopBits;
    if (texts.baud != 0)
        options->line.baud = texts.baud;
}

QString readMap(const std::string &typed, Options *options) {
    const QString path = QString::fromStdString(typed);
    QString error = path.isEmpty() ? QString() : readMapFile(path, &options->map);
    if (!error.isEmpty())
        return error;
    for (const MapEntry &entry : options->map) {
        for (const int station : entry.stations) {
            if (options->stations.count(station) == 0)
                return QString("%1: station %2 is not on the line").arg(path).arg(station);
        }
    }
    return {};
}

QString interpret(const Texts &texts, Options *options) {
    readLine(texts, options);
    const Numbers pairs[] = {
        {"silent-after", "STATION:REQUESTS", MaxRequests, texts.silentAfter, &options->silentAfter},
        {"late", "STATION:MILLISECONDS, at most a minute", MaxDelayMs, texts.late,
         &options->lateByMs},
    };
    QString error;
    if (!(texts.replyTimeMs >= 0 && texts.replyTimeMs <= MaxDelayMs)) // nor is it NaN
        error = wrongValue("reply-time", QString::number(texts.replyTimeMs), "0 to 60000");
    if (error.isEmpty())
        error = readStations(texts.stations, &options->stations);
    if (error.isEmpty())
        error = readMap(texts.map, options);
    if (error.isEmpty())
        error = readFaults(QString::fromStdString(texts.faults), &options->faults);
    if (error.isEmpty())
        error = readSilent(texts.silent, &options->silent);
    for (const auto &pair : pairs) {
        if (error.isEmpty())
            error = readPairs(pair);
    }
    return error;
}

} // namespace

std::optional<Options> readOptions(int argc, char **argv, int *status) {
    CLI::App app("A simulated PLC: Modbus RTU stations on a pseudo-terminal, whose path is the "
                 "first line of output.\nServes until SIGTERM or SIGINT and takes commands on "
                 "standard input; `help` lists them.",
                 "plcsim");
    app.set_version_flag("--version", PLCSIM_VERSION);
    Texts texts;
    addOptions(&app, &texts);
    Options options;
    QString error;
    try {
        app.parse(argc, argv);
        error = interpret(texts, &options);
    } catch (const CLI::Success &wanted) { // help, or the version
        *status = app.exit(wanted);
        return std::nullopt;
    } catch (const CLI::ParseError &wrong) {
        error = QString::fromStdString(wrong.what()).simplified();
    }
    if (error.isEmpty())
        return options;
    complain(error);
    *status = WrongOptions;
    return std::nullopt;
}
