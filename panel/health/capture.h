// Writes what is sent and heard on a line into a capture file, partial frames and foreign bytes
// too.
#pragma once

#include "panel/health/capture_file.h"
#include "panel/health/exchange_queue.h"

#include <optional>
#include <vector>

// The packets of an exchange, in the order of their times: the request, every frame heard and every
// stretch of bytes that is none.
std::vector<CapturedPacket> packetsOf(const Exchange &exchange);

class Capture {
public:
    Capture() = default;
    ~Capture() { close(); }
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;

    // One line on failure.
    QString open(const QString &path);
    // An ExchangeListener, once it is open.
    void observe(const Exchange &exchange) { m_queue->push(exchange); }
    // Writes what waits; gives up on a reader that takes nothing for a second.
    void close();
    // Exchanges that the disk could not take, final once closed, and its first failure.
    quint64 dropped() const { return m_queue ? m_queue->dropped() : 0; }
    QString error() const { return m_queue ? m_queue->error() : QString(); }

private:
    CaptureWriter m_writer;
    std::optional<ExchangeQueue> m_queue; // ends before the writer does
};
