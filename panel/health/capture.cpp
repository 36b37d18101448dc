#include "panel/health/capture.h"

#include "panel/health/frames.h"
#include "panel/health/heard.h"

namespace {

using SystemDuration = std::chrono::system_clock::duration;

void append(const Heard &heard, const Exchange &exchange, std::vector<CapturedPacket> *packets) {
    for (const Frame &frame : cutFrames(heard.bytes)) {
        const auto since = heard.times.at(static_cast<std::size_t>(frame.offset)) - exchange.began;
        packets->push_back(
            {exchange.sentAt + std::chrono::duration_cast<SystemDuration>(since), frame.bytes});
    }
}

} // namespace

std::vector<CapturedPacket> packetsOf(const Exchange &exchange) {
    std::vector<CapturedPacket> packets;
    append(heardBefore(exchange), exchange, &packets);
    if (!exchange.request.isEmpty() && exchange.outcome != Outcome::DeviceGone)
        packets.push_back({exchange.sentAt, exchange.request});
    append(heardAfter(exchange), exchange, &packets);
    return packets;
}

QString Capture::open(const QString &path) {
    QString error = m_writer.open(path);
    if (!error.isEmpty())
        return error;
    const auto write = [this](const Exchange &exchange) {
        for (const CapturedPacket &packet : packetsOf(exchange)) {
            QString failure = m_writer.write(packet);
            if (!failure.isEmpty())
                return failure;
        }
        return QString();
    };
    m_queue.emplace(write, [this] { return m_writer.flush(); });
    return {};
}

void Capture::close() {
    m_writer.hurry();
    if (m_queue)
        m_queue->close();
}
