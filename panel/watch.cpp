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
        m_progress[i].covered.resize(static_cast<size_t>(variables[i].span().count));
}

void Watch::registersRead(const RegisterSpan &registers) {
    const std::lock_guard lock(m_mutex);
    for (size_t i = 0; i < m_variables.size(); ++i) {
        const RegisterSpan wanted = m_variables[i].span();
        const bool touched = wanted.station == registers.station && wanted.area == registers.area &&
                             wanted.first < registers.first + registers.count &&
                             registers.first < wanted.first + wanted.count;
        if (!touched)
            continue;
        cover(wanted, registers, &m_progress[i]);
        update(m_variables[i], &m_progress[i]);
    }
}

void Watch::cover(const RegisterSpan &wanted, const RegisterSpan &brought, Progress *progress) {
    for (int i = 0; i < wanted.count && !progress->read; ++i) {
        const int position = wanted.first + i;
        if (position >= brought.first && position < brought.first + brought.count)
            progress->covered[static_cast<size_t>(i)] = true;
    }
}

void Watch::update(const Variable &variable, Progress *progress) const {
    const auto &covered = progress->covered;
    if (progress->moved || !std::all_of(covered.begin(), covered.end(), [](bool b) { return b; }))
        return;
    const QByteArray value = readValue(m_driver, variable);
    if (!progress->read)
        progress->firstValue = value;
    progress->read = true;
    progress->moved = value != progress->firstValue;
}

bool Watch::wasRead(size_t variable) const {
    const std::lock_guard lock(m_mutex);
    return m_progress.at(variable).read;
}

bool Watch::hasMoved(size_t variable) const {
    const std::lock_guard lock(m_mutex);
    return m_progress.at(variable).moved;
}
