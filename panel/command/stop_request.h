// The wish to end: Ctrl-C, SIGTERM, or a terminal that was closed.
#pragma once

#include <atomic>

// From the first call on, these signals set the flag that is returned, instead of ending the
// program. The same one a second time ends it at once, as SIGQUIT does at first; the terminal is
// then given back before. Under nohup SIGHUP stays ignored.
const std::atomic<bool> &stopOnSignals();

// Sets the flag as a signal would.
void requestStop();
