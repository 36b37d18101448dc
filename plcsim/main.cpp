// plcsim: simulated PLC stations on a pseudo-terminal or a serial port.
#include "options.h"
#include "simulator.h"
#include "words.h"

#include <QTextStream>

#include <cerrno>
#include <csignal>
#include <cstdio>

#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

enum ExitCode { Served = 0, Failed = 1 };

int failed(const QString &error) {
    complain(error);
    return Failed;
}

// A descriptor that becomes readable when the program is to end; negative on failure.
int stopDescriptor() {
    // Nobody listens any more, or the terminal belongs to another program: write and read say so.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    static_cast<void>(std::signal(SIGTTIN, SIG_IGN));
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&ending, signal);
    if (sigprocmask(SIG_BLOCK, &ending, nullptr) != 0)
        return -1;
    return ::signalfd(-1, &ending, SFD_CLOEXEC);
}

} // namespace

int main(int argc, char **argv) {
    int status = Served;
    const auto options = readOptions(argc, argv, &status);
    if (!options)
        return status;

    // Before the link is made: a signal from here on still removes it.
    const int stop = stopDescriptor();
    if (stop < 0)
        return failed("signals: " + qt_error_string(errno));
    ::prctl(PR_SET_TIMERSLACK, 1);
    Port port(*options);
    Simulator simulator(*options, port);
    QString error = port.open();
    if (error.isEmpty())
        error = simulator.open();
    if (!error.isEmpty())
        return failed(error);

    QTextStream out(stdout);
    out << port.path() << Qt::endl;
    if (out.status() != QTextStream::Ok || std::fflush(stdout) != 0)
        return failed("standard output: the path cannot be written");
    simulator.serve(stop);
    out << tallyText(simulator.tally()) << Qt::flush;
    ::close(stop);
    return Served;
}
