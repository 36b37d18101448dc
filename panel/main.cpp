// panel: the reference panel runtime. Loads a driver library by its path, as a panel does, and runs
// a panel file with it.
#include "command_line.h"
#include "options.h"
#include "runtime.h"

#include <QCoreApplication>
#include <QTextStream>

#include <atomic>
#include <csignal>

namespace {

enum ExitCode { AllHeld = 0, NotAllHeld = 1, WrongInput = 2, DeviceLost = 3 };

std::atomic<bool> stopRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

void stopOnSignals() {
    for (const int number : {SIGINT, SIGTERM})
        static_cast<void>(std::signal(number, [](int) { stopRequested = true; }));
}

int complain(const QString &error, ExitCode code) {
    return command_line::complain("panel", error, code);
}

int runPanel(const Driver &driver, const PanelFile &panel, const RunLimit &limit) {
    SerialLine line(panel.port, stopRequested);
    const QString error = line.open();
    if (!error.isEmpty())
        return complain(error, DeviceLost);

    const Summary summary = Runtime(driver, panel, line, stopRequested).run(limit);
    QTextStream(stdout) << summary.text;
    if (line.isGone())
        return complain(line.device() + ": gone while running", DeviceLost);
    QTextStream(stdout) << (summary.allHeld ? "all held\n" : "NOT ALL HELD\n");
    return summary.allHeld ? AllHeld : NotAllHeld;
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    QString error;
    const auto options = readOptions(QCoreApplication::arguments(), &error);
    if (!options)
        return complain(error, WrongInput);
    auto panel = readPanelFile(options->panelFile, &error);
    if (!panel)
        return complain(error, WrongInput);
    if (!options->device.isEmpty())
        panel->port.device = options->device;
    if (panel->port.device.isEmpty())
        return complain(options->panelFile + ": port.device: missing, and no --device", WrongInput);

    Driver driver;
    error = loadDriver(options->library, &driver);
    if (!error.isEmpty())
        return complain(error, WrongInput);
    stopOnSignals();
    return runPanel(driver, *panel, options->limit);
}
