// panel run: polls the variables of a panel file until it is stopped.
#include "panel/command/command.h"
#include "panel/command/outputs.h"
#include "panel/command/runtime.h"
#include "panel/command/stop_request.h"
#include "panel/command/summary.h"

#include <QFileInfo>
#include <QTextStream>

#include <csignal>
#include <memory>
#include <optional>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int MaxLimit = 1'000'000'000;
constexpr auto LookAround = std::chrono::milliseconds(50);
constexpr auto NewsInterval = std::chrono::milliseconds(500);

struct RunOptions {
    std::string file;
    std::string driverLibrary;
    std::string device;
    int seconds = 0;
    int scans = 0;
    OutputOptions outputs;
};

// Status 0 when the file can be run as the options want it.
int readPanel(const RunOptions &options, std::optional<PanelFile> *panel) {
    QStringList errors;
    *panel = readPanelFile(pathText(options.file), &errors);
    for (const QString &wrong : errors)
        complain(wrong, WrongInput);
    if (!*panel)
        return WrongInput;
    std::vector<LineSettings> &lines = (*panel)->lines;
    if (!options.device.empty() && lines.size() > 1) {
        return complain(QString("--device: %1 has %2 lines, each with its own device")
                            .arg(pathText(options.file))
                            .arg(lines.size()),
                        WrongInput);
    }
    if (!options.device.empty())
        lines.front().device = pathText(options.device);
    if (lines.front().device.isEmpty()) {
        return complain(pathText(options.file) + ": port.device: missing, and no --device",
                        WrongInput);
    }
    return AllHeld;
}

// One file has one name here, whether it is there yet or not.
QString oneName(const QString &path) {
    const QFileInfo info(path);
    return info.exists() ? info.canonicalFilePath()
                         : QFileInfo(info.path()).canonicalFilePath() + '/' + info.fileName();
}

// Devices and pipes may be shared, and have no earlier contents.
bool isOrBecomesFile(const QString &path) {
    return !QFileInfo::exists(path) || QFileInfo(path).isFile();
}

QStringList outputPaths(const OutputOptions &outputs, const PanelFile &panel) {
    QStringList paths;
    if (!outputs.capture.empty())
        paths = capturePaths(panel, outputs.capture);
    if (!outputs.trace.empty() && outputs.trace != "-")
        paths += pathText(outputs.trace);
    for (const std::string &output : {outputs.report, outputs.log, outputs.history}) {
        if (!output.empty())
            paths += pathText(output);
    }
    return paths;
}

// Status 0 when no output would take the place of the panel file or of another output.
int checkOutputs(const RunOptions &options, const PanelFile &panel) {
    const QString panelFile = oneName(pathText(options.file));
    QStringList taken;
    for (const QString &path : outputPaths(options.outputs, panel)) {
        const QString name = oneName(path);
        if (name == panelFile)
            return complain(path + ": this is the panel file", WrongInput);
        if (taken.contains(name))
            return complain(path + ": this is the file of two outputs", WrongInput);
        if (isOrBecomesFile(path))
            taken += name;
    }
    return AllHeld;
}

void waitForEnd(const RunOptions &options, Runtime *runtime, Outputs *outputs,
                const std::atomic<bool> &stopRequested) {
    const auto end = options.seconds > 0 ? Clock::now() + std::chrono::seconds(options.seconds)
                                         : Clock::time_point::max();
    const auto isOver = [&] {
        return Clock::now() >= end || outputs->isReaderGone() ||
               (options.scans > 0 && runtime->hasScanned(static_cast<quint64>(options.scans)));
    };
    for (auto newsDue = Clock::now(); !stopRequested && !isOver();) {
        outputs->tellFailures();
        if (Clock::now() >= newsDue) {
            outputs->tellNews();
            newsDue = Clock::now() + NewsInterval;
        }
        std::this_thread::sleep_for(LookAround);
    }
}

int tellSummary(const PanelFile &panel, const Runtime &runtime, const Outputs &outputs,
                const QStringList &wrong) {
    const Summary summary = summarise(panel, runtime);
    const bool allHeld = summary.allHeld && wrong.isEmpty();
    QTextStream(stdout) << summary.text << (allHeld ? "all held\n" : "NOT ALL HELD\n");
    for (const QString &line : wrong) {
        if (!outputs.isTold(line))
            complain(line, NotAllHeld);
    }
    return allHeld ? AllHeld : NotAllHeld;
}

int runPanel(const RunOptions &options, const PanelFile &panel) {
    const std::atomic<bool> &stopRequested = stopOnSignals();
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // who reads the values may go
    Runtime runtime(panel, stopRequested);
    QString error = runtime.loadDrivers(libraryPath(options.driverLibrary));
    Outputs outputs(panel, runtime, options.outputs);
    if (error.isEmpty())
        error = outputs.open();
    if (!error.isEmpty())
        return complain(error, WrongInput);

    error = runtime.openLines();
    if (error.isEmpty()) {
        outputs.openScreen();
        runtime.begin();
        waitForEnd(options, &runtime, &outputs, stopRequested);
    }
    requestStop();
    runtime.finish();
    const bool isReaderGone = outputs.isReaderGone();
    const QStringList wrong = outputs.close();
    if (!error.isEmpty())
        return complain(error, DeviceLost);
    if (isReaderGone)
        return AllHeld;
    return tellSummary(panel, runtime, outputs, wrong);
}

int run(const RunOptions &options) {
    std::optional<PanelFile> panel;
    int status = readPanel(options, &panel);
    if (status == AllHeld)
        status = checkOutputs(options, *panel);
    return status == AllHeld ? runPanel(options, *panel) : status;
}

void addLimits(CommandOptions app, RunOptions *options) {
    const CommandOption seconds = app.add("--seconds", &options->seconds, "End after that time")
                                      .between(1, MaxLimit)
                                      .shownAs("N");
    app.add("--scans", &options->scans,
            "End after that many scans, once all reads and writes made once are done")
        .between(1, MaxLimit)
        .shownAs("N")
        .excludes(seconds);
}

void addOutputs(CommandOptions app, OutputOptions *outputs) {
    const CommandOption trace =
        app.add("--trace", &outputs->trace, "Write a line for each exchange; - is standard output")
            .shownAs("FILE|-");
    app.addFlag("--trace-failures", &outputs->traceFailures,
                "Only of exchanges that failed, or in which something else was heard")
        .needs(trace);
    app.add("--capture", &outputs->capture,
            "Record every frame, for panel explain or tshark; those of further lines in "
            "FILE.LINE.pcap")
        .shownAs("FILE.pcap");
    app.add("--report", &outputs->report,
            "Write the health of all lines there, each minute and at the end")
        .shownAs("FILE.json");
    const CommandOption log =
        app.add("--log", &outputs->log, "Keep a row for each change of a value")
            .shownAs("FILE.csv|FILE.jsonl");
    app.add("--log-every", &outputs->logEvery,
            "Keep all values at that interval in place of the changes")
        .between(1, MaxLimit)
        .shownAs("SECONDS")
        .needs(log);
    app.add("--history", &outputs->history, "Keep all changes of values there, for trends")
        .shownAs("FILE.sqlite");
    const CommandOption web = app.add("--web", &outputs->web,
                                      "Serve a page for browsers; of this machine alone, unless "
                                      "the address is another one")
                                  .shownAs("[ADDRESS:]PORT");
    app.add("--web-token", &outputs->webToken,
            "The file whose first line lets people write, and read from other machines")
        .shownAs("FILE")
        .needs(web);
    const CommandOption times =
        app.addFlag("--times", &outputs->times,
                    "Show values as lines with their time (UTC), on a terminal too");
    app.addFlag("--quiet", &outputs->quiet, "Show no values; what has to be said, and the summary")
        .excludes(times);
}

} // namespace

Command addRunCommand(CLI::App &program) {
    const auto options = std::make_shared<RunOptions>();
    CommandOptions app(program, "run", "Polls the variables of a panel file");
    app.footer("Shows values as a table on a terminal, as lines anywhere else. Ends with a summary "
               "after the given time or number of scans, or on SIGINT, SIGTERM or SIGHUP; the same "
               "signal again ends it at once. A device that goes away is waited for.\n"
               "Exit status: 0 all held, 1 not so, 2 wrong options, file or library, 3 no device.");
    app.add("FILE", &options->file, "The panel file (JSON)").required().shownAs("");
    addLibraryOption(app, &options->driverLibrary);
    app.add("--device", &options->device, "Serial device, in place of the panel file's")
        .shownAs("PATH");
    addLimits(app, options.get());
    addOutputs(app, &options->outputs);
    return {app.command(), [options] {
                return run(*options);
            }};
}
