#include "panel/line/serial_port.h"

#include "modbus/frame_bytes.h"
#include "panel/line/device_features.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using Clock = SerialPort::Clock;

constexpr auto OpenPatience = 1s;
constexpr auto OpenPause = 20ms;
constexpr auto Slice = 50ms;          // how soon a wait sees that the panel is to stop
constexpr auto SendPatience = 1s;     // for a device that takes no byte
constexpr auto SilencePatience = 10s; // a line that never falls silent must not hold the panel
constexpr auto LongestSleep = 500ms;  // of a process that is not stopped, Ctrl-Z: ten slices
constexpr auto WakeUpTime = 60us;
constexpr int MostHeard = 1024; // a line that babbles must not hold it either

const char *const InUse = "in use by another program";

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

// A pseudo-terminal refuses a parity unless another setting changes with it, and an earlier user
// may have left all others as they are to be. This one means nothing in raw mode.
void leaveASettingToChange(int descriptor) {
    termios settings{};
    if (::tcgetattr(descriptor, &settings) != 0)
        return;
    settings.c_lflag |= IEXTEN;
    ::tcsetattr(descriptor, TCSANOW, &settings);
}

bool isTransient(int error) {
    return error == EAGAIN || error == EINTR;
}

timespec asTimespec(std::chrono::nanoseconds time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((time - seconds).count())};
}

std::chrono::microseconds asMicroseconds(Clock::duration time) {
    return std::chrono::duration_cast<std::chrono::microseconds>(time);
}

// The device takes a request at once, the line needs its time to carry it.
LineTime timeOnLine(const LineSettings &settings, const QByteArray &request) {
    const int delay = settings.rs485 ? settings.rs485->delayBeforeSendMs : 0;
    return std::chrono::milliseconds(delay) + frameTime(settings, request.size());
}

// What a request of Modbus says about itself; all of them have station, function, register, count.
void describeRequest(const QByteArray &request, Exchange *exchange) {
    if (request.size() < 8)
        return;
    exchange->station = byteAt(request, 0);
    exchange->function = byteAt(request, 1);
    exchange->firstRegister = byteAt(request, 2) << 8 | byteAt(request, 3);
    exchange->registers = byteAt(request, 4) << 8 | byteAt(request, 5);
}

} // namespace

QString devicePath(const QString &device) {
    return device.contains('/') ? device : "/dev/" + device;
}

void applySettings(const LineSettings &settings, QSerialPort *port) {
    port->setBaudRate(settings.baudRate);
    port->setDataBits(QSerialPort::Data8);
    port->setParity(portParity(settings.parity));
    port->setStopBits(settings.stopBits == 2 ? QSerialPort::TwoStop : QSerialPort::OneStop);
    port->setFlowControl(QSerialPort::NoFlowControl);
}

SerialPort::SerialPort(const LineSettings &settings, const std::atomic<bool> &stopRequested)
    : m_settings(withUsualTimes(settings)), m_stopRequested(stopRequested) {}

SerialPort::~SerialPort() {
    close();
}

QString SerialPort::open() {
    const Clock::time_point end = Clock::now() + OpenPatience;
    for (;;) {
        close();
        QString problem = claim();
        if (problem.isEmpty())
            problem = configure();
        if (problem.isEmpty())
            break;
        const bool mayPass = problem == InUse || m_port != nullptr;
        close();
        if (!mayPass || m_stopRequested || Clock::now() > end)
            return m_settings.device + ": " + problem;
        std::this_thread::sleep_for(OpenPause);
    }
    m_remarks = setDeviceFeatures(m_device, m_settings);
    m_lastByte = Clock::now();
    ::prctl(PR_SET_TIMERSLACK, 1UL); // of this thread
    return {};
}

// The lock is on the device itself, so that other names of it, and root, meet it too.
QString SerialPort::claim() {
    const QByteArray path = QFile::encodeName(devicePath(m_settings.device));
    m_device = ::open(path.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_device < 0)
        return errno == EBUSY ? InUse : qt_error_string(errno);
    termios settings{};
    if (::tcgetattr(m_device, &settings) != 0)
        return errno == ENOTTY ? "not a serial device" : qt_error_string(errno);
    return ::flock(m_device, LOCK_EX | LOCK_NB) == 0 ? QString() : InUse;
}

// QSerialPort knows every baud rate and framing; opened for writing it asks for no event loop. By
// the device's own name its lock file keeps out other programs that use one.
QString SerialPort::configure() {
    leaveASettingToChange(m_device);
    m_port = std::make_unique<QSerialPort>();
    m_port->setPortName(QFileInfo(devicePath(m_settings.device)).canonicalFilePath());
    applySettings(m_settings, m_port.get());
    if (!m_port->open(QIODevice::WriteOnly))
        return m_port->error() == QSerialPort::PermissionError ? InUse : m_port->errorString();
    ::ioctl(m_device, TIOCEXCL);
    ::tcflush(m_device, TCIOFLUSH); // what was said before is nothing to us
    return {};
}

void SerialPort::close() {
    m_port.reset(); // puts the settings back
    if (isOpen()) {
        ::ioctl(m_device, TIOCNXCL);
        ::close(m_device);
    }
    m_device = -1;
    m_isGone = false;
    m_remarks.clear();
}

Exchange SerialPort::exchange(const QByteArray &request, int replyLength,
                              std::chrono::microseconds responseTimeout) {
    keepSilence();
    Exchange exchange;
    exchange.outcome = Outcome::NoReply;
    exchange.request = request;
    if (replyLength >= 0)
        describeRequest(request, &exchange);
    exchange.sentAt = std::chrono::system_clock::now();
    exchange.began = m_lastLook = Clock::now();
    m_wasStopped = false;
    m_reception.beginReply();
    if (!m_stopRequested && !m_isGone && send(request)) {
        const Clock::time_point requestEnd = exchange.began + timeOnLine(m_settings, request);
        m_lastByte = requestEnd;
        if (replyLength == 0) {
            waitForStations(requestEnd, &exchange);
        } else {
            const ReplyCheck check(request, replyLength);
            report(receive(check, requestEnd + responseTimeout), requestEnd, &exchange);
        }
    }
    if (m_isGone)
        exchange.outcome = Outcome::DeviceGone;
    if (m_wasStopped)
        exchange.replyTime = {};
    exchange.received = m_reception.take();
    exchange.duration = asMicroseconds(Clock::now() - exchange.began + pauseBefore());
    return exchange;
}

bool SerialPort::listen(std::chrono::microseconds time) {
    return hear(Clock::now() + time);
}

bool SerialPort::waitUntilQuiet(std::chrono::microseconds time) {
    const Clock::time_point patience = Clock::now() + time + SilencePatience;
    while (hear(Clock::now() + time)) {
        if (Clock::now() > patience)
            return false;
    }
    return !m_isGone && !m_stopRequested;
}

LineTime SerialPort::pauseBefore() const {
    return silentInterval(m_settings) + std::chrono::milliseconds(m_settings.requestDelayMs);
}

// Counted from the last byte that anyone sent; what comes meanwhile belongs to no request. Asleep
// until shortly before its end, then awake: a sleeper comes late by a good part of a character.
void SerialPort::keepSilence() {
    const Clock::time_point patience = Clock::now() + SilencePatience;
    while (!m_isGone && !m_stopRequested && Clock::now() < patience) {
        const Clock::time_point end = m_lastByte + pauseBefore();
        if (!hear(end - WakeUpTime) && Clock::now() >= end)
            return;
    }
}

bool SerialPort::send(const QByteArray &request) {
    int sent = 0;
    const Clock::time_point patience = Clock::now() + SendPatience;
    while (sent < request.size()) {
        const ssize_t count = ::write(m_device, request.constData() + sent,
                                      static_cast<std::size_t>(request.size() - sent));
        if (count > 0) {
            sent += static_cast<int>(count);
            continue;
        }
        short happened = 0;
        if ((count < 0 && !isTransient(errno)) || !wait(POLLOUT, patience, &happened))
            break;
    }
    if (sent == request.size())
        return true;
    ::tcflush(m_device, TCOFLUSH); // or it would go out before the next request
    m_isGone = !m_stopRequested;
    return false;
}

// What they get to carry out a broadcast, which nobody answers.
void SerialPort::waitForStations(Clock::time_point requestEnd, Exchange *exchange) {
    exchange->outcome = Outcome::Good;
    while (hear(requestEnd + std::chrono::milliseconds(m_settings.broadcastDelayMs))) {
    }
    m_lastByte = std::max(m_lastByte, requestEnd);
}

ReplyVerdict SerialPort::receive(const ReplyCheck &check, Clock::time_point responseEnd) {
    ReplyVerdict verdict;
    while (verdict.listen != ListenUntil::Decided &&
           m_reception.sinceRequest().size() < MostHeard &&
           hear(deadline(verdict.listen, responseEnd)))
        verdict = check.judge(m_reception.sinceRequest());
    return verdict;
}

SerialPort::Clock::time_point SerialPort::deadline(ListenUntil listen,
                                                   Clock::time_point responseEnd) const {
    const Clock::time_point pauseEnd =
        m_lastByte + std::chrono::milliseconds(m_settings.byteTimeoutMs);
    switch (listen) {
    case ListenUntil::BytePause:
        return pauseEnd;
    case ListenUntil::LaterOfBoth:
        return std::max(pauseEnd, responseEnd);
    default:
        return responseEnd;
    }
}

void SerialPort::report(const ReplyVerdict &verdict, Clock::time_point requestEnd,
                        Exchange *exchange) {
    exchange->outcome = verdict.outcome;
    exchange->exceptionCode = verdict.exceptionCode;
    exchange->reply = m_reception.sinceRequest().mid(verdict.replyBegin, verdict.replyLength);
    // The station's own: a frame of another says nothing about its time.
    if (verdict.replyLength > 0 && verdict.outcome != Outcome::Foreign) {
        const auto time = m_reception.timeOf(verdict.replyBegin) - requestEnd;
        exchange->replyTime = std::max(asMicroseconds(time), std::chrono::microseconds(1));
    }
    if (m_settings.localEcho && verdict.echoBegin >= 0)
        m_reception.leaveOut(verdict.echoBegin, exchange->request.size());
}

// True as soon as something came, which the reception then has.
bool SerialPort::hear(Clock::time_point until) {
    short happened = 0;
    while (wait(POLLIN, until, &happened)) {
        if (readPending(happened))
            return true;
    }
    return false;
}

// The time, and whether it was looked at too long ago for a process that went on all the while.
SerialPort::Clock::time_point SerialPort::look() {
    const Clock::time_point now = Clock::now();
    m_wasStopped = m_wasStopped || now - m_lastLook > LongestSleep;
    m_lastLook = now;
    return now;
}

bool SerialPort::wait(short event, Clock::time_point until, short *happened) {
    while (!m_isGone && !m_stopRequested) {
        const Clock::duration left = std::max<Clock::duration>(until - look(), 0ns);
        const timespec time = asTimespec(std::min<Clock::duration>(left, Slice));
        pollfd source{m_device, event, 0};
        const int ready = ::ppoll(&source, 1, &time, nullptr);
        *happened = source.revents;
        if (ready > 0)
            return true;
        if (ready == 0 && left <= Slice)
            return false;
    }
    return false;
}

// A device that was taken away reports a hang-up and has nothing to read.
bool SerialPort::readPending(short happened) {
    std::array<char, 512> bytes{};
    const ssize_t count = ::read(m_device, bytes.data(), bytes.size());
    if (count > 0) {
        m_lastByte = look();
        m_reception.add(QByteArray(bytes.data(), static_cast<int>(count)), m_lastByte);
        return true;
    }
    m_isGone =
        (count < 0 && !isTransient(errno)) || (happened & (POLLHUP | POLLERR | POLLNVAL)) != 0;
    return false;
}
