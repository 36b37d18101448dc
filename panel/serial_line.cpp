#include "serial_line.h"

#include <QDeadlineTimer>
#include <QFile>

#include <algorithm>
#include <thread>

#include <unistd.h>

namespace {

using std::chrono::microseconds;

constexpr int BitsPerCharacter = 11;
constexpr int FastBaudRate = 19200; // above it the silence stays the same
constexpr microseconds FastSilence{1750};
constexpr int MaxFrame = 256;
constexpr int SendTimeoutMs = 1000;
// A line that never falls silent must not hold the panel for ever; a frame may come byte by byte.
constexpr int MaxQuietWaits = MaxFrame;
constexpr int SliceMs = 50; // how soon a wait sees that the panel is to stop

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

// Another program's lock is reported like a device that is not ours to open.
QString openError(const QSerialPort &port) {
    const QString name = port.portName();
    const QString path = name.startsWith('/') || name.startsWith('.') ? name : "/dev/" + name;
    const bool permitted = ::access(QFile::encodeName(path).constData(), R_OK | W_OK) == 0;
    return port.error() == QSerialPort::PermissionError && permitted ? "in use by another program"
                                                                     : port.errorString();
}

} // namespace

SerialLine::SerialLine(const PortSettings &settings, const std::atomic<bool> &stopRequested)
    : m_settings(settings), m_stopRequested(stopRequested),
      m_characterTime(characterTime(settings.baudRate)), m_silence(silence(settings.baudRate)) {}

QString SerialLine::open() {
    m_port.setPortName(m_settings.device);
    m_port.setBaudRate(m_settings.baudRate);
    m_port.setParity(portParity(m_settings.parity));
    m_port.setStopBits(m_settings.stopBits == 2 ? QSerialPort::TwoStop : QSerialPort::OneStop);
    m_gone = !m_port.open(QIODevice::ReadWrite);
    m_lastByte = Clock::now();
    return m_gone ? m_settings.device + ": " + openError(m_port) : QString();
}

QByteArray SerialLine::exchange(const QByteArray &request, int replyLength) {
    keepSilence();
    send(request);
    if (isGone())
        return {};
    if (replyLength == 0) {
        waitForStations();
        return {};
    }
    return receive(request.size(), replyLength);
}

void SerialLine::waitUntilQuiet() {
    dropUntilSilent(m_settings.quietAfterFailureMs);
}

void SerialLine::dropAnswers(int count, std::chrono::milliseconds each) {
    for (int i = 0; i < count && waitForBytes(static_cast<int>(each.count())); ++i)
        dropUntilSilent(m_settings.byteTimeoutMs);
}

void SerialLine::dropUntilSilent(int silenceMs) {
    for (int i = 0; i < MaxQuietWaits && waitForBytes(silenceMs); ++i)
        dropPending();
}

// What the stations get to carry out a broadcast.
void SerialLine::waitForStations() const {
    const QDeadlineTimer end(m_settings.broadcastDelayMs);
    while (!m_stopRequested && !end.hasExpired()) {
        std::this_thread::sleep_for(
            std::chrono::milliseconds(std::min<qint64>(SliceMs, end.remainingTime())));
    }
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
    const QDeadlineTimer end(timeoutMs);
    bool arrived = m_port.bytesAvailable() > 0;
    do {
        const auto slice = static_cast<int>(std::min<qint64>(SliceMs, end.remainingTime()));
        arrived = arrived || m_port.waitForReadyRead(slice);
        if (!arrived)
            noteFailure();
    } while (!arrived && !isGone() && !m_stopRequested && !end.hasExpired());
    if (arrived)
        m_lastByte = Clock::now();
    return arrived && !isGone();
}

bool SerialLine::dropPending() {
    const bool pending = waitForBytes(0);
    if (pending)
        m_lateBytes += static_cast<quint64>(m_port.readAll().size());
    return pending;
}

// A timeout is part of the day's work, any other error means that the device is gone.
void SerialLine::noteFailure() {
    const QSerialPort::SerialPortError error = m_port.error();
    m_gone = m_gone || (error != QSerialPort::NoError && error != QSerialPort::TimeoutError);
    m_port.clearError();
}
