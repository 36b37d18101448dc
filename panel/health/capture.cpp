#include "panel/health/capture.h"

#include "panel/health/frames.h"

namespace {

using SystemTime = std::chrono::system_clock::time_point;
using SystemDuration = std::chrono::system_clock::duration;

// The bytes heard before the request went out, or after.
struct Heard {
    QByteArray bytes;
    std::vector<SystemTime> times; // of each byte
};

Heard heardOf(const Exchange &exchange, bool afterRequest) {
    Heard heard;
    for (const ReceivedBytes &piece : exchange.received) {
        if ((piece.at >= exchange.began) != afterRequest)
            continue;
        const auto since = std::chrono::duration_cast<SystemDuration>(piece.at - exchange.began);
        heard.bytes += piece.bytes;
        heard.times.resize(static_cast<std::size_t>(heard.bytes.size()), exchange.sentAt + since);
    }
    return heard;
}

void append(const Heard &heard, std::vector<CapturedPacket> *packets) {
    for (const Frame &frame : cutFrames(heard.bytes)) {
        const SystemTime at = heard.times.at(static_cast<std::size_t>(frame.offset));
        packets->push_back({at, frame.bytes});
    }
}

} // namespace

std::vector<CapturedPacket> packetsOf(const Exchange &exchange) {
    std::vector<CapturedPacket> packets;
    append(heardOf(exchange, false), &packets);
    if (!exchange.request.isEmpty() && exchange.outcome != Outcome::DeviceGone)
        packets.push_back({exchange.sentAt, exchange.request});
    append(heardOf(exchange, true), &packets);
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
