#include "panel/health/freshness.h"

#include "panel/file/registers.h"
#include "panel/line/read_frames.h"

#include <algorithm>
#include <utility>

namespace {

bool isSilence(Outcome outcome) {
    return outcome == Outcome::NoReply || outcome == Outcome::Foreign;
}

// The read half of a bit or byte write stays out of the image.
bool isReadForImage(const Exchange &exchange) {
    return exchange.purpose != Purpose::Write &&
           (exchange.function == ReadHolding || exchange.function == ReadInput);
}

bool isOfArea(const Exchange &exchange, int area) {
    if (exchange.area != 0)
        return exchange.area == area;
    return (exchange.function == ReadInput) == (area == InputArea);
}

// Which of the span's registers the exchange covers, counted from its first one; begin and end.
struct Part {
    int begin = 0;
    int end = 0;
    bool isEmpty() const { return begin >= end; }
};

Part partOf(const RegisterSpan &span, const Exchange &exchange) {
    if (!isOfArea(exchange, span.area))
        return {};
    const int first = exchange.firstRegister - wireOffset(span.area) - span.first;
    return {std::max(0, first), std::min(span.count, first + exchange.registers)};
}

} // namespace

Freshness::Freshness(const PanelFile &panel) : m_panel(panel), m_states(panel.variables.size()) {
    for (std::size_t i = 0; i < panel.variables.size(); ++i) {
        const Variable &variable = panel.variables[i];
        m_states[i].span = variable.span();
        m_states[i].isAnew.resize(static_cast<std::size_t>(m_states[i].span.count));
        m_states[i].change.variable = i;
        m_stations[{variable.line, variable.station}].push_back(i);
    }
}

void Freshness::observe(const Exchange &exchange) {
    const std::lock_guard lock(m_mutex);
    if (exchange.outcome == Outcome::DeviceGone) {
        lineGone(exchange.line);
    } else if (exchange.gaveUp && (exchange.stationRests || isSilence(exchange.outcome))) {
        stationSilent(exchange.line, exchange.station);
    } else if (isReadForImage(exchange) && exchange.gaveUp) {
        readFailed(exchange);
    } else if (isReadForImage(exchange) && exchange.outcome == Outcome::Good) {
        readGood(exchange);
    }
    if (m_hasChanges)
        m_wake.notify_one();
}

void Freshness::readGood(const Exchange &exchange) {
    for (const std::size_t i : variablesOf(exchange.line, exchange.station)) {
        State &state = m_states[i];
        const Part part = partOf(state.span, exchange);
        if (part.isEmpty())
            continue;
        std::fill(state.isAnew.begin() + part.begin, state.isAnew.begin() + part.end, true);
        if (std::find(state.isAnew.begin(), state.isAnew.end(), false) == state.isAnew.end())
            bring(&state);
    }
}

void Freshness::readFailed(const Exchange &exchange) {
    for (const std::size_t i : variablesOf(exchange.line, exchange.station)) {
        if (!partOf(m_states[i].span, exchange).isEmpty())
            age(&m_states[i]);
    }
}

void Freshness::stationSilent(std::size_t line, int station) {
    for (const std::size_t i : variablesOf(line, station)) {
        const bool isNever = m_states[i].change.quality == Quality::Never;
        if (isNever || !m_panel.variables[i].once)
            age(&m_states[i]);
    }
}

void Freshness::lineGone(std::size_t line) {
    for (const auto &station : m_stations) {
        if (station.first.first == line)
            stationSilent(line, station.first.second);
    }
}

void Freshness::bring(State *state) {
    std::fill(state->isAnew.begin(), state->isAnew.end(), false);
    state->change.quality = Quality::Good;
    state->change.lastGood = std::chrono::system_clock::now();
    state->change.isBrought = true;
    state->isChanged = m_hasChanges = true;
}

// To hold again, all of it has to come again.
void Freshness::age(State *state) {
    std::fill(state->isAnew.begin(), state->isAnew.end(), false);
    const bool isNever = state->change.quality == Quality::Never;
    if (state->change.quality == Quality::Old || (isNever && state->isMissed))
        return;
    if (isNever) {
        state->isMissed = true;
    } else {
        state->change.quality = Quality::Old;
    }
    state->change.oldSince = std::chrono::system_clock::now();
    state->isChanged = m_hasChanges = true;
}

const Freshness::StationVariables &Freshness::variablesOf(std::size_t line, int station) const {
    static const StationVariables none;
    const auto found = m_stations.find({line, station});
    return found != m_stations.end() ? found->second : none;
}

std::vector<Freshness::Change> Freshness::waitForChanges() {
    std::unique_lock lock(m_mutex);
    m_wake.wait(lock, [this] { return m_hasChanges || m_isClosed; });
    m_hasChanges = false;
    std::vector<Change> changes;
    for (State &state : m_states) {
        if (!std::exchange(state.isChanged, false))
            continue;
        changes.push_back(state.change);
        state.change.isBrought = false;
    }
    return changes;
}

void Freshness::close() {
    const std::lock_guard lock(m_mutex);
    m_isClosed = true;
    m_wake.notify_one();
}

Quality Freshness::quality(std::size_t variable) const {
    const std::lock_guard lock(m_mutex);
    return m_states.at(variable).change.quality;
}

Freshness::Time Freshness::lastGood(std::size_t variable) const {
    const std::lock_guard lock(m_mutex);
    return m_states.at(variable).change.lastGood;
}
