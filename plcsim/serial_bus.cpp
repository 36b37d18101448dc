#include "serial_bus.h"

#include <array>

#include <poll.h>

namespace {

constexpr int Broadcast = 0;
// A part of a request with nothing behind it for this long is no request.
constexpr int SilenceMs = 20;
constexpr int IdleMs = 500;

} // namespace

SerialBus::SerialBus(const Options &options, const PseudoTerminal &line)
    : m_options(options), m_line(line) {
    for (int number = 1; number <= options.stations; ++number)
        m_outlets.try_emplace(number, number);
}

QString SerialBus::open() {
    for (auto &[number, outlet] : m_outlets) {
        QString error = outlet.station.open();
        if (!error.isEmpty())
            return error;
    }
    return {};
}

void SerialBus::serve(int stopDescriptor) {
    std::array<pollfd, 2> sources{{{m_line.descriptor(), POLLIN, 0}, {stopDescriptor, POLLIN, 0}}};
    for (;;) {
        const int patience = m_cutter.hasPart() ? SilenceMs : IdleMs;
        const int ready = ::poll(sources.data(), sources.size(), patience);
        if (sources[1].revents != 0)
            return;
        if (ready == 0) {
            m_cutter.clear();
            m_line.makeReady();
        } else if (sources[0].revents != 0) {
            takeBytes(stopDescriptor);
        }
    }
}

void SerialBus::takeBytes(int stopDescriptor) {
    m_cutter.append(m_line.read());
    for (QByteArray request = m_cutter.next(); !request.isEmpty(); request = m_cutter.next())
        serveRequest(request, stopDescriptor);
}

void SerialBus::serveRequest(const QByteArray &request, int stopDescriptor) {
    const int target = static_cast<unsigned char>(request[0]);
    for (auto &[number, outlet] : m_outlets) {
        if ((target != Broadcast && target != number) || isSilent(number, outlet))
            continue;
        ++outlet.requests;
        const QByteArray answer = outlet.station.answer(request);
        if (answer.isEmpty())
            continue;
        keepWaiting(number, stopDescriptor);
        m_line.write(answer);
    }
}

bool SerialBus::isSilent(int number, const Outlet &outlet) const {
    const auto limit = m_options.silentAfter.find(number);
    return m_options.silent.count(number) != 0 ||
           (limit != m_options.silentAfter.end() && outlet.requests >= limit->second);
}

void SerialBus::keepWaiting(int number, int stopDescriptor) const {
    const auto delay = m_options.lateByMs.find(number);
    if (delay == m_options.lateByMs.end())
        return;
    pollfd stop{stopDescriptor, POLLIN, 0}; // stays readable, so serve() sees it too
    ::poll(&stop, 1, delay->second);
}
