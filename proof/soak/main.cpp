// The soak: rounds of exchanges over a line with faults, until a number of exchanges is reached.
#include "round.h"
#include "screen_thread.h"
#include "tally.h"
#include "threaded.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

namespace {

struct Options {
    quint64 exchanges = 0;
    quint64 seed = 0;
    quint64 firstRound = 0;
    int threads = 0;
    ScreenChoice screens = ScreenChoice::Half;
};

int refuse(const QString &text) {
    static_cast<void>(std::fprintf(stderr, "soak: %s\n", qPrintable(text)));
    return 2;
}

void addOptions(QCommandLineParser &parser) {
    parser.setApplicationDescription(
        "Runs the driver against simulated stations over a line with faults and checks, after "
        "every call, that it does what it promises. Exit status 1 means that it did not.");
    parser.addHelpOption();
    parser.addOptions({
        {"exchanges", "Run until this many exchanges are made.", "number", "300000"},
        {"seed", "The same seed gives the same run.", "number", "1"},
        {"round", "Begin with this round of the seed's run.", "number", "0"},
        {"screens", "Screens write in every round, not in half of them."},
        {"no-screens", "Screens write in no round."},
        {"threads", "Screens are this many real threads; not reproducible.", "number", "0"},
    });
}

bool toNumber(const QCommandLineParser &parser, const QString &name, quint64 &number) {
    bool good = false;
    number = parser.value(name).toULongLong(&good);
    return good;
}

// Empty, or what is wrong with the command line.
QString read(QCommandLineParser &parser, const QStringList &arguments, Options &options) {
    if (!parser.parse(arguments))
        return parser.errorText();
    if (parser.isSet("help"))
        return {};
    if (!parser.positionalArguments().isEmpty())
        return "unexpected argument '" + parser.positionalArguments().constFirst() + "'";
    quint64 threads = 0;
    if (!toNumber(parser, "exchanges", options.exchanges) ||
        !toNumber(parser, "seed", options.seed) || !toNumber(parser, "round", options.firstRound) ||
        !toNumber(parser, "threads", threads) || threads > MostScreens)
        return "a number is expected (of threads, 0 to 16)";
    if (parser.isSet("screens") && parser.isSet("no-screens"))
        return "--screens and --no-screens exclude each other";
    options.threads = static_cast<int>(threads);
    options.screens = parser.isSet("screens")      ? ScreenChoice::Always
                      : parser.isSet("no-screens") ? ScreenChoice::Never
                                                   : ScreenChoice::Half;
    return {};
}

// A round's own seed.
quint64 seedOf(const Options &options, quint64 round) {
    Random random(options.seed + (round << 32U));
    const quint64 high = random.next();
    return high << 32U | random.next();
}

int run(const Options &options) {
    constexpr quint64 MostViolations = 5;
    Tally tally;
    for (quint64 round = options.firstRound;
         tally.exchanges < options.exchanges && tally.violations < MostViolations; ++round) {
        const quint64 seed = seedOf(options, round);
        const std::string wrong = options.threads > 0
                                      ? runThreadedRound(seed, options.threads, tally)
                                      : runRound(seed, options.screens, tally);
        if (wrong.empty())
            continue;
        ++tally.violations;
        std::printf("violation: --seed %llu --round %llu, %s\n", options.seed, round,
                    wrong.c_str());
    }
    tally.print();
    return tally.violations == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[]) {
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    addOptions(parser);
    Options options;
    const QString wrong = read(parser, QCoreApplication::arguments(), options);
    if (!wrong.isEmpty())
        return refuse(wrong);
    if (parser.isSet("help"))
        parser.showHelp(0);
    std::printf("soak: seed %llu\n", options.seed);
    static_cast<void>(std::fflush(stdout));
    return run(options);
}
