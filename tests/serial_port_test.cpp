// The panel's serial port on a real device node: the other side of a pseudo-terminal plays the
// station. Times have lower bounds only.
#include "modbus/checksums.h"
#include "panel/line/device_features.h"
#include "panel/line/serial_port.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <array>
#include <atomic>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using Clock = SerialPort::Clock;

constexpr auto Ever = 60s; // no test waits for it

QByteArray frame(const char *hex) {
    QByteArray bytes = QByteArray::fromHex(hex);
    appendCrc(bytes);
    return bytes;
}

const QByteArray Request = frame("020300640002");
const QByteArray Reply = frame("020304000A000B");

// The station's end of a line.
class Terminal {
public:
    Terminal() : m_master(::posix_openpt(O_RDWR | O_NOCTTY)) {
        ::grantpt(m_master);
        ::unlockpt(m_master);
        std::array<char, 64> path{};
        ::ptsname_r(m_master, path.data(), path.size());
        m_device = path.data();
    }
    ~Terminal() { unplug(); }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    void unplug() {
        if (m_master >= 0)
            ::close(m_master);
        m_master = -1;
    }
    const QString &device() const { return m_device; }
    termios settings() const {
        termios settings{};
        EXPECT_EQ(::tcgetattr(m_master, &settings), 0);
        return settings;
    }

    void say(const QByteArray &bytes) const {
        EXPECT_EQ(::write(m_master, bytes.constData(), static_cast<size_t>(bytes.size())),
                  bytes.size());
    }
    // That many bytes, fewer when the line is quiet for that long.
    QByteArray hear(int count, std::chrono::milliseconds patience = Ever) const {
        QByteArray heard;
        pollfd source{m_master, POLLIN, 0};
        while (heard.size() < count &&
               ::poll(&source, 1, static_cast<int>(patience.count())) == 1) {
            QByteArray bytes(count - heard.size(), '\0');
            const ssize_t got = ::read(m_master, bytes.data(), static_cast<size_t>(bytes.size()));
            heard += bytes.left(static_cast<int>(got));
        }
        return heard;
    }

private:
    int m_master;
    QString m_device;
};

class Port : public ::testing::Test {
protected:
    Port() {
        m_settings.device = m_terminal.device();
        m_settings.baudRate = 115200;
    }
    static std::string open(SerialPort &&port) { return open(port); }
    static std::string open(SerialPort &port) { return port.open().toStdString(); }
    static std::string inUse(const QString &device) {
        return (device + ": in use by another program").toStdString();
    }
    static void expectAnswer(const Terminal &terminal, SerialPort &port) {
        std::thread station([&terminal] {
            EXPECT_EQ(terminal.hear(Request.size()), Request);
            terminal.say(Reply);
        });
        EXPECT_EQ(port.exchange(Request, Reply.size(), Ever).outcome, Outcome::Good);
        station.join();
    }

    Terminal m_terminal;
    LineSettings m_settings;
    std::atomic<bool> m_stop{false};
    QTemporaryDir m_folder;
};

TEST_F(Port, SetsSpeedParityAndStopBits) {
    m_settings.baudRate = 4800; // not what a port has by itself
    m_settings.stopBits = 2;
    SerialPort port(m_settings, m_stop);
    ASSERT_EQ(open(port), "");
    const termios settings = m_terminal.settings();
    EXPECT_EQ(::cfgetospeed(&settings), static_cast<speed_t>(B4800));
    EXPECT_NE(settings.c_cflag & CSTOPB, 0U);

    // A pseudo-terminal has no parity.
    for (const auto &[parity, expected] : {std::pair{LineParity::None, QSerialPort::NoParity},
                                           {LineParity::Odd, QSerialPort::OddParity},
                                           {LineParity::Even, QSerialPort::EvenParity}}) {
        QSerialPort configured;
        m_settings.parity = parity;
        applySettings(m_settings, &configured);
        EXPECT_EQ(configured.parity(), expected);
    }
}

TEST_F(Port, KeepsTheDeviceToItselfUnderEveryName) {
    const QString otherName = m_folder.filePath("plc");
    ASSERT_TRUE(QFile::link(m_settings.device, otherName));
    SerialPort port(m_settings, m_stop);
    ASSERT_EQ(open(port), "");
    m_settings.device = otherName;
    SerialPort other(m_settings, m_stop);
    EXPECT_EQ(open(other), inUse(otherName));

    Terminal locked; // by a program that knows nothing of lock files
    const int program = ::open(qPrintable(locked.device()), O_RDWR | O_NOCTTY);
    ASSERT_EQ(::flock(program, LOCK_EX), 0);
    LineSettings settings = m_settings;
    settings.device = locked.device();
    EXPECT_EQ(open(SerialPort(settings, m_stop)), inUse(locked.device()));
    ::close(program);

    std::thread ending([&] {
        std::this_thread::sleep_for(200ms);
        port.close();
    });
    EXPECT_EQ(open(other), "") << "the first is only just ending";
    ending.join();
}

TEST_F(Port, OpensADeviceWhoseLastUserWasKilled) {
    const int kept = ::open(qPrintable(m_settings.device), O_RDWR | O_NOCTTY); // and its settings
    const pid_t killed = ::fork();
    if (killed == 0) {
        SerialPort port(m_settings, m_stop);
        ::_exit(port.open().isEmpty() ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(killed, &status, 0), killed);
    ASSERT_EQ(status, 0);
    SerialPort port(m_settings, m_stop);
    EXPECT_EQ(open(port), "");
    ::close(kept);
}

TEST_F(Port, SaysInOneLineWhatItCannotDo) {
    const std::pair<QString, std::string> devices[] = {
        {"/dev/nothing", "/dev/nothing: No such file or directory"},
        {"/dev/null", "/dev/null: not a serial device"}};
    for (const auto &[device, error] : devices) {
        LineSettings settings = m_settings;
        settings.device = device;
        SerialPort port(settings, m_stop);
        EXPECT_EQ(open(port), error);
    }
    for (const bool asked : {false, true}) {
        m_settings.lowLatency = asked ? std::optional(true) : std::nullopt;
        m_settings.rs485 = asked ? std::optional(Rs485Settings()) : std::nullopt;
        SerialPort port(m_settings, m_stop);
        ASSERT_EQ(open(port), "");
        EXPECT_EQ(port.remarks().size(), asked ? 2 : 0);
    }
    const serial_rs485 control = directionControl({false, 3, 5});
    EXPECT_EQ(control.flags, unsigned{SER_RS485_ENABLED | SER_RS485_RTS_AFTER_SEND});
    EXPECT_EQ(control.delay_rts_before_send, 3U);
    EXPECT_EQ(control.delay_rts_after_send, 5U);
    EXPECT_NE(directionControl({true, 0, 0}).flags & SER_RS485_RTS_ON_SEND, 0U);
}

TEST_F(Port, TheNextRequestComesAfterTheSilence) {
    m_settings.baudRate = 300;
    m_settings.requestDelayMs = 20;
    SerialPort port(m_settings, m_stop);
    ASSERT_EQ(open(port), "");
    std::thread station([&] {
        m_terminal.hear(Request.size());
        std::this_thread::sleep_for(450ms); // a silence from the end of the request on is over
        const auto said = Clock::now();
        m_terminal.say(Reply);
        m_terminal.hear(1);
        EXPECT_GE(Clock::now() - said, 128'333us + 20ms); // 3.5 characters of eleven bits
    });
    EXPECT_EQ(port.exchange(Request, Reply.size(), Ever).outcome, Outcome::Good);
    port.exchange(Request, Reply.size(), 0ms);
    station.join();
}

TEST_F(Port, AStationHasTheResponseTimeoutFromTheEndOfTheRequestOn) {
    m_settings.baudRate = 300;
    SerialPort port(m_settings, m_stop);
    ASSERT_EQ(open(port), "");
    const auto began = Clock::now();
    EXPECT_EQ(port.exchange(Request, Reply.size(), 50ms).outcome, Outcome::NoReply);
    EXPECT_GE(Clock::now() - began, 293'333us + 50ms); // 8 characters of eleven bits
}

TEST_F(Port, StationsGetTheirTimeForABroadcast) {
    m_settings.broadcastDelayMs = 150;
    SerialPort port(m_settings, m_stop);
    ASSERT_EQ(open(port), "");
    const auto began = Clock::now();
    EXPECT_EQ(port.exchange(Request, 0, Ever).outcome, Outcome::Good);
    EXPECT_GE(Clock::now() - began, 150ms);
}

TEST_F(Port, ReportsAllThatWasHeardAndOneReply) {
    m_settings.byteTimeoutMs = 60'000;
    const QByteArray ofStation3 = frame("030302000C");
    for (const bool localEcho : {false, true}) {
        m_settings.localEcho = localEcho;
        SerialPort port(m_settings, m_stop);
        ASSERT_EQ(open(port), "");
        m_terminal.say("late");
        EXPECT_TRUE(port.listen(Ever));
        std::thread station([&] {
            m_terminal.hear(Request.size());
            for (const QByteArray &part : {ofStation3 + Request, Reply.left(4), Reply.mid(4)}) {
                m_terminal.say(part);
                std::this_thread::sleep_for(20ms);
            }
        });
        const Exchange exchange = port.exchange(Request, Reply.size(), Ever);
        station.join();
        QByteArray heard;
        for (const ReceivedBytes &piece : exchange.received)
            heard += piece.bytes;
        EXPECT_EQ(exchange.outcome, Outcome::Good);
        EXPECT_EQ(exchange.reply, Reply);
        EXPECT_EQ(heard, "late" + ofStation3 + (localEcho ? QByteArray() : Request) + Reply);
        EXPECT_LT(exchange.received.front().at, exchange.began);
        EXPECT_GT(exchange.replyTime, 0us);
    }
}

TEST_F(Port, APauseEndsABrokenReplyAndAStopEndsAnyWait) {
    m_settings.byteTimeoutMs = 20;
    SerialPort port(m_settings, m_stop);
    ASSERT_EQ(open(port), "");
    std::thread station([&] {
        m_terminal.hear(Request.size());
        m_terminal.say(Reply.left(6));
        m_terminal.hear(Request.size());
        m_stop = true;
    });
    EXPECT_EQ(port.exchange(Request, Reply.size(), Ever).outcome, Outcome::CutShort);
    const auto began = Clock::now();
    port.exchange(Request, Reply.size(), 2 * Ever);
    EXPECT_LT(Clock::now() - began, 2 * Ever);
    station.join();
}

TEST_F(Port, GivesNoReplyTimeWhereTheProcessWasStoppedMeanwhile) {
    if (IS_EMULATED)
        GTEST_SKIP() << "an emulated process does not go on";
    SerialPort port(m_settings, m_stop);
    ASSERT_EQ(open(port), "");
    std::thread station([this] {
        m_terminal.hear(Request.size());
        QProcess::execute("sh", {"-c", "kill -STOP $PPID; sleep 1; kill -CONT $PPID"});
        m_terminal.say(Reply);
    });
    const Exchange stopped = port.exchange(Request, Reply.size(), Ever);
    station.join();
    EXPECT_EQ(stopped.outcome, Outcome::Good);
    EXPECT_EQ(stopped.replyTime, 0us);

    std::thread again([this] {
        m_terminal.hear(Request.size());
        m_terminal.say(Reply);
    });
    EXPECT_GT(port.exchange(Request, Reply.size(), Ever).replyTime, 0us);
    again.join();
}

TEST_F(Port, AFailedSendLeavesNothingInThePort) {
    SerialPort port(m_settings, m_stop);
    ASSERT_EQ(open(port), "");
    // Nobody takes it, and it is more than the device holds.
    const Exchange failed = port.exchange(QByteArray(100'000, '?'), Reply.size(), Ever);
    EXPECT_EQ(failed.outcome, Outcome::DeviceGone);
    EXPECT_TRUE(port.isGone());
    // What had reached the station's side already; the device held more than twice as much.
    constexpr int Arrived = 4096;
    EXPECT_LE(m_terminal.hear(100'000, 100ms).size(), Arrived);

    ASSERT_EQ(open(port), "");
    expectAnswer(m_terminal, port);
}

TEST_F(Port, ADeviceThatWasTakenAwayIsGoneUntilItIsBack) {
    const QString name = m_folder.filePath("plc");
    ASSERT_TRUE(QFile::link(m_settings.device, name));
    m_settings.device = name;
    SerialPort port(m_settings, m_stop);
    ASSERT_EQ(open(port), "");
    std::thread adapter([&] {
        m_terminal.hear(Request.size());
        m_terminal.unplug();
    });
    EXPECT_EQ(port.exchange(Request, Reply.size(), Ever).outcome, Outcome::DeviceGone);
    adapter.join();
    EXPECT_TRUE(port.isGone());
    port.close();

    Terminal back;
    QFile::remove(name);
    ASSERT_TRUE(QFile::link(back.device(), name));
    ASSERT_EQ(open(port), "");
    expectAnswer(back, port);
}

} // namespace
