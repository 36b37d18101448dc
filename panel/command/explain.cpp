// panel explain: a recorded line, decoded, with what went wrong and the likely cause.
#include "panel/command/command.h"
#include "panel/file/registers.h"
#include "panel/health/diagnosis.h"
#include "panel/health/exchange_text.h"
#include "panel/health/replay.h"
#include "panel/health/trace.h"
#include "panel/line/read_frames.h"

#include <QTextStream>

#include <algorithm>
#include <memory>
#include <optional>
#include <set>

namespace {

constexpr int WriteOne = 6;
constexpr int WriteSeveral = 16;

struct ExplainOptions {
    std::string capture;
    std::string panel;
    std::string line; // of the panel
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

// Whose line it is, where a panel file says so.
struct Owner {
    std::optional<PanelFile> panel;
    std::size_t line = 0; // of the panel
};

Facts factsAbout(const LineFindings &findings, int station, const Owner &owner) {
    return owner.panel ? factsOf(findings, station, *owner.panel, owner.line)
                       : factsOf(findings, station);
}

// The driver merges what lies close together: a request is ours where it meets a variable.
bool isAskedBy(const Owner &owner, const Frame &request) {
    static const std::set<int> functions{ReadHolding, ReadInput, WriteOne, WriteSeveral};
    const auto &variables = owner.panel->variables;
    return functions.count(request.function()) > 0 &&
           std::any_of(variables.begin(), variables.end(), [&](const Variable &variable) {
               const RegisterSpan span = variable.span();
               const int first = span.first + wireOffset(span.area);
               return variable.line == owner.line && variable.station == request.station() &&
                      (request.function() == ReadInput) == (span.area == InputArea) &&
                      first < request.firstRegister() + request.registers() &&
                      request.firstRegister() < first + span.count;
           });
}

// Why there is no exchange.
QString nothingText(const Replay::LeftOver &left) {
    if (left.bytes == 0)
        return "no request in it: nothing was asked while it was recorded\n";
    if (left.frames == 0) {
        return QString("%1 bytes, no frame with a good checksum: baud rate or parity of the "
                       "recorder\n")
            .arg(left.bytes);
    }
    if (left.requests == 0) {
        return QString("%1 answers and no request: only one direction was recorded\n")
            .arg(left.frames);
    }
    return QString("%1 requests, none of the panel file: another line, or another panel's\n")
        .arg(left.requests);
}

QString conclusions(const LineFindings &findings, const Owner &owner) {
    QString text;
    for (const auto &[number, station] : findings.health.stations) {
        text += number == 0 ? QString("broadcasts: %1\n").arg(station.counts.exchanges)
                            : conclusion(number, station, factsAbout(findings, number, owner));
    }
    const QString cause = lineCause(findings.strangers);
    return cause.isEmpty() ? text : text + cause + '\n';
}

// Whether all exchanges were good, and there were some, and no other master is on the line.
bool isWell(const LineFindings &findings) {
    const ExchangeCounts total = findings.health.total();
    return total.exchanges > 0 && total.failed() == 0 && lineCause(findings.strangers).isEmpty();
}

// AllHeld, or a status after a line that says why.
ExitCode readOwner(const ExplainOptions &options, Owner *owner) {
    if (options.panel.empty())
        return AllHeld;
    QStringList errors;
    owner->panel = readPanelFile(pathText(options.panel), &errors);
    for (const QString &wrong : errors)
        complain(wrong, WrongInput);
    if (!owner->panel)
        return WrongInput;
    const std::vector<LineSettings> &lines = owner->panel->lines;
    const QString name = QString::fromStdString(options.line);
    const auto found = std::find_if(lines.begin(), lines.end(),
                                    [&name](const auto &line) { return line.name == name; });
    if (found != lines.end()) {
        owner->line = static_cast<std::size_t>(found - lines.begin());
    } else if (lines.size() > 1 || !name.isEmpty()) {
        complain(pathText(options.panel) + (name.isEmpty() ? ": has several lines, choose one with "
                                                             "--line"
                                                           : ": has no line \"" + name + '"'),
                 WrongInput);
        return WrongInput;
    }
    return AllHeld;
}

int explain(const ExplainOptions &options) {
    Owner owner;
    const ExitCode status = readOwner(options, &owner);
    if (status != AllHeld)
        return status;
    QTextStream out(stdout);
    LineWatch watch;
    const auto tell = [&](const Exchange &exchange) {
        watch.observe(exchange);
        const bool isWanted = !options.failuresOnly || hasTrouble(exchange);
        if (isWanted && !options.conclusionOnly)
            out << traceLine(exchange, {}) << '\n';
    };
    const auto isOurs = [&](const Frame &request) {
        return !owner.panel || isAskedBy(owner, request);
    };
    Replay replay(tell, isOurs);
    bool isCut = false;
    const QString error = readCapture(
        pathText(options.capture), [&](const CapturedPacket &packet) { replay.take(packet); },
        &isCut);
    if (!error.isEmpty())
        return complain(error, WrongInput);
    replay.finish();
    const LineFindings findings = watch.findings();
    const bool isNothing = findings.health.stations.empty();
    if (!options.conclusionOnly && !isNothing)
        out << '\n';
    out << (isNothing ? nothingText(replay.leftOver()) : conclusions(findings, owner));
    if (isCut)
        out << "the capture ends in the middle of a packet: it is read as far as it goes\n";
    return isWell(findings) ? AllHeld : NotAllHeld;
}

} // namespace

Command addExplainCommand(CLI::App &program) {
    const auto options = std::make_shared<ExplainOptions>();
    CommandOptions app(program, "explain",
                       "Decodes a recorded line, and says what went wrong and why");
    app.footer(
        "A capture holds no word on who sent what: a request is the master's unless it\n"
        "comes within 20 ms of another that has no answer yet. With --panel a request that\n"
        "meets no variable of the panel file is another master's; one for the same registers\n"
        "cannot be told apart. Causes are named from five exchanges of a station on, the\n"
        "likeliest first. Registers are numbered as on the wire, from 0. Times count from the\n"
        "first byte of the request, whose own time on the line is thus in them: 5 ms for a read\n"
        "at 19200 baud.\n"
        "Exit status: 0 every exchange was good and no other master was seen; 1 not so; 2 no\n"
        "capture or panel file.");
    app.add("CAPTURE", &options->capture, "A capture of link type 147 (pcap or pcapng)").required();
    const CommandOption panel =
        app.add("--panel", &options->panel,
                "The panel file of the line: shows other masters, and has the time-out and the "
                "names of variables")
            .shownAs("FILE");
    app.add("--line", &options->line, "Which of the panel file's lines")
        .shownAs("NAME")
        .needs(panel);
    app.addFlag("--failures", &options->failuresOnly,
                "List only exchanges that failed, or in which something else was heard");
    app.addFlag("--conclusion", &options->conclusionOnly, "List no exchanges");
    return {app.command(), [options] {
                return explain(*options);
            }};
}
