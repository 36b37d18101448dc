#include "commands.h"

#include "words.h"

#include <QStringList>

namespace {

CommandResult failure(const QString &error) {
    return {error, {}};
}

// Carries out `what` for every station of the list; says which is not there.
template <typename Action>
CommandResult forStations(const QString &list, Action what) {
    const auto numbers = readStationNumbers(list);
    if (!numbers)
        return failure(list + ": expected station numbers, as in 1,5,20-40");
    for (const int number : *numbers) {
        if (!what(number))
            return failure(QString("station %1 is not here").arg(number));
    }
    return {};
}

CommandResult mute(const QStringList &words, TimePoint, Controls *controls) {
    return forStations(words[1], [&](int number) { return controls->bus.mute(number, true); });
}

CommandResult unmute(const QStringList &words, TimePoint, Controls *controls) {
    return forStations(words[1], [&](int number) { return controls->bus.mute(number, false); });
}

CommandResult set(const QStringList &words, TimePoint, Controls *controls) {
    const auto table = readTable(words[2]);
    int address = 0;
    if (!table)
        return failure(words[2] + ": expected holding, input, coil or discrete");
    if (!readNumber(words[3], 0, 0xFFFF, &address))
        return failure(words[3] + ": expected an address, 0 to 65535");
    for (const QString &word : words.mid(4)) {
        int value = 0;
        if (!readNumber(word, -0x8000, 0xFFFF, &value))
            return failure(word + ": expected a value, -32768 to 65535");
        if (!controls->bus.set(words[1].toInt(), *table, address++, value)) {
            return failure(
                QString("station %1 has no %2 %3").arg(words[1], words[2]).arg(address - 1));
        }
    }
    return {};
}

CommandResult unplug(const QStringList &words, TimePoint now, Controls *controls) {
    if (!controls->port.isTerminal())
        return failure("only a pseudo-terminal can be unplugged");
    const auto duration = readDuration(words[1]);
    if (!duration)
        return failure(words[1] + ": expected a time, as in 3s or 500ms");
    controls->port.close();
    controls->bus.clear();
    controls->backAt = now + *duration;
    return {};
}

CommandResult faults(const QStringList &words, TimePoint, Controls *controls) {
    Faults wanted;
    const QString error = readFaults(words[1], &wanted);
    if (error.isEmpty())
        controls->bus.setFaults(wanted);
    return failure(error);
}

CommandResult count(const QStringList &, TimePoint, Controls *controls) {
    return {{}, tallyText(controls->bus.tally())};
}

CommandResult quit(const QStringList &, TimePoint, Controls *controls) {
    controls->isWanted = false;
    return {};
}

CommandResult help(const QStringList &words, TimePoint now, Controls *controls);

struct Command {
    const char *name;
    const char *arguments;
    int fewest; // words, with its name
    int most;
    CommandResult (*run)(const QStringList &, TimePoint, Controls *);
};

constexpr int Many = 128;
constexpr Command Known[] = {
    {"mute", "STATIONS", 2, 2, mute},
    {"unmute", "STATIONS", 2, 2, unmute},
    {"set", "STATION holding|input|coil|discrete ADDRESS VALUE...", 5, Many, set},
    {"faults", "none|KIND[=SHARE%[:VALUE]][@STATIONS],...", 2, 2, faults},
    {"unplug", "TIME", 2, 2, unplug},
    {"count", "", 1, 1, count},
    {"help", "", 1, 1, help},
    {"quit", "", 1, 1, quit},
};

QString usage(const Command &command) {
    return QString("%1 %2").arg(command.name, command.arguments).trimmed();
}

CommandResult help(const QStringList &, TimePoint, Controls *) {
    QString text;
    for (const auto &command : Known)
        text += usage(command) + '\n';
    return {{}, text};
}

} // namespace

CommandResult runCommand(const QString &line, TimePoint now, Controls *controls) {
    const QStringList words = line.split(' ', Qt::SkipEmptyParts);
    if (words.isEmpty())
        return {};
    for (const auto &command : Known) {
        if (words.first() != command.name)
            continue;
        if (words.size() < command.fewest || words.size() > command.most)
            return failure("expected: " + usage(command));
        return command.run(words, now, controls);
    }
    return failure(words.first() + ": no such command; `help` lists them");
}
