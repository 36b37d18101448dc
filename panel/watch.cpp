#include "watch.h"

#include <algorithm>

QByteArray readValue(const Driver &driver, const Variable &variable) {
    QByteArray data;
    QString hostText;
    driver.GetRegisterData(&hostText, variable.regType, variable.addressText, variable.station,
                           &data, variable.hostCount());
    return data;
}

Watch::Watch(const Driver &driver, const std::vector<Variable> &variables)
    : m_driver(driver), m_variables(variables), m_progress(variables.size()) {
    for (size_t i = 0; i < variables.size(); ++i)
        m_progress[i].registers.resize(static_cast<size_t>(variables[i].span().count));
}

void Watch::registersRead(const RegisterSpan &registers) {
    const std::lock_guard lock(m_mutex);
    for (size_t i = 0; i < m_variables.size(); ++i) {
        if (note(i, registers, LastRead::Good))
            update(m_variables[i], &m_progress[i]);
    }
}

void Watch::registersFailed(const RegisterSpan &registers) {
    const std::lock_guard lock(m_mutex);
    for (size_t i = 0; i < m_variables.size(); ++i)
        note(i, registers, LastRead::Failed);
}

void Watch::stationSilent(int station) {
    const std::lock_guard lock(m_mutex);
    for (size_t i = 0; i < m_variables.size(); ++i) {
        if (m_variables[i].station == station && !m_variables[i].once)
            note(i, m_variables[i].span(), LastRead::Failed);
    }
}

bool Watch::note(size_t variable, const RegisterSpan &registers, LastRead end) {
    const RegisterSpan wanted = m_variables[variable].span();
    const int first = std::max(wanted.first, registers.first);
    const int last = std::min(wanted.first + wanted.count, registers.first + registers.count);
    if (wanted.station != registers.station || wanted.area != registers.area || first >= last)
        return false;
    const auto begin = m_progress[variable].registers.begin();
    std::fill(begin + (first - wanted.first), begin + (last - wanted.first), end);
    return true;
}

bool Watch::isCurrent(const Progress &progress) {
    return std::all_of(progress.registers.begin(), progress.registers.end(),
                       [](LastRead last) { return last == LastRead::Good; });
}

void Watch::update(const Variable &variable, Progress *progress) const {
    const bool isDone = progress->moved && (progress->shownExpected || variable.expected.isEmpty());
    if (isDone || !isCurrent(*progress))
        return;
    const QByteArray value = readValue(m_driver, variable);
    if (!progress->read)
        progress->firstValue = value;
    progress->read = true;
    progress->moved = progress->moved || value != progress->firstValue;
    progress->shownExpected = progress->shownExpected || value == variable.expected;
}

bool Watch::wasRead(size_t variable) const {
    const std::lock_guard lock(m_mutex);
    return m_progress.at(variable).read;
}

bool Watch::isCurrent(size_t variable) const {
    const std::lock_guard lock(m_mutex);
    return isCurrent(m_progress.at(variable));
}

bool Watch::hasMoved(size_t variable) const {
    const std::lock_guard lock(m_mutex);
    return m_progress.at(variable).moved;
}

bool Watch::hasShownExpected(size_t variable) const {
    const std::lock_guard lock(m_mutex);
    return m_progress.at(variable).shownExpected;
}
