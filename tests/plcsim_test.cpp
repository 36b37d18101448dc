// The simulated PLC as its users meet it: the real program at the far end of a pseudo-terminal.
#include "stations.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThread>

#include <utility>

#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int PatienceMs = 60'000; // only ends a test that hangs

QByteArray frame(const QByteArray &hex) {
    return withCrc(QByteArray::fromHex(hex));
}

class Plcsim : public ::testing::Test {
protected:
    void start(const QStringList &arguments) {
        m_plc.start(PLCSIM_PROGRAM, arguments + QStringList{"--link", m_device});
        ASSERT_NE(said("/dev/"), "");
        m_line = ::open(qPrintable(m_device), O_RDWR | O_NOCTTY);
    }
    void TearDown() override { finish(); }
    // What it says at its end.
    QString finish() {
        ::close(std::exchange(m_line, -1));
        m_plc.terminate();
        EXPECT_TRUE(m_plc.state() == QProcess::NotRunning || m_plc.waitForFinished(PatienceMs));
        return m_plc.readAllStandardOutput();
    }
    // Everything up to the line that begins like this; nothing when it does not come.
    QString said(const QByteArray &beginning) {
        QString text;
        while (m_plc.canReadLine() || m_plc.waitForReadyRead(PatienceMs)) {
            const QByteArray line = m_plc.readLine();
            text += line;
            if (line.startsWith(beginning))
                return text;
        }
        return {};
    }
    QString command(const QByteArray &line) {
        m_plc.write(line + '\n');
        return said("ok: " + line);
    }
    // Returns when the PLC has heard what it is to count.
    void awaitCount(const QString &pattern) {
        const QRegularExpression wanted(pattern);
        while (m_plc.state() == QProcess::Running && !command("count").contains(wanted))
            QThread::msleep(1);
    }
    void send(const QByteArray &bytes) const {
        EXPECT_EQ(::write(m_line, bytes.data(), static_cast<size_t>(bytes.size())), bytes.size());
    }
    // What has been sent up to the answer to one more request, as hexadecimal text. A station
    // answers one request after the other, so nothing is still to come.
    QByteArray heard() const {
        send(frame("010300640001"));
        const QByteArray last = frame("0103020000");
        QByteArray bytes;
        char byte = 0;
        while (!bytes.endsWith(last) && ::read(m_line, &byte, 1) == 1)
            bytes += byte;
        EXPECT_TRUE(bytes.endsWith(last)) << bytes.toHex().data();
        return bytes.chopped(last.size()).toHex();
    }

    QProcess m_plc;
    QTemporaryDir m_directory;
    QString m_device = m_directory.filePath("plc");
    int m_line = -1;
};

const QByteArray Request = frame("010300960002");
const QByteArray Answer = frame("0103041234002a").toHex();

TEST_F(Plcsim, ShowsEachFaultOnTheLine) {
    const struct {
        QByteArray kind;
        QByteArray value;
        QByteArray expected; // in place of the 9 bytes of the answer
    } faults[] = {
        {"drop", "", ""},
        {"late", ":300ms", Answer},
        {"flip", "", "(?!" + Answer + ").{18}"},
        {"cut", "", "01.{0,14}"},
        {"extra", "", Answer + ".+"},
        {"foreign", "", frame("0203041234002a").toHex()},
        {"function", "", frame("0104041234002a").toHex()},
        {"count", "", frame("0103061234002a").toHex()},
        {"exception", ":6", frame("018306").toHex()},
        {"noise", "", ".+" + Answer},
        {"echo", "", Request.toHex() + Answer},
        {"master", "", Answer + "(..03).{12}\\1.*"}, // the other's request, and its answer
    };
    start({"--stations", "1"});
    command("set 1 holding 150 4660 42");
    for (const auto &fault : faults) {
        QElapsedTimer sinceRequest;
        command("faults " + fault.kind + "=100%" + fault.value);
        sinceRequest.start();
        send(Request);
        awaitCount(fault.kind + " 1\\b");
        command("faults none");
        QThread::msleep(50); // another master speaks a while after the answer
        const QString bytes = heard();
        EXPECT_TRUE(QRegularExpression("^" + fault.expected + "$").match(bytes).hasMatch())
            << fault.kind.data() << ' ' << qPrintable(bytes);
        EXPECT_GE(sinceRequest.elapsed(), fault.kind == "late" ? 300 : 0);
    }
}

TEST_F(Plcsim, ShowsAFaultOnlyWhereItIsWanted) {
    start({"--stations", "4", "--faults", "drop=100%@2+4,acknowledge=100%,count=0%"});
    for (const char *station : {"01", "02", "03", "04"})
        send(frame(station + QByteArray("0600640000"))); // writes 0 to holding 100
    EXPECT_EQ(heard(), (frame("010602640000") + frame("030602640000")).toHex());
}

TEST_F(Plcsim, ServesCoilsAndRefusesUnknownFunctions) {
    const struct {
        QByteArray request;
        QByteArray answer;
    } exchanges[] = {
        {"010F0064000A02CD01", "010F0064000A"}, // writes coils 100 to 109: 1011 0011 10
        {"01010064000A", "010102CD01"},         // reads them
        {"01050065FF00", "01050065FF00"},       // writes coil 101
        {"010100640004", "0101010F"},
        {"01020010000C", "0102020000"}, // reads inputs behind the lamps
        {"01410000", "01C101"},         // unknown: exception 1
    };
    start({"--stations", "1"});
    int requests = 0;
    for (const auto &exchange : exchanges) {
        send(frame(exchange.request));
        // What follows at once would be part of a request whose length nobody knows.
        awaitCount(QString("\\n +1 +%1 ").arg(2 * requests++ + 1));
        EXPECT_EQ(heard(), frame(exchange.answer).toHex()) << exchange.request.data();
    }
    const QRegularExpression row("\n +1 +12 +12 +1\n"); // requests, answers, exceptions
    EXPECT_TRUE(finish().contains(row));
}

TEST_F(Plcsim, TheSameSeedMakesTheSameRun) {
    QByteArray runs[3];
    for (int run = 0; run < 3; ++run) {
        start({"--stations", "1", "--seed", run < 2 ? "5" : "6", "--faults",
               "drop=30%,flip=30%,extra=30%,noise=30%"});
        for (int i = 0; i < 20; ++i)
            send(Request);
        awaitCount("\n +1 +20 ");
        command("faults none");
        runs[run] = heard();
        finish();
    }
    EXPECT_EQ(runs[0], runs[1]);
    EXPECT_NE(runs[0], runs[2]);
}

TEST_F(Plcsim, TakesNothingThatIsNotForItsStations) {
    start({"--stations", "1"});
    send(frame("090300960002"));
    send(frame("01100064007FFF" + QByteArray(255, '0').repeated(2))); // longer than a frame may be
    send(QByteArray(300, '\x01'));
    EXPECT_EQ(heard(), "");
    const QString counts = command("count");
    EXPECT_TRUE(counts.contains("not here: 1\n")) << qPrintable(counts);
    EXPECT_TRUE(counts.contains("part of no request: 564\n")) << qPrintable(counts);
}

TEST_F(Plcsim, TakesCommandsWhileItRuns) {
    start({"--stations", "1"});
    command("mute 1");
    m_plc.write("mute 9\nfaults rain\nfaults drop=101%\nset 1 holding 9999 1\nunplug\nnonsense\n");
    send(Request);
    awaitCount("\n +1 +1 +0 ");
    command("unmute 1");
    EXPECT_EQ(heard(), "");
    EXPECT_EQ(m_plc.readAllStandardError().count('\n'), 6) << "a line for each wrong command";
    command("unplug 300ms");
    EXPECT_FALSE(QFile::exists(m_device));
    EXPECT_NE(said("back: "), "");
    char byte = 0;
    EXPECT_LE(::read(m_line, &byte, 1), 0) << "no hang-up";
    ::close(m_line);
    m_line = ::open(qPrintable(m_device), O_RDWR | O_NOCTTY);
    EXPECT_EQ(heard(), "");
}

TEST_F(Plcsim, HasWhatTheMapSays) {
    QFile map(m_directory.filePath("map.json"));
    ASSERT_TRUE(map.open(QIODevice::WriteOnly));
    map.write(R"({"holes": [{"table": "holding", "address": 151}],
                  "registers": [{"table": "holding", "address": 149, "values": [7, -1]}],
                  "moving": [{"table": "input", "address": 0, "from": 3, "to": 8, "step": 5}]})");
    map.close();
    start({"--stations", "1", "--map", map.fileName()});
    send(Request + frame("010300950002")); // into the hole, and up to it
    send(frame("010400000001").repeated(3));
    EXPECT_EQ(heard(), (frame("018302") + frame("0103040007ffff") + frame("0104020003") +
                        frame("0104020008") + frame("0104020003"))
                           .toHex());
}

// Its one line on standard error, when it ends at once.
QString refusal(const QStringList &arguments, int status) {
    QProcess plc;
    plc.start(PLCSIM_PROGRAM, arguments);
    EXPECT_TRUE(plc.waitForFinished(PatienceMs)) << qPrintable(arguments.join(' '));
    EXPECT_EQ(plc.exitCode(), status) << qPrintable(arguments.join(' '));
    const QByteArray said = plc.readAllStandardError();
    EXPECT_EQ(said.count('\n'), 1) << said.data();
    return said;
}

TEST(PlcsimOptions, AreRefusedInOneLine) {
    const struct {
        QStringList arguments;
        const char *part;
    } cases[] = {
        {{"--reply-time", "nan"}, "0 to 60000"},
        {{"--faults", "flip=1%@2,5"}, "5: no such fault"},
        {{"--faults", "flip@248"}, "behind the @"},
        {{"--faults", "drop=1%:3"}, "only late"},
        {{"--stations", "5-3"}, "1,5,20-40"},
        {{"--map", "/nowhere.json"}, "No such file"},
    };
    for (const auto &row : cases)
        EXPECT_TRUE(refusal(row.arguments, 2).contains(row.part)) << row.part;
}

TEST(PlcsimOptions, OfAMapAreRefusedByTheEntryThatIsWrong) {
    const struct {
        const char *map;
        const char *part;
    } cases[] = {
        {"{\n\"holes\": [}", ":2: "},
        {"[]", "expected an object"},
        {R"({"hole": []})", "nothing but lists"},
        {R"({"holes": [{"table": "holding"}]})", "holes[0]: address"},
        {R"({"holes": [{"table": "coil", "address": 199, "count": 2}]})", "holes[0]: count"},
        {R"({"holes": [{"stations": "9", "table": "coil", "address": 1}]})", "station 9"},
        {R"({"registers": [{"table": "input", "address": 1, "values": [65536]}]})", "values"},
        {R"({"moving": [{"table": "input", "address": 1, "from": 3, "to": 2}]})", "moving[0]: to"},
        {R"({"moving": [{"table": "input", "address": 1, "speed": 2}]})", "speed: not known"},
    };
    QTemporaryDir directory;
    QFile map(directory.filePath("map.json"));
    for (const auto &row : cases) {
        ASSERT_TRUE(map.open(QIODevice::WriteOnly | QIODevice::Truncate));
        map.write(row.map);
        map.close();
        const QString said = refusal({"--map", map.fileName()}, 2);
        EXPECT_TRUE(said.contains(row.part)) << qPrintable(said);
    }
}

TEST(PlcsimOptions, ALinkThatIsSomebodyElsesStays) {
    QTemporaryDir directory;
    const QString link = directory.filePath("link");
    ASSERT_TRUE(QFile::link(directory.path(), link));
    EXPECT_TRUE(refusal({"--link", link}, 1).contains("File exists"));
    EXPECT_EQ(QFile::symLinkTarget(link), directory.path());
}

TEST_F(Plcsim, LeavesALinkThatIsSomebodyElsesByNow) {
    start({"--stations", "1"});
    ASSERT_TRUE(QFile::remove(m_device) && QFile::link(m_directory.path(), m_device));
    command("unplug 600s");
    EXPECT_EQ(QFile::symLinkTarget(m_device), m_directory.path());
}

// 8 characters of request, 3.5 of silence and 7 of answer.
TEST_F(Plcsim, TakesTheTimeOfTheLine) {
    start({"--stations", "1", "--baud", "1200"});
    QElapsedTimer sinceRequest;
    sinceRequest.start();
    heard();
    EXPECT_GE(static_cast<double>(sinceRequest.nsecsElapsed()), 18.5 * 11 * 1e9 / 1200);
}

// A serial port whose far end is the test's, under the name `link`; the file descriptor of that
// end.
int openFarEnd(const QString &link) {
    const int end = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    QFile::remove(link);
    if (::grantpt(end) != 0 || ::unlockpt(end) != 0 || !QFile::link(::ptsname(end), link))
        ADD_FAILURE() << "no pseudo-terminal";
    return end;
}

TEST_F(Plcsim, ServesASlowPortAndWaitsForItWhileItIsGone) {
    m_line = openFarEnd(m_device);
    m_plc.start(PLCSIM_PROGRAM, {"--stations", "1", "--device", m_device, "--baud", "300"});
    ASSERT_NE(said(qPrintable(m_device)), "");
    for (const char byte : frame("010300640001").chopped(1)) {
        send(QByteArray(1, byte));
        QThread::msleep(37); // a character
    }
    QElapsedTimer sinceRequest;
    sinceRequest.start();
    send(frame("010300640001").right(1));
    char byte = 0;
    EXPECT_EQ(::read(m_line, &byte, 1), 1);
    EXPECT_GE(sinceRequest.elapsed(), 128) << "the silence between two frames";

    ::close(m_line);
    m_line = openFarEnd(m_device);
    EXPECT_NE(said("back: "), "");
    EXPECT_EQ(heard(), "");
    EXPECT_EQ(m_plc.readAllStandardError().count('\n'), 1) << "gone, said once";
}

} // namespace
