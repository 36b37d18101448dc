// The run's summary line.
#include "tally.h"

namespace {

const char *const FaultNames[] = {"none",  "request-lost", "reply-lost", "late",
                                  "short", "long",         "flipped",    "foreign",
                                  "stale", "exception",    "noise",      "dead"};
static_assert(sizeof(FaultNames) / sizeof(*FaultNames) == static_cast<size_t>(Fault::Kinds));

} // namespace

void Tally::print() const {
    std::printf("rounds %llu writes %llu one-shots %llu finished %llu given-up %llu\n", rounds,
                writes, oneShots, finished, givenUp);
    std::printf("exchanges %llu;", exchanges);
    for (size_t kind = 0; kind < faults.size(); ++kind) {
        std::printf(" %s %llu%s", FaultNames[kind], faults[kind],
                    kind + 1 < faults.size() ? "," : ";");
    }
    std::printf(" undetectable %llu; violations %llu\n", undetectable, violations);
    static_cast<void>(std::fflush(stdout));
}
