#include "panel/broker/publisher.h"

#include "panel/broker/messages.h"

#include <algorithm>
#include <utility>

namespace {

// Unacknowledged at a time. What is missed comes behind few, so that a change does not wait long.
constexpr std::size_t MostPresents = 500;
constexpr std::size_t MostMissed = 50;
// An answer that takes longer is not counted on.
constexpr std::chrono::seconds Patience(1);

} // namespace

Publisher::Publisher(const PanelFile &panel, Spool *spool, Send send)
    : m_panel(panel), m_spool(spool), m_send(std::move(send)),
      m_interval(std::chrono::milliseconds(panel.broker->minIntervalMs)),
      m_prefix(panel.broker->prefix.toUtf8()), m_presents(panel.variables.size()) {}

void Publisher::take(const ValueChange &change, Clock::time_point now) {
    m_now = now;
    Present &present = m_presents.at(change.variable);
    if (now >= present.nextAt) {
        present.nextAt = now + m_interval;
        publish(change.variable, change);
        return;
    }
    if (!present.waiting)
        m_waiting.emplace(present.nextAt, change.variable);
    present.waiting = change;
}

void Publisher::publish(std::size_t variable, const ValueChange &change) {
    Present &present = m_presents.at(variable);
    superseded(present);
    present.payload = valuePayload(m_panel.variables.at(variable), change);
    present.number = ++m_number;
    present.row = 0;
    if (canSend() && sendPresent(variable))
        return;
    secureAll(); // what is older comes before it
    present.row = keep(variable, present.payload);
    markUnsent(variable);
}

// Without a spool, a change that never left is gone with the next.
void Publisher::superseded(const Present &present) {
    if (present.isUnsent && present.row == 0 && present.number > present.acknowledged)
        ++m_lost;
}

bool Publisher::canSend() const {
    return m_isConnected && !m_isStalled && m_presentsUnderWay < MostPresents;
}

bool Publisher::sendPresent(std::size_t variable) {
    Present &present = m_presents.at(variable);
    const auto id =
        m_send(m_prefix + "/value/" + variableTopic(m_panel, variable), present.payload, true);
    if (!id)
        return false;
    present.isUnsent = false;
    ++m_presentsUnderWay;
    m_underWay.push_back({*id, present.row, variable, present.number, present.payload, m_now});
    if (present.row != 0)
        m_rowsUnderWay.insert(present.row);
    return true;
}

void Publisher::markUnsent(std::size_t variable) {
    Present &present = m_presents.at(variable);
    if (!present.isUnsent)
        m_unsent.push_back(variable);
    present.isUnsent = true;
}

qint64 Publisher::keep(std::size_t variable, const QByteArray &payload) {
    return m_spool ? m_spool->add(variableTopic(m_panel, variable), payload) : 0;
}

void Publisher::connected() {
    m_isConnected = true;
    m_isStalled = false;
    m_lastMissed = 0;
    // A broker that was started anew may know nothing any more.
    for (std::size_t variable = 0; variable < m_presents.size(); ++variable) {
        if (m_presents[variable].number > 0)
            markUnsent(variable);
    }
}

void Publisher::acknowledged(int id) {
    const auto found = std::find_if(m_underWay.begin(), m_underWay.end(),
                                    [id](const UnderWay &message) { return message.id == id; });
    if (found == m_underWay.end())
        return;
    if (found->row != 0) {
        m_spool->remove(found->row);
        m_rowsUnderWay.erase(found->row);
    }
    if (found->variable) {
        Present &present = m_presents.at(*found->variable);
        present.acknowledged = std::max(present.acknowledged, found->number);
        if (present.number == found->number)
            present.row = 0;
        --m_presentsUnderWay;
    }
    ++m_published;
    m_underWay.erase(found);
}

void Publisher::lost() {
    m_isConnected = false;
    secureAll();
    for (const UnderWay &message : m_underWay) {
        if (message.variable)
            lost(message);
    }
    m_underWay.clear();
    m_rowsUnderWay.clear();
    m_presentsUnderWay = 0;
}

void Publisher::end() {
    lost();
    if (m_spool)
        return;
    for (const Present &present : m_presents)
        m_lost += present.number > present.acknowledged ? 1 : 0;
}

// The newest is sent again. One that is older is gone where no spool has it.
void Publisher::lost(const UnderWay &message) {
    const Present &present = m_presents.at(*message.variable);
    if (present.number == message.number) {
        markUnsent(*message.variable);
    } else if (!m_spool && message.number > present.acknowledged) {
        ++m_lost;
    }
}

void Publisher::secureAll() {
    for (UnderWay &message : m_underWay)
        secure(&message);
}

void Publisher::secure(UnderWay *message) {
    if (!m_spool || message->row != 0 || !message->variable)
        return;
    Present &present = m_presents.at(*message->variable);
    if (message->number <= present.acknowledged)
        return;
    message->row = keep(*message->variable, message->payload);
    if (message->row != 0)
        m_rowsUnderWay.insert(message->row);
    if (present.number == message->number)
        present.row = message->row;
}

void Publisher::pump(Clock::time_point now) {
    m_now = now;
    noteStall(now);
    sendDue(now);
    sendPresents();
    sendMissed();
}

void Publisher::noteStall(Clock::time_point now) {
    if (m_underWay.empty()) {
        m_isStalled = false;
    } else if (!m_isStalled && now - m_underWay.front().since >= Patience) {
        m_isStalled = true;
        secureAll();
    }
}

void Publisher::sendDue(Clock::time_point until) {
    while (!m_waiting.empty() && m_waiting.begin()->first <= until) {
        const std::size_t variable = m_waiting.begin()->second;
        m_waiting.erase(m_waiting.begin());
        Present &present = m_presents.at(variable);
        present.nextAt = m_now + m_interval;
        publish(variable, *std::exchange(present.waiting, std::nullopt));
    }
}

void Publisher::sendPresents() {
    while (canSend() && !m_unsent.empty()) {
        const std::size_t variable = m_unsent.front();
        // A newer change of it may have been sent meanwhile.
        if (m_presents.at(variable).isUnsent && !sendPresent(variable))
            return;
        m_unsent.pop_front();
    }
}

void Publisher::sendMissed() {
    const std::size_t underWay = m_underWay.size() - m_presentsUnderWay;
    if (!m_spool || m_spool->count() == 0 || !canSend() || !m_unsent.empty() ||
        underWay >= MostMissed)
        return;
    for (const Spool::Row &row : m_spool->next(m_lastMissed, int(MostMissed - underWay))) {
        if (m_rowsUnderWay.count(row.id) == 0) {
            const auto id = m_send(m_prefix + "/missed/" + row.topic, row.payload, false);
            if (!id)
                return;
            m_underWay.push_back({*id, row.id, std::nullopt, 0, {}, m_now});
            m_rowsUnderWay.insert(row.id);
        }
        m_lastMissed = row.id;
    }
}

std::optional<Publisher::Clock::time_point> Publisher::nextDue() const {
    std::optional<Clock::time_point> due;
    if (!m_waiting.empty())
        due = m_waiting.begin()->first;
    if (!m_underWay.empty() && !m_isStalled) {
        const auto stall = m_underWay.front().since + Patience;
        due = due ? std::min(*due, stall) : stall;
    }
    return due;
}

void Publisher::hurry() {
    sendDue(Clock::time_point::max());
}
