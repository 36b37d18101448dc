// A line on record: the capture file, the trace, and what panel explain reads from a capture.
#include "modbus/checksums.h"
#include "modbus/frame_bytes.h"
#include "panel/health/capture.h"
#include "panel/health/heard.h"
#include "panel/health/replay.h"
#include "panel/health/trace.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using std::chrono::milliseconds;

constexpr int PatienceMs = 60'000; // only ends a test that hangs

QByteArray frame(const char *hex) {
    QByteArray bytes = QByteArray::fromHex(hex);
    appendCrc(bytes);
    return bytes;
}

const QByteArray Read = frame("020303000002"); // holding 768: its reply could begin like it
const QByteArray ReadReply = frame("020304000A000B");
const QByteArray WriteOne = frame("030600010007"); // acknowledged by a copy
const QByteArray Noise = QByteArray::fromHex("00FF81");

// An exchange 200 ms after the one before; each piece heard 3 ms after the last.
Exchange exchangeOf(int number, const QByteArray &request, Outcome outcome,
                    const std::vector<QByteArray> &heard) {
    Exchange exchange;
    exchange.station = byteAt(request, 0);
    exchange.function = byteAt(request, 1);
    exchange.request = request;
    const auto began = milliseconds(1'700'000'000'000 + number * 200);
    exchange.sentAt = std::chrono::system_clock::time_point(began);
    exchange.began = std::chrono::steady_clock::time_point(began);
    auto at = exchange.began;
    for (const QByteArray &bytes : heard)
        exchange.received.push_back({at += milliseconds(3), bytes});
    exchange.outcome = outcome;
    const bool isAnswered = outcome == Outcome::Good || outcome == Outcome::Refused;
    exchange.reply = isAnswered ? heardOf(exchange.received).bytes : QByteArray();
    if (exchange.reply.startsWith(request + ReadReply))
        exchange.reply = ReadReply;
    return exchange;
}

// What a recorder may see, in the order of the outcomes that a reader should find.
std::vector<Exchange> recorded() {
    const std::vector<std::pair<Outcome, std::vector<QByteArray>>> reads{
        {Outcome::Good, {ReadReply.left(4), ReadReply.mid(4)}},
        {Outcome::Good, {Read, ReadReply}}, // behind our echo
        {Outcome::NoReply, {Read}},
        {Outcome::NoReply, {}},
        {Outcome::Refused, {frame("028302")}},
        {Outcome::BadCrc, {Noise}},
        {Outcome::Foreign, {frame("050304000A000B")}},
        {Outcome::WrongReply, {frame("020302000A")}},
    };
    std::vector<Exchange> exchanges;
    exchanges.reserve(reads.size() + 1);
    for (const auto &[outcome, heard] : reads)
        exchanges.push_back(exchangeOf(static_cast<int>(exchanges.size()), Read, outcome, heard));
    exchanges.push_back(exchangeOf(8, WriteOne, Outcome::Good, {WriteOne}));
    return exchanges;
}

QByteArray outputOf(const QString &program, const QStringList &arguments, int *status = nullptr) {
    QProcess process;
    process.start(program, arguments);
    EXPECT_TRUE(process.waitForFinished(PatienceMs)) << qPrintable(program);
    if (status != nullptr)
        *status = process.exitCode();
    return process.readAllStandardOutput() + process.readAllStandardError();
}

// The outcomes of the requests among packets that begin so many milliseconds apart.
std::vector<Outcome> outcomesOf(const QByteArrayList &packets, int apart) {
    std::vector<Outcome> outcomes;
    Replay replay([&](const Exchange &exchange) { outcomes.push_back(exchange.outcome); });
    for (int i = 0; i < packets.size(); ++i)
        replay.take({std::chrono::system_clock::time_point(milliseconds(i * apart)), packets[i]});
    replay.finish();
    return outcomes;
}

TEST(Replay, JoinsAFrameThatCameInSeveralPackets) {
    const QByteArrayList pieces{Read.left(3), Read.mid(3), ReadReply.left(2), ReadReply.mid(2, 3),
                                ReadReply.mid(5)};
    EXPECT_EQ(outcomesOf(pieces, 15), (std::vector{Outcome::Good}));
    EXPECT_EQ(outcomesOf({Read, ReadReply.left(4), ReadReply.mid(4)}, 500),
              (std::vector{Outcome::BadCrc}));
    EXPECT_EQ(outcomesOf({Read, ReadReply.left(4), Read, ReadReply}, 25),
              (std::vector{Outcome::BadCrc, Outcome::Good}));
}

TEST(Replay, TellsWhatARecordingHasInThePlaceOfExchanges) {
    const struct {
        QByteArray packet;
        int frames;
    } cases[] = {{Noise, 0}, {ReadReply, 20}};
    for (const auto &c : cases) {
        Replay replay([](const Exchange &) { FAIL() << "nothing was asked"; });
        for (int i = 0; i < 20; ++i)
            replay.take({std::chrono::system_clock::time_point(milliseconds(i * 100)), c.packet});
        replay.finish();
        EXPECT_EQ(replay.leftOver().bytes, 20 * c.packet.size());
        EXPECT_EQ(replay.leftOver().frames, c.frames);
    }
}

class CaptureFile : public ::testing::Test {
protected:
    void SetUp() override {
        Capture capture;
        const QString error = capture.open(m_path);
        if (error.contains("without libpcap"))
            GTEST_SKIP() << qPrintable(error);
        ASSERT_EQ(error, "");
        for (const Exchange &exchange : recorded())
            capture.observe(exchange);
        capture.close();
        EXPECT_EQ(capture.dropped(), 0U);
    }
    QTemporaryDir m_directory;
    QString m_path = m_directory.filePath("line.pcap");
};

TEST_F(CaptureFile, GivesBackTheExchangesThatWereRecorded) {
    std::vector<Exchange> found;
    Replay replay([&found](const Exchange &exchange) { found.push_back(exchange); });
    bool isCut = true;
    EXPECT_EQ(readCapture(
                  m_path, [&](const CapturedPacket &p) { replay.take(p); }, &isCut),
              "");
    replay.finish();
    EXPECT_FALSE(isCut);
    EXPECT_EQ(Capture().open(m_path), "") << "an earlier one is written anew";
    const std::vector<Exchange> wanted = recorded();
    ASSERT_EQ(found.size(), wanted.size());
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        EXPECT_EQ(found[i].outcome, wanted[i].outcome) << i;
        EXPECT_EQ(found[i].request, wanted[i].request) << i;
        EXPECT_EQ(found[i].sentAt, wanted[i].sentAt) << i;
    }
}

TEST_F(CaptureFile, IsModbusToADecoderThatKnowsNothingOfUs) {
    if (QStandardPaths::findExecutable("tshark").isEmpty())
        GTEST_SKIP() << "tshark is not installed";
    const QString type = R"x(uat:user_dlts:"User 0 (DLT=147)","mbrtu","0","","0","")x";
    const QByteArray decoded = outputOf("tshark", {"-r", m_path,
                                                   "-o", type,
                                                   "-o", "mbrtu.crc_verification:TRUE",
                                                   "-Y", "frame.number<3",
                                                   "-T", "fields",
                                                   "-E", "separator=,",
                                                   "-e", "mbrtu.unit_id",
                                                   "-e", "mbrtu.crc16.status",
                                                   "-e", "modbus.func_code",
                                                   "-e", "modbus.request_frame"});
    EXPECT_TRUE(decoded.contains("2,1,3,\n2,1,3,1\n")) << decoded.constData();
}

TEST_F(CaptureFile, OfAnotherProgramIsExplainedLikeOurs) {
    if (QStandardPaths::findExecutable("tshark").isEmpty())
        GTEST_SKIP() << "tshark is not installed";
    const QString theirs = m_directory.filePath("line.pcapng");
    outputOf("tshark", {"-r", m_path, "-F", "pcapng", "-w", theirs});
    EXPECT_EQ(outputOf(PANEL_PROGRAM, {"explain", theirs}),
              outputOf(PANEL_PROGRAM, {"explain", m_path}));
}

// Two masters that take turns: the bytes alone do not say which of them is ours.
TEST_F(CaptureFile, ShowsAnotherMasterToWhoKnowsThePanelFile) {
    const QString path = m_directory.filePath("shared.pcap");
    {
        Capture capture;
        ASSERT_EQ(capture.open(path), "");
        for (int i = 0; i < 20; ++i) {
            capture.observe(i % 2 == 0 ? exchangeOf(i, Read, Outcome::Good, {ReadReply})
                                       : exchangeOf(i, frame("020300070001"), Outcome::Good,
                                                    {frame("020302002A")}));
        }
    }
    QFile panel(m_directory.filePath("panel.json"));
    ASSERT_TRUE(panel.open(QIODevice::WriteOnly));
    panel.write(R"({"variables": [{"name": "a", "station": 2, "registerType": 7,
                    "address": "769", "format": "uint16"}]})");
    panel.close();
    int status = 0;
    EXPECT_FALSE(outputOf(PANEL_PROGRAM, {"explain", path}, &status).contains("another master"));
    EXPECT_EQ(status, 0);
    const QByteArray said =
        outputOf(PANEL_PROGRAM, {"explain", path, "--panel", panel.fileName()}, &status);
    EXPECT_TRUE(said.contains("\nstation 2: exchanges 10, failed 0")) << said.constData();
    EXPECT_TRUE(said.contains("\nanother master is on the line: 9 requests and 9 answers"));
    EXPECT_EQ(status, 1);
}

TEST_F(CaptureFile, IsExplainedAndWhatIsNoneIsRefusedInOneLine) {
    int status = 0;
    const QString said = outputOf(PANEL_PROGRAM, {"explain", m_path}, &status);
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(said.contains(".000Z station 2: read holding 768..769: good, 10 11, in 6 ms\n") ||
                said.contains("read holding 768..769: good, 10 11, in 3 ms\n"));
    EXPECT_TRUE(said.contains("\nstation 2: exchanges 8, failed 6 (")) << qPrintable(said);
    EXPECT_FALSE(said.contains("given up")) << "a recording does not tell";
    EXPECT_TRUE(said.contains("\nstation 3: exchanges 1, failed 0")) << qPrintable(said);
    for (const QString &path : {QString(PANEL_PROGRAM), m_directory.filePath("none")}) {
        const QByteArray refused = outputOf(PANEL_PROGRAM, {"explain", path}, &status);
        EXPECT_EQ(status, 2);
        EXPECT_EQ(refused.count('\n'), 1) << refused.constData();
    }
}

TEST(Trace, HasALineForEachExchangeOrForFailuresAlone) {
    const QTemporaryDir directory;
    const QString path = directory.filePath("trace");
    {
        Trace trace({"main"}, Trace::Which::FailuresOnly);
        ASSERT_EQ(trace.open(path), "");
        for (const Exchange &exchange : recorded())
            trace.observe(exchange);
    }
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArrayList lines = file.readAll().split('\n');
    EXPECT_EQ(lines.size(), 6 + 1) << "an echo is no trouble";
    EXPECT_EQ(lines[3], "2023-11-14T22:13:21.000Z main station 2: read holding 0: bad checksum, "
                        "00 FF 81");
    EXPECT_TRUE(traceLine(recorded().back(), "").contains(" station 3: write holding 0 = 7: good"));
    EXPECT_EQ(Trace({}, Trace::Which::All).open(path), "") << "an earlier one is written anew";
    Trace full({"main"}, Trace::Which::All);
    ASSERT_EQ(full.open("/dev/full"), "");
    full.observe(recorded().front());
    for (int i = 0; i < PatienceMs && full.error().isEmpty(); ++i)
        std::this_thread::sleep_for(milliseconds(1));
    EXPECT_EQ(full.error().toStdString(), "/dev/full: No space left on device");
    EXPECT_EQ(full.dropped(), 1U);
}

TEST(Trace, ShowsTheValuesOfEveryFunctionAndWhatCameBesides) {
    const QByteArray stray = frame("070302002A");
    const struct {
        QByteArray request;
        std::vector<QByteArray> heard; // the answer last
        const char *shown;
    } cases[] = {
        {frame("020100000010"), {frame("02010205A0")}, "good, 1 0 1 0 0 0 0 0 0 0 0 0 0 1 0 1"},
        {frame("020200000003"), {frame("02020105")}, "good, 1 0 1"},
        {frame("02050003FF00"), {frame("02050003FF00")}, "write coil 3 = 1: good"},
        {frame("020F0000000A02CD01"), {frame("020F0000000A")}, "= 1 0 1 1 0 0 1 1 1 0: good"},
        {frame("02170000000200050001020009"), {frame("02170400070008")}, "good, 7 8"},
        {Read, {stray, ReadReply}, "good, 10 11, besides 07 03 02 00 2A"},
        {Read, {Read, ReadReply}, "good, 10 11"},
    };
    for (const auto &c : cases) {
        Replay replay([&](const Exchange &exchange) {
            EXPECT_TRUE(traceLine(exchange, "").contains(c.shown))
                << qPrintable(traceLine(exchange, ""));
            EXPECT_EQ(hasTrouble(exchange), c.heard.front() == stray);
        });
        auto at = std::chrono::system_clock::time_point(milliseconds(1));
        replay.take({at, c.request});
        for (const QByteArray &bytes : c.heard)
            replay.take({at += milliseconds(5), bytes});
    }
}

template <typename Recorder>
void expectGivesUp(Recorder *recorder, const QString &pipe) {
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), S_IRWXU), 0);
    const int reader = ::open(QFile::encodeName(pipe).constData(), O_RDONLY | O_NONBLOCK);
    ASSERT_EQ(recorder->open(pipe), "");
    ASSERT_EQ(::fcntl(reader, F_SETPIPE_SZ, 4096), 4096);
    for (int i = 0; i < 500; ++i)
        recorder->observe(recorded().front());
    recorder->close();
    EXPECT_EQ(recorder->error(), pipe + ": its reader takes nothing");
    EXPECT_GT(recorder->dropped(), 300U);
    ::close(reader);
}

TEST_F(CaptureFile, AndTraceEndThoughNobodyReadsThePipe) {
    Trace trace({"main"}, Trace::Which::All);
    expectGivesUp(&trace, m_directory.filePath("trace"));
    Capture capture;
    expectGivesUp(&capture, m_directory.filePath("capture"));
}

} // namespace
