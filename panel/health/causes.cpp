#include "panel/health/causes.h"

#include "panel/health/exchange_text.h"
#include "panel/line/line_time.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <vector>

namespace {

// Whether at least this part (in percent) of the exchanges is of a kind.
bool isPart(int count, int percent, const Facts &facts) {
    return count > 0 && count * 100 >= percent * facts.evidence.exchanges;
}

int answered(const Facts &facts) {
    return facts.evidence.good + facts.evidence.refused;
}

// The answers that a poll would have missed: a station that rests is waited for less.
std::vector<std::chrono::microseconds> tooLate(const Facts &facts) {
    std::vector<std::chrono::microseconds> times;
    const std::chrono::milliseconds timeout(facts.responseTimeoutMs);
    std::copy_if(facts.evidence.late.begin(), facts.evidence.late.end(), std::back_inserter(times),
                 [timeout](std::chrono::microseconds time) { return time > timeout; });
    return times;
}

// --- When a rule fits. ---

bool hearsItself(const Facts &facts) {
    return isPart(facts.evidence.echoed, 50, facts) && !isPart(facts.evidence.good, 50, facts);
}

bool isShared(const Strangers &strangers) {
    const int seen = strangers.requests + strangers.answers;
    return strangers.exchanges >= FewestExchanges &&
           (strangers.requests >= 2 || strangers.answers >= FewestExchanges) &&
           seen * 100 >= strangers.exchanges;
}

bool sharesTheLine(const Facts &facts) {
    return isShared(facts.strangers);
}

bool isAnsweredByAnother(const Facts &facts) {
    return facts.evidence.others >= 2 && isPart(facts.evidence.others, 2, facts);
}

bool answersLate(const Facts &facts) {
    const int late = static_cast<int>(tooLate(facts).size());
    return late >= 2 && isPart(late, 2, facts);
}

bool answersSomethingElse(const Facts &facts) {
    return facts.evidence.unfitting >= 2 && isPart(facts.evidence.unfitting, 2, facts);
}

bool refuses(const Facts &facts) {
    return isPart(facts.evidence.refused, 2, facts);
}

bool isNeverUnderstood(const Facts &facts) {
    return isPart(facts.evidence.garbled, 20, facts) &&
           answered(facts) * 10 <= facts.evidence.garbled;
}

// Requests of two masters that collide damage frames too.
bool isNoisy(const Facts &facts) {
    return facts.evidence.garbled >= 2 && answered(facts) * 10 > facts.evidence.garbled &&
           !sharesTheLine(facts);
}

bool hasFallenSilent(const Facts &facts) {
    return facts.evidence.silentInARow >= FewestExchanges && !facts.evidence.lastAnswered.isEmpty();
}

// A stray byte is no answer, nor is a frame that another master's request brought now and then.
bool neverAnswers(const Facts &facts) {
    const Evidence &seen = facts.evidence;
    const bool isHeard =
        answered(facts) + seen.unfitting > 0 || !seen.late.empty() || !seen.lastAnswered.isEmpty();
    return !isHeard && !isPart(seen.garbled, 20, facts) && !isPart(seen.others, 20, facts);
}

// What the line has wrong with it does not keep the others from answering.
bool isSilentAlone(const Facts &facts) {
    return neverAnswers(facts) && facts.doOthersAnswer;
}

bool isSilentLikeAll(const Facts &facts) {
    return neverAnswers(facts) && !facts.doOthersAnswer;
}

// Neither once for a while, nor because requests arrive damaged or collide.
bool missesRequests(const Facts &facts) {
    const Evidence &seen = facts.evidence;
    const bool isHeard = answered(facts) + seen.unfitting > 0 || !seen.late.empty();
    return isHeard && seen.silences >= 3 && isPart(seen.silent, 2, facts) &&
           seen.silent > 2 * seen.garbled && !hasFallenSilent(facts) && !sharesTheLine(facts);
}

// --- What is said then. ---

QString echoSentence(const Facts &) {
    return "echo: our own request comes back first; set \"localEcho\" for this line, or switch the "
           "adapter's echo off";
}

QString masterText(const Strangers &strangers) {
    return QString("another master is on the line: %1 requests and %2 answers that are not ours in "
                   "%3 exchanges; a line has one master, unplug or silence the other")
        .arg(strangers.requests)
        .arg(strangers.answers)
        .arg(strangers.exchanges);
}

QString masterSentence(const Facts &facts) {
    return masterText(facts.strangers);
}

QString otherStationSentence(const Facts &facts) {
    QStringList numbers;
    for (const int station : facts.evidence.answeredBy)
        numbers += QString::number(station);
    return QString("another station answers (%1) when station %2 is asked: check the station "
                   "number set in the device")
        .arg(numbers.join(", "))
        .arg(facts.station);
}

QString lateSentence(const Facts &facts) {
    const std::vector<std::chrono::microseconds> late = tooLate(facts);
    const auto [earliest, latest] = std::minmax_element(late.begin(), late.end());
    const QString timeout = facts.responseTimeoutMs > 0
                                ? QString(", the time-out is %1 ms").arg(facts.responseTimeoutMs)
                                : QString();
    return QString("%1 of %2 answers came too late, %3 to %4 after the request%5: "
                   "\"responseTimeoutMs\": %6 would do")
        .arg(late.size())
        .arg(facts.evidence.exchanges)
        .arg(durationText(*earliest), durationText(*latest), timeout)
        .arg(sufficientTimeoutMs(*latest));
}

QString unfittingSentence(const Facts &facts) {
    return QString("the answers do not fit what was asked: in %1 of %2 exchanges station %3 sent a "
                   "good frame of another function, length or address; look for a fault in the "
                   "device or gateway, a second device with this number, or another master")
        .arg(facts.evidence.unfitting)
        .arg(facts.evidence.exchanges)
        .arg(facts.station);
}

QString refusalText(const Facts &facts, const Refusal &refusal) {
    const QStringList names = facts.variables ? facts.variables(refusal) : QStringList();
    return requestText(refusal.function, refusal.firstRegister, refusal.registers) + ": " +
           exceptionText(refusal.code) + (names.isEmpty() ? "" : " (" + names.join(", ") + ")");
}

QString refusedSentence(const Facts &facts) {
    constexpr std::size_t Most = 3;
    QStringList refusals;
    QStringList advice;
    for (const Refusal &refusal : facts.evidence.refusals) {
        if (static_cast<std::size_t>(refusals.size()) < Most)
            refusals += refusalText(facts, refusal);
        advice += exceptionAdvice(refusal.code);
    }
    advice.removeDuplicates();
    const std::size_t more =
        facts.evidence.refusals.size() - static_cast<std::size_t>(refusals.size());
    const QString rest = more > 0 ? QString(", and %1 more").arg(more) : QString();
    return "refused " + refusals.join(", ") + rest + "; " + advice.join("; ");
}

QString settingsSentence(const Facts &facts) {
    return QString("baud rate or parity is wrong: bytes came in %1 of %2 exchanges, hardly any "
                   "good frame; compare baud rate, parity and stop bits with the device, panel "
                   "find tries them; swapped wires (A and B) look the same")
        .arg(facts.evidence.garbled)
        .arg(facts.evidence.exchanges);
}

QString noiseSentence(const Facts &facts) {
    const int frames = facts.evidence.garbled + answered(facts);
    const double percent = 100.0 * facts.evidence.garbled / frames;
    return QString("noise: %1 % of the frames are bad; check termination at both ends, shielding "
                   "and the distance to motor cables")
        .arg(QString::number(percent, 'g', 2));
}

QString silentSentence(const Facts &facts) {
    return QString("no answer since %1; the last request it answered was %2; check its power and "
                   "its plug")
        .arg(timeText(facts.evidence.lastAnsweredAt), facts.evidence.lastAnswered);
}

QString neverSentence(const Facts &facts) {
    return QString("no answer to any of %1 requests: check the station number, its power "
                   "and the wiring (A and B swapped, a wire off)")
        .arg(facts.evidence.exchanges);
}

QString missesSentence(const Facts &facts) {
    return QString("no answer to %1 of %2 requests, now and then: a loose wire, the adapter's "
                   "direction control, or a device too busy")
        .arg(facts.evidence.silent)
        .arg(facts.evidence.exchanges);
}

struct Rule {
    bool (*fits)(const Facts &);
    QString (*sentence)(const Facts &);
};

// The likelier comes first: what is so now before what was seen earlier, what is seen on the wire
// before what is missing on it.
constexpr std::array<Rule, 12> Rules{{
    // seen                                     said
    {hasFallenSilent, silentSentence},           // answers, then silence
    {isSilentAlone, neverSentence},              // no byte ever, and others answer
    {hearsItself, echoSentence},                 // our own request comes back first
    {sharesTheLine, masterSentence},             // requests that are not ours, answers to nobody
    {isNeverUnderstood, settingsSentence},       // bytes, hardly any good frame
    {isAnsweredByAnother, otherStationSentence}, // good frames of another station
    {answersLate, lateSentence},                 // good answers after the time-out
    {answersSomethingElse, unfittingSentence},   // good frames of it that answer something else
    {refuses, refusedSentence},                  // exceptions
    {isNoisy, noiseSentence},                    // now and then a bad frame
    {missesRequests, missesSentence},            // answers, and no byte now and then
    {isSilentLikeAll, neverSentence},            // no byte ever
}};

} // namespace

QStringList likelyCauses(const Facts &facts) {
    QStringList sentences;
    if (facts.evidence.exchanges < FewestExchanges)
        return sentences;
    for (const Rule &rule : Rules) {
        if (rule.fits(facts))
            sentences += rule.sentence(facts);
    }
    return sentences;
}

QString lineCause(const Strangers &strangers) {
    return isShared(strangers) ? masterText(strangers) : QString();
}
