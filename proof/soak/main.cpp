// The soak: rounds of exchanges over a line with faults, until a number of exchanges is reached or
// a promise is broken.
#include "round.h"
#include "setup.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

namespace {

struct Options {
    quint64 exchanges = 0;
    quint64 seed = 0;
    int threads = 0;
};

void addOptions(QCommandLineParser &parser) {
    parser.setApplicationDescription(
        "Runs the driver against simulated stations over a line with faults and holds it to its "
        "promises. Exit status 1 means that one was broken.");
    parser.addHelpOption();
    parser.addOptions({
        {"exchanges", "Run until this many exchanges are made.", "number", "300000"},
        {"seed", "The same seed gives the same run; each round takes the next one.", "number", "1"},
        {"threads", "Screens are this many real threads, 1 to 16; not repeatable.", "number", "0"},
    });
}

bool read(const QCommandLineParser &parser, Options &options) {
    bool good[3] = {};
    options.exchanges = parser.value("exchanges").toULongLong(&good[0]);
    options.seed = parser.value("seed").toULongLong(&good[1]);
    options.threads = parser.value("threads").toInt(&good[2]);
    return good[0] && good[1] && good[2] && options.threads >= 0 && options.threads <= MostScreens;
}

// The last line of a run.
void print(Tally &tally, int violations) {
    static const char *const Names[] = {"none",  "request-lost", "reply-lost", "late",
                                        "short", "long",         "flipped",    "foreign",
                                        "stale", "exception",    "noise",      "dead"};
    QStringList counts;
    for (const char *name : Names)
        counts << QString("%1 %2").arg(name).arg(tally.faults[static_cast<Fault>(counts.size())]);
    std::printf("exchanges %llu; %s; violations %d\n", tally.exchanges,
                qPrintable(counts.join(", ")), violations);
}

int run(const Options &options) {
    Tally tally;
    std::string broken;
    quint64 seed = options.seed;
    for (; tally.exchanges < options.exchanges && broken.empty(); ++seed) {
        broken = options.threads > 0 ? runThreadedRound(seed, options.threads, tally)
                                     : runRound(seed, tally);
    }
    if (!broken.empty())
        std::printf("violation: %s\n", broken.c_str());
    print(tally, broken.empty() ? 0 : 1);
    return broken.empty() ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[]) {
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    addOptions(parser);
    parser.process(application);
    Options options;
    if (!read(parser, options)) {
        static_cast<void>(std::fprintf(stderr, "%s\n", qPrintable(parser.helpText())));
        return 2;
    }
    return run(options);
}
