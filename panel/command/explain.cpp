// panel explain: a recorded line, decoded, with what went wrong and the likely cause.
#include "panel/command/command.h"
#include "panel/health/diagnosis.h"
#include "panel/health/exchange_text.h"
#include "panel/health/replay.h"
#include "panel/health/trace.h"

#include <QTextStream>

#include <memory>

namespace {

struct ExplainOptions {
    std::string capture;
    bool failuresOnly = false;
    bool conclusionOnly = false;
};

QString replyTimesText(const ReplyTimes &times) {
    return times.count() == 0
               ? QString()
               : QString(", answers in %1 (median), %2 at most")
                     .arg(durationText(times.median()), durationText(times.longest()));
}

QString conclusion(int station, const StationHealth &health, const Facts &facts) {
    const QString counts = heardText(health.counts) + replyTimesText(health.replyTimes);
    QString text = QString("station %1: %2\n").arg(station).arg(counts);
    for (const QString &cause : conclusionOf(facts, health.counts))
        text += QString("  %1\n").arg(cause);
    return text;
}

QString conclusions(const LineFindings &findings) {
    QString text;
    for (const auto &[number, station] : findings.health.stations) {
        text += number == 0 ? QString("broadcasts: %1\n").arg(station.counts.exchanges)
                            : conclusion(number, station, factsOf(findings, number));
    }
    const QString cause = lineCause(findings.strangers);
    if (!cause.isEmpty())
        text += cause + '\n';
    return text.isEmpty() ? "no request in it: nothing was asked while it was recorded\n" : text;
}

// Whether all exchanges were good, and there were some.
bool isWell(const LineHealth &health) {
    const ExchangeCounts total = health.total();
    return total.exchanges > 0 && total.failed() == 0;
}

int explain(const ExplainOptions &options) {
    QTextStream out(stdout);
    LineWatch watch;
    Replay replay([&](const Exchange &exchange) {
        watch.observe(exchange);
        const bool isWanted = !options.failuresOnly || hasTrouble(exchange);
        if (isWanted && !options.conclusionOnly)
            out << traceLine(exchange, {}) << '\n';
    });
    bool isCut = false;
    const QString error = readCapture(
        pathText(options.capture), [&](const CapturedPacket &packet) { replay.take(packet); },
        &isCut);
    if (!error.isEmpty())
        return complain(error, WrongInput);
    replay.finish();
    const LineFindings findings = watch.findings();
    if (!options.conclusionOnly)
        out << '\n';
    out << conclusions(findings);
    if (isCut)
        out << "the capture ends in the middle of a packet: it is read as far as it goes\n";
    return isWell(findings.health) ? AllHeld : NotAllHeld;
}

} // namespace

Command addExplainCommand(CLI::App &program) {
    const auto options = std::make_shared<ExplainOptions>();
    CommandOptions app(program, "explain",
                       "Decodes a recorded line, and says what went wrong and why");
    app.footer(
        "A capture holds no word on who sent what: a request is the master's unless it\n"
        "comes within 20 ms of another that has no answer yet. Causes are named from five\n"
        "exchanges of a station on, the likeliest first. Registers are numbered as on the\n"
        "wire, from 0. Times count from the first byte of the request, whose own time on the\n"
        "line is thus in them: 5 ms for a read at 19200 baud. Exit status: 0 every exchange\n"
        "was good; 1 not so; 2 no capture.");
    app.add("CAPTURE", &options->capture, "A capture of link type 147 (pcap or pcapng)").required();
    app.addFlag("--failures", &options->failuresOnly,
                "List only what failed, or was heard besides");
    app.addFlag("--conclusion", &options->conclusionOnly, "List no exchanges");
    return {app.command(), [options] {
                return explain(*options);
            }};
}
