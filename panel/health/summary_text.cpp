#include "panel/health/summary_text.h"

#include "panel/health/exchange_text.h"

namespace {

QString timesText(const ReplyTimes &times) {
    return times.count() == 0
               ? QString()
               : QString(", reply %1 (median), %2 (95 %), %3 (longest)")
                     .arg(durationText(times.median()), durationText(times.quantile(0.95)),
                          durationText(times.longest()));
}

QString lastText(const char *what, const LastExchange &last) {
    if (!last.isKnown())
        return {};
    const QString reason = last.reason.isEmpty() ? QString() : ": " + last.reason;
    return QString("    last %1 %2, %3%4\n").arg(what, timeText(last.at), last.what, reason);
}

QString stationLines(const PanelFile &panel, const LineReports &lines, std::size_t line,
                     int station, const StationHealth &health) {
    QString text =
        QString("  %1: %2%3\n")
            .arg(stationText(station), countsText(health.counts), timesText(health.replyTimes));
    const Facts facts = factsOf(lines[line].findings, station, panel, line);
    for (const QString &cause : conclusionOf(facts, health.counts))
        text += "    " + cause + '\n';
    return text + lastText("good", health.lastGood) + lastText("bad", health.lastBad);
}

QString useText(const LineReport &line) {
    const QString share = QString::number(line.findings.health.share() * 100, 'f', 0) +
                          " % of the line's time in use";
    const bool hasPass = line.status.lastPass.count() > 0;
    return share + (hasPass ? ", a pass takes " + durationText(line.status.lastPass) : "");
}

QString lineLines(const PanelFile &panel, const LineReports &lines, std::size_t line) {
    const LineFindings &findings = lines[line].findings;
    QString text;
    for (const auto &[station, health] : findings.health.stations)
        text += stationLines(panel, lines, line, station, health);
    text += QString("  %1\n").arg(useText(lines[line]));
    if (const quint64 losses = findings.health.deviceLosses; losses > 0)
        text += QString("  device gone: %1 time%2\n").arg(losses).arg(losses == 1 ? "" : "s");
    if (findings.health.strayBytes > 0)
        text += QString("  late bytes: %1\n").arg(findings.health.strayBytes);
    const QString cause = lineCause(findings.strangers);
    if (!cause.isEmpty())
        text += "  " + cause + '\n';
    return text;
}

} // namespace

QString healthSummary(const PanelFile &panel, const LineReports &lines) {
    ExchangeCounts sum;
    for (const LineReport &line : lines)
        sum.add(line.findings.health.total());
    QString text = countsText(sum) + '\n';
    for (std::size_t line = 0; line < lines.size(); ++line) {
        if (lines.size() > 1) {
            text +=
                QString("line %1: %2\n")
                    .arg(panel.lines[line].name, countsText(lines[line].findings.health.total()));
        }
        text += lineLines(panel, lines, line);
    }
    return text;
}
