#include "panel/health/diagnosis.h"

#include "panel/file/registers.h"
#include "panel/line/read_frames.h"

#include <algorithm>

namespace {

bool isAbout(const Refusal &refusal, const RegisterSpan &span) {
    const int first = span.first + wireOffset(span.area);
    return (refusal.function == ReadInput) == (span.area == InputArea) &&
           first < refusal.firstRegister + refusal.registers &&
           refusal.firstRegister < first + span.count;
}

QStringList namesOf(const PanelFile &panel, std::size_t line, int station, const Refusal &refusal) {
    QStringList names;
    for (const Variable &variable : panel.variables) {
        if (variable.line == line && variable.station == station &&
            isAbout(refusal, variable.span()))
            names += variable.name;
    }
    return names;
}

// At least half of the time: what comes now and then may be another master's affair.
bool isAnswering(const Evidence &seen) {
    return seen.exchanges >= FewestExchanges && (seen.good + seen.refused) * 2 >= seen.exchanges;
}

} // namespace

Facts factsOf(const LineFindings &findings, int station) {
    Facts facts;
    facts.station = station;
    facts.strangers = findings.strangers;
    const auto found = findings.evidence.find(station);
    if (found != findings.evidence.end())
        facts.evidence = found->second;
    facts.doOthersAnswer = std::any_of(
        findings.evidence.begin(), findings.evidence.end(),
        [station](const auto &each) { return each.first != station && isAnswering(each.second); });
    return facts;
}

Facts factsOf(const LineFindings &findings, int station, const PanelFile &panel, std::size_t line) {
    Facts facts = factsOf(findings, station);
    facts.responseTimeoutMs = panel.lines[line].responseTimeoutMs;
    facts.variables = [&panel, line, station](const Refusal &refusal) {
        return namesOf(panel, line, station, refusal);
    };
    return facts;
}

QStringList causesOf(const Facts &facts) {
    QStringList causes = likelyCauses(facts);
    causes.removeAll(lineCause(facts.strangers));
    return causes;
}

QStringList causesAt(const PanelFile &panel, const LineReports &lines, std::size_t line,
                     int station) {
    return causesOf(factsOf(lines[line].findings, station, panel, line));
}

QStringList conclusionOf(const Facts &facts, const ExchangeCounts &counts) {
    QStringList causes = causesOf(facts);
    const bool isRare = counts.failed() * 100 < counts.exchanges;
    if (!causes.isEmpty() || isRare || !lineCause(facts.strangers).isEmpty())
        return causes;
    const int exchanges = facts.evidence.exchanges;
    return {exchanges < FewestExchanges
                ? QString("too few exchanges to tell why: %1 of %2 needed, run longer")
                      .arg(exchanges)
                      .arg(FewestExchanges)
                : QString("the failures are too few, or too mixed, to tell why")};
}

QString stationText(int station) {
    return station == 0 ? "broadcasts" : QString("station %1").arg(station);
}
