#include "panel/command/summary.h"

#include "panel/health/summary_text.h"

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

VariableTallies tallyVariables(const PanelFile &panel, const Runtime &runtime) {
    VariableTallies tallies;
    const Freshness &freshness = runtime.freshness();
    const Expectations &expectations = runtime.expectations();
    for (size_t i = 0; i < panel.variables.size(); ++i) {
        const Variable &variable = panel.variables[i];
        if (variable.isBroadcast())
            continue;
        const bool wasRead = freshness.wasRead(i);
        tallies.read.add(variable.name, wasRead);
        tallies.current.add(variable.name, !wasRead || freshness.isCurrent(i));
        if (variable.moves)
            tallies.moved.add(variable.name, expectations.hasMoved(i));
        if (!variable.expected.isEmpty())
            tallies.expected.add(variable.name, expectations.hasShownExpected(i));
    }
    return tallies;
}

// The station has none of it, or lets nobody have it.
QStringList refusedNames(const PanelFile &panel, const LineReports &lines) {
    QStringList names;
    for (const LineReport &line : lines) {
        for (const std::size_t variable : line.status.refusedVariables)
            names += panel.variables[variable].name;
    }
    return names;
}

} // namespace

Summary summarise(const PanelFile &panel, const Runtime &runtime) {
    const VariableTallies tallies = tallyVariables(panel, runtime);
    const LineReports lines = runtime.lineReports();
    const Jobs::Results &jobs = runtime.jobs().results();
    const auto ratio = [](const Tally &tally) {
        return QString("%1 of %2").arg(tally.held).arg(tally.all());
    };
    QString text = healthSummary(panel, lines);
    for (const QString &line : jobs.lines)
        text += line + '\n';
    text += QString("variables: %1 read, %2 moved, %3 as expected; writes: %4\n")
                .arg(ratio(tallies.read), ratio(tallies.moved), ratio(tallies.expected),
                     writesText(panel, jobs));
    text += namesLine("not read", tallies.read.left) +
            namesLine("refused by the station", refusedNames(panel, lines)) +
            namesLine("last read failed", tallies.current.left) +
            namesLine("did not move", tallies.moved.left) +
            namesLine("never as expected", tallies.expected.left);
    return {text, tallies.allHeld() && jobs.allHeld};
}
