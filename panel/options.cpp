#include "options.h"

#include "command_line.h"

namespace {

constexpr int MaxLimit = 1'000'000'000;

QString readLimit(const QCommandLineParser &parser, const QString &option,
                  std::optional<int> *limit) {
    if (!parser.isSet(option))
        return {};
    int number = 0;
    if (!command_line::readNumber(parser.value(option), 1, MaxLimit, &number)) {
        return command_line::wrongValue(option, parser.value(option),
                                        QString("a number from 1 to %1").arg(MaxLimit));
    }
    *limit = number;
    return {};
}

QString interpret(const QCommandLineParser &parser, Options *options) {
    const QStringList files = parser.positionalArguments();
    if (files.size() != 1)
        return "expected one panel file, see --help";
    if (parser.value("library").isEmpty())
        return "--library is missing, see --help";
    if (parser.isSet("seconds") && parser.isSet("scans"))
        return "--seconds and --scans exclude each other";
    if (parser.isSet("device") && parser.value("device").isEmpty())
        return "--device is empty";
    options->panelFile = files.constFirst();
    options->library = parser.value("library");
    options->device = parser.value("device");
    const QString error = readLimit(parser, "seconds", &options->limit.seconds);
    return error.isEmpty() ? readLimit(parser, "scans", &options->limit.scans) : error;
}

} // namespace

std::optional<Options> readOptions(const QStringList &arguments, QString *error) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Runs a panel file against a serial line, through a driver library loaded at run time.\n"
        "Ends with a summary after the given time or number of scans, or on SIGINT or SIGTERM.\n"
        "A broadcast is never acknowledged: it is counted apart, and only a variable with "
        "\"expect\"\n"
        "can show what became of it.\n"
        "Exit status: 0 every variable read and every write read back, 1 not, 2 wrong options,\n"
        "panel file or library, 3 device missing, not permitted, in use or gone.");
    parser.addPositionalArgument("FILE", "The panel file (JSON).");
    parser.addOptions({
        {"library", "Path of the driver library.", "PATH"},
        {"device", "Serial device, in place of the panel file's.", "PATH"},
        {"seconds", "End after that time.", "N"},
        {"scans", "End after that many scans, once all reads and writes made once are done.", "N"},
    });
    Options options;
    *error = command_line::parse(&parser, arguments);
    if (error->isEmpty())
        *error = interpret(parser, &options);
    return error->isEmpty() ? std::optional(options) : std::nullopt;
}
