#include "panel/line/station_care.h"

#include "panel/line/read_frames.h"
#include "panel/line/span_text.h"

#include <algorithm>
#include <vector>

namespace {

using namespace std::chrono_literals;
using std::chrono::microseconds;

constexpr int BadInARowToRest = 3;
constexpr int LongTryEvery = 4; // so often a try waits as long as a poll would
constexpr int LongTryAt = 1;
constexpr auto FirstRest = 500ms;
constexpr auto RestOfAll = 1s; // while nobody answers there is nobody to be delayed
constexpr auto StrangersTime = 20ms;
constexpr auto PatienceForStrangers = 2s; // of a pass
constexpr int StrangersCharacters = 5;
constexpr auto KnownMargin = 20ms;
constexpr int KnownFactor = 3;
constexpr LineTime MostOwed = 2s;
constexpr LineTime MostForLoss = 3s; // of earning

bool isSilence(Outcome outcome) {
    return outcome == Outcome::NoReply || outcome == Outcome::Foreign;
}

} // namespace

StationCare::StationCare(const LineSettings &settings, const std::set<int> &polled,
                         Clock::time_point now)
    : m_settings(settings), m_balance(costOf(fullTimeout())), m_earnedUntil(now) {
    const bool mayRest = settings.restAfterGiveUpSeconds > 0;
    for (const int number : polled) {
        Station &station = m_stations[number];
        station.isPolled = true;
        station.state = mayRest ? State::Stranger : State::Answering;
        station.lastTry = station.nextTry = station.since = now;
    }
}

StationCare::Change StationCare::observe(const Exchange &exchange, Clock::time_point now) {
    if (exchange.station == 0 || exchange.outcome == Outcome::DeviceGone)
        return Change::None;
    earn(now);
    Station newcomer;
    newcomer.since = now;
    Station &station = m_stations.try_emplace(exchange.station, newcomer).first->second;
    m_wasTry = station.state != State::Answering;
    if (exchange.outcome == Outcome::Good || isFinalRefusal(exchange))
        return answered(exchange, &station, now);
    return failed(exchange, &station, now);
}

StationCare::Change StationCare::answered(const Exchange &exchange, Station *station,
                                          Clock::time_point now) {
    const bool returns = station->state != State::Answering;
    station->state = State::Answering;
    station->slowest = std::max(station->slowest, exchange.replyTime);
    m_slowest = std::max(m_slowest, exchange.replyTime);
    if (returns)
        m_slowestFirst = std::max(m_slowestFirst, exchange.replyTime);
    station->lost = LineTime(0);
    station->badInARow = 0;
    station->tries = 0;
    station->waited = microseconds(0);
    station->since = now;
    return returns ? Change::Returns : Change::None;
}

StationCare::Change StationCare::failed(const Exchange &exchange, Station *station,
                                        Clock::time_point now) {
    station->isSilent = isSilence(exchange.outcome);
    if (station->state != State::Answering) {
        if (!exchange.gaveUp)
            return Change::None;
        const bool wasStranger = station->state == State::Stranger;
        failedTry(exchange, station, now);
        return wasStranger ? Change::Rests : Change::None;
    }
    station->lost += exchange.duration;
    if (!exchange.gaveUp || m_settings.restAfterGiveUpSeconds == 0)
        return Change::None;
    station->badInARow = station->isSilent ? BadInARowToRest : station->badInARow + 1;
    if (station->badInARow < BadInARowToRest)
        return Change::None;
    // No more than what is earned before it may well be back.
    charge(std::min(station->lost, std::chrono::duration_cast<LineTime>(m_settings.deadShare *
                                                                        LineTime(MostForLoss))));
    station->lost = LineTime(0);
    station->rest = firstRest();
    rest(station, now);
    return Change::Rests;
}

void StationCare::failedTry(const Exchange &exchange, Station *station, Clock::time_point now) {
    // The first tries are charged in any case: they delay whoever is asked after them.
    if (isAnyoneAnswering() || station->tries == 0)
        charge(exchange.duration);
    station->waited = std::max(station->waited, responseTimeout(*station));
    m_hasTriedLong = m_hasTriedLong || station->waited == fullTimeout();
    ++station->tries;
    const Clock::duration longest = std::chrono::seconds(m_settings.restAfterGiveUpSeconds);
    const Clock::duration doubled = station->rest * 2;
    if (station->tries == 1 || station->rest == Clock::duration(0)) {
        station->rest = std::min(firstRest(), longest);
    } else if (doubled <= longest) {
        station->rest = doubled;
    }
    rest(station, now);
}

// Before it, an answer to the last request could pass for that to the try.
StationCare::Clock::duration StationCare::firstRest() const {
    return std::max<Clock::duration>(
        FirstRest, fullTimeout() + std::chrono::milliseconds(m_settings.quietAfterFailureMs));
}

void StationCare::rest(Station *station, Clock::time_point now) const {
    station->state = State::Resting;
    station->lastTry = now;
    station->nextTry = now + station->rest;
}

void StationCare::startAfresh(Clock::time_point now) {
    m_earnedUntil = now;
    for (auto &[number, station] : m_stations) {
        station.nextTry = now;
        station.rest = firstRest();
    }
}

void StationCare::trust(int station) {
    m_stations[station].state = State::Answering;
}

bool StationCare::isAnswering(int station) const {
    const auto found = m_stations.find(station);
    return found == m_stations.end() || found->second.state == State::Answering;
}

bool StationCare::isResting(int station) const {
    const auto found = m_stations.find(station);
    return found != m_stations.end() && found->second.state == State::Resting;
}

bool StationCare::isAnyoneAnswering() const {
    return std::any_of(m_stations.begin(), m_stations.end(), [](const auto &entry) {
        return entry.second.isPolled && entry.second.state == State::Answering;
    });
}

// The share of the time that has gone by. More than one try's worth is not saved up.
void StationCare::earn(Clock::time_point now) {
    m_balance = std::min(m_balance + earned(now), costOf(fullTimeout()));
    m_earnedUntil = now;
}

LineTime StationCare::earned(Clock::time_point now) const {
    return std::chrono::duration_cast<LineTime>(m_settings.deadShare *
                                                LineTime(now - m_earnedUntil));
}

void StationCare::charge(LineTime time) {
    m_balance = std::max(m_balance - time, -MostOwed);
}

// A station's own reply times say how long it is worth waiting. One that has never answered gets as
// long as the others need. Now and then it is as long as a poll waits: it may have become slower.
microseconds StationCare::responseTimeout(const Station &station) const {
    const microseconds full = fullTimeout();
    if (isAsSlowAsOthers(station))
        return timeOfSlowStations();
    const bool delaysNobody = m_stations.size() < 2 || (!isAnyoneAnswering() && station.tries > 0);
    if (delaysNobody || station.tries % LongTryEvery == LongTryAt)
        return full;
    const microseconds strangersTime =
        StrangersTime + timeOfCharacters(m_settings, StrangersCharacters);
    const microseconds wanted = station.slowest.count() > 0
                                    ? KnownFactor * station.slowest + microseconds(KnownMargin)
                                    : std::max(strangersTime, KnownFactor * m_slowest);
    return std::min(full, wanted);
}

LineTime StationCare::costOf(microseconds responseTimeout) const {
    return responseTimeout + frameTime(m_settings, ReadRequestBytes) + silentInterval(m_settings);
}

LineTime StationCare::expectedCost(const Station &station) const {
    return costOf(responseTimeout(station));
}

StationCare::Clock::time_point StationCare::dueAt(const Station &station) const {
    return isAnyoneAnswering() ? station.nextTry
                               : std::min(station.nextTry, station.lastTry + RestOfAll);
}

// Strangers first, then who has waited longest.
bool StationCare::isBefore(const Station &a, const Station &b) const {
    if (a.state != b.state)
        return a.state == State::Stranger;
    return dueAt(a) < dueAt(b);
}

// It has never answered, and no wait was long enough for the slowest of the others. What they need
// for their first answer counts: later ones may be late because the panel itself was busy.
bool StationCare::isAsSlowAsOthers(const Station &station) const {
    return station.state == State::Resting && station.slowest.count() == 0 &&
           station.waited < timeOfSlowStations();
}

microseconds StationCare::timeOfSlowStations() const {
    return std::min(fullTimeout(), KnownFactor * m_slowestFirst);
}

// It has never answered, and was never waited for as long as a poll would.
bool StationCare::deservesTry(const Station &station) const {
    return station.isPolled && station.state == State::Resting && station.slowest.count() == 0 &&
           station.waited < fullTimeout();
}

microseconds StationCare::fullTimeout() const {
    return std::chrono::milliseconds(m_settings.responseTimeoutMs);
}

// The first long try shows whether the stations of this line are slow ones.
bool StationCare::mayTry(const Station &station, Clock::time_point now) const {
    return station.state == State::Stranger || isAsSlowAsOthers(station) ||
           (!m_hasTriedLong && station.slowest.count() == 0) ||
           m_balance + earned(now) >= expectedCost(station);
}

// Between two tries somebody who answers has a turn. A stranger's first try waits for no budget:
// most likely it answers, and then it costs nobody anything.
std::optional<StationCare::Try> StationCare::dueTry(Clock::time_point now) const {
    const bool isFree = !isAnyoneAnswering();
    if (m_wasTry && !isFree)
        return {};
    const std::pair<const int, Station> *first = nullptr;
    for (const auto &entry : m_stations) {
        const Station &station = entry.second;
        if (station.state != State::Answering && dueAt(station) <= now &&
            (first == nullptr || isBefore(station, first->second)))
            first = &entry;
    }
    if (first == nullptr)
        return {};
    const Station &station = first->second;
    if (!isFree && !mayTry(station, now))
        return {};
    return Try{first->first, responseTimeout(station)};
}

bool StationCare::hasTriedEnough(Clock::time_point passBegan, Clock::time_point now) const {
    const bool isPatient = now - passBegan < PatienceForStrangers;
    return std::none_of(m_stations.begin(), m_stations.end(), [&](const auto &entry) {
        const Station &station = entry.second;
        return lacksTry(station, passBegan) || (isPatient && deservesTry(station));
    });
}

bool StationCare::lacksTry(const Station &station, Clock::time_point passBegan) const {
    const bool wasTried = station.lastTry >= passBegan;
    return station.state == State::Stranger ||
           (station.state == State::Resting && station.isPolled && !isAnyoneAnswering() &&
            !wasTried);
}

// The budget is spent in the order of the tries; each waits until those before it are earned.
std::map<int, QString> StationCare::texts(Clock::time_point now) const {
    std::vector<std::pair<int, const Station *>> resting;
    for (const auto &[number, station] : m_stations) {
        if (station.state == State::Resting)
            resting.emplace_back(number, &station);
    }
    std::sort(resting.begin(), resting.end(),
              [this](const auto &a, const auto &b) { return isBefore(*a.second, *b.second); });
    const bool isFree = !isAnyoneAnswering();
    LineTime missing = -(m_balance + earned(now));
    std::map<int, QString> texts;
    for (const auto &[number, station] : resting) {
        missing += expectedCost(*station);
        const Clock::duration untilEarned =
            isFree ? Clock::duration(0)
                   : std::chrono::duration_cast<Clock::duration>(missing / m_settings.deadShare);
        const Clock::duration wait =
            std::max({dueAt(*station) - now, untilEarned, Clock::duration(0)});
        texts[number] = QString("%1 for %2, next try in %3")
                            .arg(station->isSilent ? "no answer" : "no good answer",
                                 spanText(std::chrono::duration_cast<std::chrono::seconds>(
                                     now - station->since)),
                                 spanText(std::chrono::ceil<std::chrono::seconds>(wait)));
    }
    return texts;
}
