#include "panel/command/stop_request.h"

#include "panel/screen/terminal_table.h"

#include <csignal>
#include <initializer_list>

namespace {

std::atomic<bool> stopRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

// The program ends by the signal when this returns.
void endAtOnce(int number) {
    TerminalTable::giveBackAtOnce();
    static_cast<void>(std::signal(number, SIG_DFL));
    static_cast<void>(std::raise(number));
}

void stop(int number) {
    stopRequested = true;
    static_cast<void>(std::signal(number, endAtOnce));
}

} // namespace

const std::atomic<bool> &stopOnSignals() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        const bool isIgnored = std::signal(number, stop) == SIG_IGN;
        if (isIgnored && number == SIGHUP) // nohup: it is to outlive its terminal
            static_cast<void>(std::signal(number, SIG_IGN));
    }
    static_cast<void>(std::signal(SIGQUIT, endAtOnce));
    return stopRequested;
}

void requestStop() {
    stopRequested = true;
}
