#include "summary.h"

#include <QStringList>

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

QString exchangeLines(const Statistics &statistics) {
    QString text = countsText(statistics.total()) + '\n';
    for (const auto &[station, counts] : statistics.byStation())
        text += QString("  station %1: %2\n").arg(station).arg(countsText(counts));
    return text;
}

QString namesLine(const char *what, const QStringList &names) {
    return names.isEmpty() ? QString() : QString("%1: %2\n").arg(what, names.join(", "));
}

} // namespace

Summary summarise(const PanelFile &panel, const Statistics &statistics, const Watch &watch,
                  const Jobs &jobs, quint64 lateBytes) {
    Tally read;
    Tally current;
    Tally moved;
    for (size_t i = 0; i < panel.variables.size(); ++i) {
        const Variable &variable = panel.variables[i];
        if (variable.isBroadcast())
            continue;
        read.add(variable.name, watch.wasRead(i));
        current.add(variable.name, !watch.wasRead(i) || watch.isCurrent(i));
        if (variable.moves)
            moved.add(variable.name, watch.hasMoved(i));
    }
    const auto writes = static_cast<int>(panel.writes.size());
    const bool allHeld = read.left.isEmpty() && current.left.isEmpty() && moved.left.isEmpty() &&
                         jobs.writesHeld() == writes;

    QString text = exchangeLines(statistics);
    if (lateBytes > 0)
        text += QString("late bytes: %1\n").arg(lateBytes);
    for (const QString &refusal : statistics.refusals())
        text += refusal + '\n';
    text += QString("variables: %1 of %2 read, %3 of %4 moved; writes: %5 of %6 held\n")
                .arg(read.held)
                .arg(read.all())
                .arg(moved.held)
                .arg(moved.all())
                .arg(jobs.writesHeld())
                .arg(writes);
    text += namesLine("not read", read.left) + namesLine("last read failed", current.left) +
            namesLine("did not move", moved.left);
    for (const QString &failure : jobs.failures())
        text += failure + '\n';
    return {text, allHeld};
}
