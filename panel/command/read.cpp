// panel read: what a PLC holds, without a panel file.
#include "panel/command/by_hand.h"
#include "panel/file/address.h"
#include "panel/file/values.h"

#include <QTextStream>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr double ShortestIntervalSeconds = 0.001;
constexpr double LongestIntervalSeconds = 86'400;

struct ReadOptions {
    DeviceOptions device;
    std::vector<std::string> addresses;
    double everySeconds = 0;
};

// What is wrong with the addresses.
QStringList parseAll(const ReadOptions &options, std::vector<Variable> *variables) {
    QStringList errors;
    for (const std::string &address : options.addresses) {
        QString error;
        const auto variable =
            parseAddress(QString::fromStdString(address), options.device.station, &error);
        if (variable && variable->isBroadcast())
            error = variable->name + ": station 0 means all of them, and none answers";
        if (!error.isEmpty()) {
            errors += error;
        } else {
            variables->push_back(*variable);
        }
    }
    return errors;
}

// Whether all could be read.
bool readAll(HandLine *line, const std::vector<Variable> &variables,
             const std::atomic<bool> &stopRequested) {
    bool allHeld = true;
    for (const Variable &variable : variables) {
        QByteArray data;
        const QString reason = line->read(variable, &data);
        if (stopRequested || line->isGone())
            return false;
        const QString text = reason.isEmpty() ? valueText(variable, data) : reason;
        QTextStream(stdout) << variable.name << " = " << text << '\n';
        allHeld = allHeld && reason.isEmpty();
    }
    return allHeld;
}

void waitUntil(Clock::time_point time, const std::atomic<bool> &stopRequested) {
    constexpr auto Slice = std::chrono::milliseconds(50);
    while (!stopRequested && Clock::now() < time)
        std::this_thread::sleep_until(std::min(time, Clock::now() + Slice));
}

// Again and again where that is wanted. Whether all could be read each time.
bool readRepeatedly(HandLine *line, const std::vector<Variable> &variables, double everySeconds,
                    const std::atomic<bool> &stopRequested) {
    const auto every =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(everySeconds));
    bool allHeld = readAll(line, variables, stopRequested);
    Clock::time_point next = Clock::now();
    while (everySeconds > 0 && !stopRequested && !line->isGone()) {
        next = std::max(next + every, Clock::now());
        waitUntil(next, stopRequested);
        if (!stopRequested) {
            const bool wasRead = readAll(line, variables, stopRequested);
            allHeld = allHeld && (wasRead || stopRequested);
        }
    }
    return allHeld;
}

int readByHand(const ReadOptions &options) {
    std::vector<Variable> variables;
    const QStringList errors = parseAll(options, &variables);
    if (!errors.isEmpty())
        return complain(errors.join("; "), WrongInput);
    return workByHand(options.device, [&](HandLine *line, const auto &stopRequested) {
        return readRepeatedly(line, variables, options.everySeconds, stopRequested);
    });
}

} // namespace

Command addReadCommand(CLI::App &program) {
    const auto options = std::make_shared<ReadOptions>();
    CommandOptions app(program, "read", "Reads values without a panel file");
    app.footer(std::string(AddressHelp) +
               "What cannot be read has its reason in the place of the value.\n"
               "Exit status: 0 all read, 1 not all, 2 wrong options or library, 3 no device.");
    addDeviceOptions(app, &options->device, 1);
    app.add("ADDRESS", &options->addresses, "What to read").required().shownAs("");
    app.add("--every", &options->everySeconds, "Read again and again, until Ctrl-C")
        .between(ShortestIntervalSeconds, LongestIntervalSeconds)
        .shownAs("SECONDS");
    return {app.command(), [options] {
                return readByHand(*options);
            }};
}
