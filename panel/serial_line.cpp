#include "serial_line.h"

#include <QDeadlineTimer>

#include <algorithm>
#include <array>
#include <thread>

namespace {

using std::chrono::microseconds;

constexpr int BitsPerCharacter = 11;
constexpr int FastBaudRate = 19200; // above it the silence stays the same
constexpr microseconds FastSilence{1750};
constexpr int MaxFrame = 256;
constexpr int SendTimeoutMs = 1000;
// A line that never falls silent must not hold the panel for ever.
constexpr int MaxQuietWaits = 10;

microseconds characterTime(int baudRate) {
    return microseconds(1'000'000LL * BitsPerCharacter / baudRate + 1);
}

microseconds silence(int baudRate) {
    return baudRate > FastBaudRate ? FastSilence : characterTime(baudRate) * 7 / 2;
}

int wholeMilliseconds(microseconds time) {
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(time).count());
}

QSerialPort::Parity portParity(LineParity parity) {
    switch (parity) {
    case LineParity::Odd:
        return QSerialPort::OddParity;
    case LineParity::Even:
        return QSerialPort::EvenParity;
    case LineParity::None:
        break;
    }
    return QSerialPort::NoParity;
}

} // namespace

SerialLine::SerialLine(const PortSettings &settings)
    : m_settings(settings), m_characterTime(characterTime(settings.baudRate)),
      m_silence(silence(settings.baudRate)) {}

QString SerialLine::open() {
    m_port.setPortName(m_settings.device);
    m_port.setBaudRate(m_settings.baudRate);
    m_port.setParity(portParity(m_settings.parity));
    m_port.setStopBits(m_settings.stopBits == 2 ? QSerialPort::TwoStop : QSerialPort::OneStop);
    m_gone = !m_port.open(QIODevice::ReadWrite);
    m_lastByte = Clock::now();
    return m_gone ? m_settings.device + ": " + m_port.errorString() : QString();
}

QByteArray SerialLine::exchange(const QByteArray &request, int replyLength) {
    keepSilence();
    send(request);
    if (isGone())
        return {};
    if (replyLength == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(m_settings.broadcastDelayMs));
        return {};
    }
    return receive(request.size(), replyLength);
}

void SerialLine::waitUntilQuiet() {
    for (int i = 0; i < MaxQuietWaits && waitForBytes(m_settings.quietAfterFailureMs); ++i)
        dropPending();
}

// The silence that ends a frame, counted from the last byte that anyone sent; what comes in
// meanwhile belongs to no request.
void SerialLine::keepSilence() {
    for (int i = 0; i < MaxQuietWaits; ++i) {
        std::this_thread::sleep_until(m_lastByte + m_silence);
        if (!dropPending())
            return;
    }
}

void SerialLine::send(const QByteArray &request) {
    m_port.write(request);
    if (!m_port.waitForBytesWritten(SendTimeoutMs)) {
        noteFailure();
        m_port.clear(QSerialPort::Output); // or it would go out before the next request
    }
    m_lastByte = Clock::now() + m_characterTime * request.size();
}

QByteArray SerialLine::receive(int requestLength, int replyLength) {
    const int most = replyLength < 0 ? MaxFrame : replyLength;
    // The port takes a request at once, the line needs its time to carry it.
    const int onTheWay = wholeMilliseconds(m_characterTime * requestLength);
    int patience = m_settings.responseTimeoutMs + onTheWay;
    QByteArray reply;
    while (reply.size() < most && waitForBytes(patience)) {
        reply += m_port.read(most - reply.size());
        patience = m_settings.byteTimeoutMs;
    }
    return reply;
}

// Whether there is a byte to read before the timeout is over.
bool SerialLine::waitForBytes(int timeoutMs) {
    const bool arrived = m_port.bytesAvailable() > 0 || m_port.waitForReadyRead(timeoutMs);
    if (arrived) {
        m_lastByte = Clock::now();
    } else {
        noteFailure();
    }
    return arrived && !isGone();
}

bool SerialLine::dropPending() {
    const bool pending = waitForBytes(0);
    if (pending)
        m_port.clear(QSerialPort::Input);
    return pending;
}

// A timeout is part of the day's work, any other error means that the device is gone.
void SerialLine::noteFailure() {
    const QSerialPort::SerialPortError error = m_port.error();
    m_gone = m_gone || (error != QSerialPort::NoError && error != QSerialPort::TimeoutError);
    m_port.clearError();
}
