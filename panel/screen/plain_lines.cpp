#include "panel/screen/plain_lines.h"

#include "panel/health/exchange_text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <system_error>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace {

using std::chrono::milliseconds;

constexpr milliseconds Glance{500}; // between two looks at a reader from whom nothing is wanted
constexpr milliseconds Patience{1000};

bool isReady(int descriptor, short events, milliseconds wait) {
    pollfd poll{descriptor, events, 0};
    return ::poll(&poll, 1, static_cast<int>(wait.count())) > 0;
}

} // namespace

QByteArray plainLine(const Variable &variable, const ValueChange &change, Stamp stamp) {
    if (change.quality == Quality::Never)
        return {};
    const QString time = stamp == Stamp::Utc ? timeText(change.at) + ' ' : QString();
    const QString mark = change.quality == Quality::Old ? "? " : "";
    return (time + variable.name + " = " + mark + change.text + '\n').toUtf8();
}

PlainLines::PlainLines(const PanelFile &panel, int descriptor, Stamp stamp)
    : m_panel(panel), m_descriptor(descriptor), m_stamp(stamp), m_thread([this] { run(); }) {}

void PlainLines::observe(const ValueChange &change) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_queue.size() < Capacity && m_latest.empty()) {
            m_queue.push_back(change);
        } else {
            const bool isNew = m_latest.insert_or_assign(change.variable, change).second;
            m_dropped += isNew ? 0 : 1;
        }
    }
    m_wake.notify_one();
}

void PlainLines::close() {
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
    }
    m_wake.notify_one();
    if (m_thread.joinable())
        m_thread.join();
}

bool PlainLines::isClosed() const {
    const std::lock_guard lock(m_mutex);
    return m_isClosed;
}

QString PlainLines::error() const {
    const std::lock_guard lock(m_mutex);
    return m_error;
}

quint64 PlainLines::dropped() const {
    const std::lock_guard lock(m_mutex);
    return m_dropped;
}

void PlainLines::run() {
    while (!isOver()) {
        QByteArray text;
        for (const ValueChange &change : takeAll())
            text += plainLine(m_panel.variables[change.variable], change, m_stamp);
        if (!text.isEmpty()) {
            write(text);
        } else if (isReaderGone()) {
            fail(EPIPE);
        }
    }
}

PlainLines::Queue PlainLines::takeAll() {
    std::unique_lock lock(m_mutex);
    m_wake.wait_for(lock, Glance, [this] { return m_isEnding || !m_queue.empty(); });
    Queue queue = std::exchange(m_queue, {});
    for (auto &latest : std::exchange(m_latest, {}))
        queue.push_back(std::move(latest.second));
    return queue;
}

// A pipe that can be written to takes PIPE_BUF bytes without blocking.
void PlainLines::write(const QByteArray &text) {
    for (int done = 0; done < text.size() && waitUntilWritable();) {
        const int size = std::min(text.size() - done, PIPE_BUF);
        const auto written =
            ::write(m_descriptor, text.constData() + done, static_cast<std::size_t>(size));
        if (written >= 0) {
            done += static_cast<int>(written);
        } else if (errno != EINTR && errno != EAGAIN) {
            return fail(errno);
        }
    }
}

bool PlainLines::waitUntilWritable() const {
    const auto isEnding = [this] {
        const std::lock_guard lock(m_mutex);
        return m_isEnding;
    };
    Clock::time_point wanted = Clock::now() + Patience;
    while (!isReady(m_descriptor, POLLOUT, milliseconds(100))) {
        if (!isEnding())
            wanted = Clock::now() + Patience;
        if (Clock::now() >= wanted)
            return false;
    }
    return true;
}

// Errors are reported without being asked for.
bool PlainLines::isReaderGone() const {
    return isReady(m_descriptor, 0, milliseconds(0));
}

bool PlainLines::isOver() const {
    const std::lock_guard lock(m_mutex);
    const bool isDone = m_isEnding && m_queue.empty();
    return isDone || m_isClosed || !m_error.isEmpty();
}

void PlainLines::fail(int error) {
    const std::lock_guard lock(m_mutex);
    if (error == EPIPE) {
        m_isClosed = true;
    } else {
        const std::string reason = std::generic_category().message(error);
        m_error = "standard output: " + QString::fromStdString(reason);
    }
}
