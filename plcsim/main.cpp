// plcsim: simulated PLC stations on a pseudo-terminal.
#include "options.h"
#include "panel/command_line.h"
#include "pseudo_terminal.h"
#include "serial_bus.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cerrno>
#include <csignal>
#include <cstdio>

#include <sys/signalfd.h>
#include <unistd.h>

namespace {

enum ExitCode { Served = 0, Failed = 1, WrongOptions = 2 };

int complain(const QString &error, ExitCode code) {
    return command_line::complain("plcsim", error, code);
}

// A descriptor that becomes readable when the program is to end; negative on failure.
int stopDescriptor() {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    if (sigprocmask(SIG_BLOCK, &ending, nullptr) != 0)
        return -1;
    return ::signalfd(-1, &ending, SFD_CLOEXEC);
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    QString error;
    const auto options = readOptions(QCoreApplication::arguments(), &error);
    if (!options)
        return complain(error, WrongOptions);

    // Before the link is made: a signal from here on still removes it.
    const int stop = stopDescriptor();
    if (stop < 0)
        return complain("signals: " + qt_error_string(errno), Failed);
    PseudoTerminal line;
    SerialBus bus(*options, line);
    error = line.open(options->link);
    if (error.isEmpty())
        error = bus.open();
    if (!error.isEmpty())
        return complain(error, Failed);

    QTextStream out(stdout);
    out << line.devicePath() << Qt::endl;
    if (out.status() != QTextStream::Ok || std::fflush(stdout) != 0)
        return complain("standard output: the path cannot be written", Failed);
    bus.serve(stop);
    ::close(stop);
    return Served;
}
