#include "simulator.h"

#include "words.h"

#include <QTextStream>

#include <algorithm>
#include <array>

#include <poll.h>

namespace {

constexpr auto Idle = std::chrono::milliseconds(500);
constexpr auto NextTry = std::chrono::seconds(1);

timespec timeUntil(TimePoint due, TimePoint now) {
    const Nanoseconds left = std::max(Nanoseconds(0), due - now);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((left - seconds).count())};
}

} // namespace

Simulator::Simulator(const Options &options, Port &port)
    : m_port(port), m_bus(options, port), m_controls{m_bus, port} {}

void Simulator::serve(int stopDescriptor) {
    enum Source { Stop, Line, Input, Closing };
    while (m_controls.isWanted) {
        const TimePoint now = Clock::now();
        std::array<pollfd, 4> sources{{{stopDescriptor, POLLIN, 0},
                                       {m_port.descriptor(), POLLIN, 0},
                                       {m_commands.descriptor(now), POLLIN, 0},
                                       {m_port.terminal().watchDescriptor(), POLLIN, 0}}};
        const timespec patience = timeUntil(nextDue(now), now);
        const int ready = ::ppoll(sources.data(), sources.size(), &patience, nullptr);
        const TimePoint woken = Clock::now();
        if (sources[Stop].revents != 0)
            return;
        if (sources[Line].revents != 0)
            takeBytes(woken);
        m_bus.advance(woken);
        if (sources[Closing].revents != 0)
            m_port.terminal().noteClosing();
        if (sources[Input].revents != 0)
            takeCommands(woken);
        if (!m_port.isOpen()) {
            plugIn(woken);
        } else if (ready == 0 && !m_bus.nextDue()) {
            m_port.terminal().makeReady();
        }
    }
}

TimePoint Simulator::nextDue(TimePoint now) const {
    TimePoint due = now + Idle;
    if (!m_port.isOpen())
        due = std::min(due, m_controls.backAt);
    return std::min(due, m_bus.nextDue().value_or(due));
}

void Simulator::takeBytes(TimePoint now) {
    m_bus.takeBytes(now);
    if (m_port.isOpen())
        return;
    complain(m_port.path() + ": gone; it is opened again when it is back");
    m_bus.clear();
    m_controls.backAt = now + NextTry;
}

void Simulator::plugIn(TimePoint now) {
    if (now < m_controls.backAt)
        return;
    const QString error = m_port.open();
    if (error.isEmpty()) {
        QTextStream(stdout) << "back: " << m_port.path() << '\n';
    } else {
        if (error != m_obstacle)
            complain(error);
        m_controls.backAt = now + NextTry;
    }
    m_obstacle = error;
}

void Simulator::takeCommands(TimePoint now) {
    for (const QString &line : m_commands.read(now)) {
        const CommandResult result = runCommand(line, now, &m_controls);
        if (!result.error.isEmpty()) {
            complain(result.error);
        } else if (!line.isEmpty()) {
            QTextStream(stdout) << result.output << "ok: " << line << '\n';
        }
    }
}
