// The panel's serial line on a real device node: the other side of a pseudo-terminal plays the
// station.
#include "panel/serial_line.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

#include <array>
#include <atomic>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

namespace {

const QByteArray Request = "request!";

class Line : public ::testing::Test {
protected:
    void SetUp() override {
        m_station = ::posix_openpt(O_RDWR | O_NOCTTY);
        ASSERT_TRUE(m_station >= 0 && ::grantpt(m_station) == 0 && ::unlockpt(m_station) == 0);
        std::array<char, 64> path{};
        ASSERT_EQ(::ptsname_r(m_station, path.data(), path.size()), 0);
        m_settings.device = path.data();
        m_settings.baudRate = 9600;
        m_settings.stopBits = 1;
        m_settings.responseTimeoutMs = 200;
        m_settings.byteTimeoutMs = 200;
        m_settings.quietAfterFailureMs = 10;
    }
    void TearDown() override { ::close(m_station); }

    void say(const QByteArray &bytes) const {
        ASSERT_EQ(::write(m_station, bytes.constData(), static_cast<size_t>(bytes.size())),
                  bytes.size());
    }
    // Waits for the request, then says each part some time after the one before.
    void answer(const QByteArrayList &parts, int pauseMs) const {
        QByteArray got(Request.size(), '\0');
        pollfd source{m_station, POLLIN, 0};
        ASSERT_EQ(::poll(&source, 1, 60'000), 1);
        ASSERT_EQ(::read(m_station, got.data(), static_cast<size_t>(got.size())), got.size());
        for (const QByteArray &part : parts) {
            say(part);
            std::this_thread::sleep_for(std::chrono::milliseconds(pauseMs));
        }
    }

    int m_argc = 0;
    QCoreApplication m_application{m_argc, nullptr};
    int m_station = -1;
    PortSettings m_settings;
    std::atomic<bool> m_stop{false};
};

TEST_F(Line, TakesOneReplyForOneRequest) {
    const struct {
        const char *what;
        QByteArray pending; // before the request
        QByteArrayList parts;
        int replyLength;
        int byteTimeoutMs;
        QByteArray reply;
    } cases[] = {
        {"whole", "", {"reply"}, 5, 200, "reply"},
        {"in two parts", "", {"re", "ply"}, 5, 5000, "reply"},
        {"parts too far apart", "", {"re", "ply"}, 5, 1, "re"},
        {"too long", "", {"reply and more"}, 5, 200, "reply"},
        {"of any length", "", {"reply"}, -1, 200, "reply"},
        {"after late bytes", "late!", {"reply"}, 5, 200, "reply"},
        {"none", "", {}, 5, 200, ""},
    };
    for (const auto &c : cases) {
        m_settings.byteTimeoutMs = c.byteTimeoutMs;
        SerialLine line(m_settings, m_stop);
        ASSERT_EQ(line.open().toStdString(), "");
        say(c.pending);
        std::thread station([&] { answer(c.parts, 200); });
        const QByteArray reply = line.exchange(Request, c.replyLength);
        station.join();
        EXPECT_EQ(reply.toStdString(), c.reply.toStdString()) << c.what;
        EXPECT_EQ(line.lateBytes(), static_cast<quint64>(c.pending.size())) << c.what;
        EXPECT_FALSE(line.isGone()) << c.what;
        line.waitUntilQuiet(); // of what the case left behind
    }
}

TEST_F(Line, SetsTheSpeedAndKeepsTheDeviceToItself) {
    SerialLine line(m_settings, m_stop);
    ASSERT_EQ(line.open().toStdString(), "");
    termios settings{};
    ASSERT_EQ(::tcgetattr(m_station, &settings), 0);
    EXPECT_EQ(::cfgetospeed(&settings), static_cast<speed_t>(B9600));
    SerialLine other(m_settings, m_stop);
    EXPECT_TRUE(other.open().endsWith(": in use by another program"));
}

} // namespace
