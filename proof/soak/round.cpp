// Who acts when.
#include "round.h"

#include "host.h"

#include <atomic>
#include <thread>

namespace {

std::string finish(Host &host) {
    host.calmDown();
    if (host.broken().empty())
        host.passOnce();
    return host.broken();
}

} // namespace

std::string runRound(quint64 seed, Tally &tally) {
    Random random(seed);
    const Setup setup = drawSetup(random);
    Host host(setup, random.next(), tally);
    while (host.turns < setup.turns && host.broken().empty()) {
        host.liveOn();
        host.letScreensAct();
        host.turn();
    }
    const std::string broken = host.broken().empty() ? finish(host) : host.broken();
    return broken.empty() ? broken
                          : "--seed " + std::to_string(seed) + ", turn " +
                                std::to_string(host.turns) + ": " + broken;
}

std::string runThreadedRound(quint64 seed, int threads, Tally &tally) {
    Random random(seed);
    const Setup setup = drawThreadedSetup(random, threads);
    Host host(setup, random.next(), tally);
    std::atomic<int> running{threads};
    std::vector<std::thread> acting;
    for (Screen &screen : host.screens) {
        acting.emplace_back([&screen, &running, &setup] {
            for (int call = 0; call < setup.turns && screen.promises.hold(); ++call)
                screen.act();
            --running;
        });
    }
    while (running > 0) {
        host.liveOn();
        host.turn();
        std::this_thread::yield(); // QMutex is not fair: leave the screens their turn
    }
    for (std::thread &thread : acting)
        thread.join();
    return host.broken().empty() ? finish(host) : host.broken();
}
