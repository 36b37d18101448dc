#include "panel/feed/value_log.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::chrono::milliseconds Retry{1000}; // after the disk took nothing
constexpr std::chrono::hours Idle{1};            // nothing to wait for but changes

} // namespace

ValueLog::ValueLog(const PanelFile &panel, std::optional<std::chrono::seconds> every)
    : m_panel(panel), m_every(every), m_values(panel.variables.size()) {
    for (std::size_t i = 0; i < m_values.size(); ++i)
        m_values[i].variable = i;
}

QString ValueLog::open(const QString &path) {
    const std::optional<LogFormat> format = logFormatOf(path);
    if (!format)
        return path + ": a log is a .csv or a .jsonl file";
    m_format = *format;
    QString error = m_file.open(path, m_format);
    if (!error.isEmpty())
        return error;
    if (m_every)
        m_lastTick = Clock::now().time_since_epoch() / *m_every;
    m_thread = std::thread([this] { run(); });
    return {};
}

void ValueLog::observe(const ValueChange &change) {
    const std::lock_guard lock(m_mutex);
    if (m_every) {
        m_values.at(change.variable) = change;
        return;
    }
    push(change);
    m_wake.notify_one();
}

void ValueLog::close() {
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
    }
    m_wake.notify_one();
    if (m_thread.joinable())
        m_thread.join();
}

QString ValueLog::error() const {
    const std::lock_guard lock(m_mutex);
    return m_error;
}

quint64 ValueLog::dropped() const {
    const std::lock_guard lock(m_mutex);
    return m_dropped;
}

void ValueLog::run() {
    bool isLast = false;
    while (!isLast) {
        isLast = waitForWork();
        write();
    }
    const std::lock_guard lock(m_mutex);
    m_dropped += m_inText;
}

bool ValueLog::waitForWork() {
    std::unique_lock lock(m_mutex);
    m_wake.wait_for(lock, longestWait(), [this] {
        // Rows that come while the disk is full wait with the others.
        return m_isEnding || (!m_rows.empty() && m_inText == 0);
    });
    if (m_every)
        takeTick();
    return m_isEnding;
}

std::chrono::milliseconds ValueLog::longestWait() const {
    std::chrono::milliseconds wait = m_inText > 0 ? Retry : std::chrono::milliseconds(Idle);
    if (m_every) {
        const auto sinceTick = Clock::now().time_since_epoch() % *m_every;
        wait = std::min(wait, std::chrono::ceil<std::chrono::milliseconds>(*m_every - sinceTick));
    }
    return wait;
}

// All values at a whole multiple, once, also when the clock was set back.
void ValueLog::takeTick() {
    const qint64 tick = Clock::now().time_since_epoch() / *m_every;
    if (std::exchange(m_lastTick, tick) == tick)
        return;
    for (ValueChange value : m_values) {
        value.at = Clock::time_point(tick * *m_every);
        if (!m_panel.variables[value.variable].isBroadcast())
            push(value);
    }
}

void ValueLog::push(const ValueChange &row) {
    if (m_rows.size() + m_inText < Capacity) {
        m_rows.push_back(row);
    } else {
        ++m_dropped;
    }
}

void ValueLog::write() {
    Rows rows;
    {
        const std::lock_guard lock(m_mutex);
        rows.swap(m_rows);
        m_inText += rows.size();
    }
    for (const ValueChange &row : rows)
        m_text += logRow(m_format, m_panel, row);
    if (m_text.isEmpty())
        return;
    const QString error = m_file.append(m_text);
    const std::lock_guard lock(m_mutex);
    if (m_error.isEmpty())
        m_error = error;
    if (error.isEmpty()) {
        m_text.clear();
        m_inText = 0;
    }
}
