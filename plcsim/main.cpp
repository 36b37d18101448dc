// plcsim: simulated PLC stations on a pseudo-terminal.
#include "options.h"
#include "pseudo_terminal.h"
#include "serial_bus.h"

#include <QCoreApplication>
#include <QTextStream>

#include <csignal>

#include <sys/signalfd.h>
#include <unistd.h>

namespace {

enum ExitCode { Served = 0, Failed = 1, WrongOptions = 2 };

int complain(const QString &error, ExitCode code) {
    QTextStream(stderr) << "plcsim: " << error << '\n';
    return code;
}

// A descriptor that becomes readable when the program is to end.
int stopDescriptor() {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
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
    PseudoTerminal line;
    SerialBus bus(*options, line);
    error = line.open(options->link);
    if (error.isEmpty())
        error = bus.open();
    if (!error.isEmpty())
        return complain(error, Failed);

    QTextStream(stdout) << line.devicePath() << '\n';
    bus.serve(stop);
    ::close(stop);
    return Served;
}
