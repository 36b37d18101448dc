// panel: the reference panel runtime. Each command is a file of its own; here one is chosen.
#include "panel/command/command.h"

#include <CLI/CLI.hpp>
#include <QCoreApplication>

#include <cstdio>
#include <exception>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr AddCommand AllCommands[] = {
    addRunCommand,  addPlanCommand,  addFindCommand,
    addReadCommand, addWriteCommand, addExplainCommand,
};

// CLI11 says some things in several lines.
int complainAboutOptions(const CLI::ParseError &error) {
    return complain(QString::fromLocal8Bit(error.what()).simplified() + "; see --help", WrongInput);
}

int runChosen(const std::vector<Command> &commands) {
    for (const Command &command : commands) {
        if (command.options->parsed())
            return command.work();
    }
    return WrongInput;
}

// What is opened first must not take the place of a stream that was closed: a device would get the
// values.
void fillStandardStreams() {
    int descriptor = STDIN_FILENO;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = ::open("/dev/null", O_RDWR);
    if (descriptor >= 0)
        ::close(descriptor);
}

// Who has read enough (`| head -1`) closes the pipe.
bool isReaderGone() {
    pollfd output{STDOUT_FILENO, 0, 0};
    return ::poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

// A full disk must not pass for success.
int checkOutput(int status) {
    const bool isWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (isWritten || status != AllHeld || isReaderGone())
        return status;
    return complain("standard output: cannot write all of it", NotAllHeld);
}

int choose(int argc, char **argv) {
    CLI::App program("Talks to PLCs over serial lines as Modbus RTU master, through the driver "
                     "library that operator panels load.");
    program.name("panel");
    program.set_version_flag("--version", PANEL_VERSION);
    program.require_subcommand(1);
    std::vector<Command> commands;
    for (const AddCommand add : AllCommands) {
        commands.push_back(add(program));
        commands.back().options->set_version_flag("--version", PANEL_VERSION);
    }
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success &wanted) { // help, or the version
        return program.exit(wanted);
    } catch (const CLI::ParseError &error) {
        return complainAboutOptions(error);
    }
    return checkOutput(runChosen(commands));
}

} // namespace

int main(int argc, char **argv) {
    fillStandardStreams();
    const QCoreApplication application(argc, argv);
    try {
        return choose(argc, argv);
    } catch (const std::exception &error) {
        return complain(QString::fromLocal8Bit(error.what()), NotAllHeld);
    } catch (...) {
        return complain("ended by an unknown error", NotAllHeld);
    }
}
