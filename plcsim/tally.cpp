#include "tally.h"

#include <QStringList>

namespace {

QString faultsText(const FaultCounts &faults) {
    QStringList parts;
    for (const auto &[kind, count] : faults)
        parts << QString("%1 %2").arg(kind).arg(count);
    return parts.join(", ");
}

QString stationText(int number, const StationTally &station) {
    QString text = QString("%1 %2 %3 %4")
                       .arg(number, 7)
                       .arg(station.requests, 9)
                       .arg(station.answers, 8)
                       .arg(station.exceptions, 11);
    if (!station.faults.empty())
        text += "  " + faultsText(station.faults);
    return text + '\n';
}

// "requests for absent stations: 3", nothing for none.
QString countText(const char *what, qint64 count) {
    return count == 0 ? QString() : QString("%1: %2\n").arg(what).arg(count);
}

} // namespace

QString tallyText(const Tally &tally) {
    QString text = "station  requests  answers  exceptions  faults\n";
    for (const auto &[number, station] : tally.stations) {
        if (station.requests > 0 || tally.stations.size() <= 10)
            text += stationText(number, station);
    }
    if (!tally.lineFaults.empty())
        text += "faults of the line: " + faultsText(tally.lineFaults) + '\n';
    text += countText("requests for stations that are not here", tally.absent);
    text += countText("bytes that were part of no request", tally.strayBytes);
    text += countText("bytes of a host at another speed", tally.wrongSpeed);
    text += countText("bytes of the host that met an answer", tally.collisions);
    if (tally.shortestSilence) {
        text += QString("shortest silence before a request: %1 ms\n")
                    .arg(static_cast<double>(tally.shortestSilence->count()) / 1e6, 0, 'f', 3);
    }
    return text;
}
