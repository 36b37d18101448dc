#include "summary.h"

#include <QStringList>

#include <algorithm>

namespace {

// "read 5 of 6", and the names that are left.
struct Tally {
    int held = 0;
    QStringList left;

    void add(const QString &name, bool holds) {
        held += holds ? 1 : 0;
        if (!holds)
            left += name;
    }
    int all() const { return held + left.size(); }
};

QString stationText(int station) {
    return station == 0 ? "broadcast" : QString("station %1").arg(station);
}

QString exchangeLines(const Statistics &statistics) {
    QString text = countsText(statistics.total()) + '\n';
    for (const auto &[station, counts] : statistics.byStation())
        text += QString("  %1: %2\n").arg(stationText(station), countsText(counts));
    return text;
}

QString writesText(const PanelFile &panel, const Jobs::Results &results) {
    const auto acknowledged =
        std::count_if(panel.writes.begin(), panel.writes.end(), [&](const WriteJob &job) {
            return !panel.variables[job.variable].isBroadcast();
        });
    QString text = QString("%1 of %2 held").arg(results.writesHeld).arg(acknowledged);
    if (results.heldBefore > 0)
        text += QString(" (%1 changed nothing)").arg(results.heldBefore);
    if (results.broadcasts > 0) {
        text += QString(", %1 broadcast%2 sent, never acknowledged")
                    .arg(results.broadcasts)
                    .arg(results.broadcasts == 1 ? "" : "s");
    }
    return text;
}

// How the exchanges went and what each job came to.
QString runLines(const Statistics &statistics, const Jobs &jobs, quint64 lateBytes) {
    QString text = exchangeLines(statistics);
    if (lateBytes > 0)
        text += QString("late bytes: %1\n").arg(lateBytes);
    for (const QString &line : statistics.refusals() + jobs.results().lines)
        text += line + '\n';
    return text;
}

QString namesLine(const char *what, const QStringList &names) {
    return names.isEmpty() ? QString() : QString("%1: %2\n").arg(what, names.join(", "));
}

struct VariableTallies {
    Tally read;
    Tally current;
    Tally moved;
    Tally expected;

    bool allHeld() const {
        return read.left.isEmpty() && current.left.isEmpty() && moved.left.isEmpty() &&
               expected.left.isEmpty();
    }
};

VariableTallies tallyVariables(const PanelFile &panel, const Watch &watch) {
    VariableTallies tallies;
    for (size_t i = 0; i < panel.variables.size(); ++i) {
        const Variable &variable = panel.variables[i];
        if (variable.isBroadcast())
            continue;
        tallies.read.add(variable.name, watch.wasRead(i));
        tallies.current.add(variable.name, !watch.wasRead(i) || watch.isCurrent(i));
        if (variable.moves)
            tallies.moved.add(variable.name, watch.hasMoved(i));
        if (!variable.expected.isEmpty())
            tallies.expected.add(variable.name, watch.hasShownExpected(i));
    }
    return tallies;
}

} // namespace

Summary summarise(const PanelFile &panel, const Statistics &statistics, const Watch &watch,
                  const Jobs &jobs, quint64 lateBytes) {
    const VariableTallies tallies = tallyVariables(panel, watch);
    const auto ratio = [](const Tally &tally) {
        return QString("%1 of %2").arg(tally.held).arg(tally.all());
    };
    QString text = runLines(statistics, jobs, lateBytes);
    text += QString("variables: %1 read, %2 moved, %3 as expected; writes: %4\n")
                .arg(ratio(tallies.read), ratio(tallies.moved), ratio(tallies.expected),
                     writesText(panel, jobs.results()));
    text += namesLine("not read", tallies.read.left) +
            namesLine("last read failed", tallies.current.left) +
            namesLine("did not move", tallies.moved.left) +
            namesLine("never as expected", tallies.expected.left);
    return {text, tallies.allHeld() && jobs.results().allHeld};
}
