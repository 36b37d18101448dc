// The real programs against each other: the panel loads the driver by path and talks to the
// simulated PLC over a pseudo-terminal.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

namespace {

// Long enough for any machine: it only ends a test that hangs.
constexpr int PatienceMs = 60'000;

struct Outcome {
    int exitCode;
    QString output;
    QString errors;
};

class EndToEnd : public ::testing::Test {
protected:
    void startPlc(const QStringList &arguments = {}) {
        m_plc.start(PLCSIM_PROGRAM, QStringList{"--link", device()} + arguments);
        ASSERT_TRUE(m_plc.waitForReadyRead(PatienceMs)) << qPrintable(m_plc.errorString());
        ASSERT_TRUE(m_plc.readLine().startsWith("/dev/"));
    }

    void TearDown() override {
        if (m_plc.state() != QProcess::Running)
            return;
        m_plc.terminate();
        ASSERT_TRUE(m_plc.waitForFinished(PatienceMs));
        EXPECT_EQ(m_plc.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(m_plc.exitCode(), 0);
        EXPECT_FALSE(QFile::exists(device())) << "the link stays behind";
    }

    QString device() const { return m_directory.filePath("plc"); }
    QString write(const QString &name, const QByteArray &content) const {
        QFile file(m_directory.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        return file.fileName();
    }
    QStringList demo(const QStringList &more) const {
        return QStringList{"--library", DRIVER_LIBRARY, "--device", device(), DEMO_FILE} + more;
    }
    // A panel whose four variables are the registers of the text of station 1, each a read of its
    // own; `more` are further fields.
    QStringList plate(const QByteArray &more, const QStringList &arguments) const {
        QByteArray variables;
        for (int i = 0; i < 4; ++i) {
            const QByteArray number = QByteArray::number(20 + i);
            variables += QByteArray(i == 0 ? "" : ",") + R"({"name": "r)" + number +
                         R"(", "station": 1, "registerType": 6, "format": "text", "address": ")" +
                         number + "\"}";
        }
        const QByteArray json =
            R"({"blockLimit": 1, "variables": [)" + variables + "]," + more + "}";
        return QStringList{"--library", DRIVER_LIBRARY, "--device", device(),
                           write("plate.json", json)} +
               arguments;
    }
    static Outcome finish(QProcess *panel) {
        const bool ended = panel->waitForFinished(PatienceMs);
        EXPECT_TRUE(ended && panel->exitStatus() == QProcess::NormalExit);
        return {panel->exitCode(), panel->readAllStandardOutput(), panel->readAllStandardError()};
    }
    static Outcome runPanel(const QStringList &arguments) {
        QProcess panel;
        panel.start(PANEL_PROGRAM, arguments);
        return finish(&panel);
    }
    // One line on standard error that says all of this.
    static void expectOneLine(const QString &errors, const QStringList &parts) {
        EXPECT_EQ(errors.count('\n'), 1) << qPrintable(errors);
        for (const QString &part : parts)
            EXPECT_TRUE(errors.contains(part)) << qPrintable(part + " not in: " + errors);
    }

    QProcess m_plc;

private:
    int m_argc = 0;
    QCoreApplication m_application{m_argc, nullptr};
    QTemporaryDir m_directory;
};

TEST_F(EndToEnd, ReadsEveryVariableAndHoldsEveryWrite) {
    startPlc();
    const Outcome outcome = runPanel(demo({"--scans", "20"}));
    EXPECT_EQ(outcome.exitCode, 0) << qPrintable(outcome.output + outcome.errors);
    EXPECT_EQ(outcome.errors, "");
    for (const char *line : {"plate 2 = STATION 2\n", "set word = -1234\n", "set bit = 1\n",
                             "set wide = 18364758544493064720\n", "seen everywhere = 77\n",
                             "30 of 30 read, 18 of 18 moved, 1 of 1 as expected; ",
                             "writes: 7 of 7 held, 1 broadcast sent, never acknowledged\n",
                             "set word: wrote -1234, read back -1234\n"}) {
        EXPECT_TRUE(outcome.output.contains(line)) << line << qPrintable(outcome.output);
    }
}

// The image shows what was written; only the PLC knows that it has moved on.
TEST_F(EndToEnd, FindsAWriteThatDoesNotHold) {
    startPlc();
    const QByteArray json = R"({"variables": [
        {"name": "moving", "station": 1, "registerType": 7, "address": "0", "format": "uint16"},
        {"name": "far", "station": 2, "registerType": 7, "address": "9000", "format": "int16"}],
        "writes": [{"variable": "moving", "value": 7}]})";
    const Outcome outcome = runPanel({"--library", DRIVER_LIBRARY, "--device", device(), "--scans",
                                      "2", write("moving.json", json)});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_TRUE(outcome.output.contains(
        QRegularExpression("\nwrite of moving: wrote 7, the PLC has 10\\d\\d\n")))
        << qPrintable(outcome.output);
    EXPECT_TRUE(outcome.output.contains("\nstation 2 refused a read (holding, register 9000, "
                                        "count 1): illegal data address (exception 2)\n"))
        << qPrintable(outcome.output);
}

TEST_F(EndToEnd, NamesWhatASilentStationKeepsBack) {
    startPlc({"--silent", "2"});
    const Outcome outcome = runPanel(demo({"--scans", "20"}));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_TRUE(outcome.output.contains(
        "\nnot read: lamps, byte counter, ramp, long counter, wide counter, double sine, "
        "set wide, set byte, plate 2, long setting\n"))
        << qPrintable(outcome.output);
    EXPECT_TRUE(outcome.output.contains("\nwrite of set byte: not acknowledged\n"));
    EXPECT_TRUE(outcome.output.contains("writes: 5 of 7 held, "));
}

// Its answers come when the panel no longer waits for them.
TEST_F(EndToEnd, TakesNoLateReplyForAnother) {
    startPlc({"--late", "2:400"});
    const Outcome outcome = runPanel(demo({"--scans", "20"}));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_TRUE(outcome.output.contains(QRegularExpression("station 2: .*no reply")))
        << qPrintable(outcome.output);
    EXPECT_FALSE(outcome.output.contains("wrong length")) << qPrintable(outcome.output);
    EXPECT_FALSE(outcome.output.contains("invalid")) << qPrintable(outcome.output);
    EXPECT_TRUE(outcome.output.contains("plate 1 = STATION 1\n"));
    EXPECT_TRUE(outcome.output.contains("plate 3 = STATION 3\n"));
}

// Every request is sent twice and answered twice; all answers are of the same length.
TEST_F(EndToEnd, TakesNoAnswerToARequestSentTwiceForTheNext) {
    startPlc({"--late", "1:250"});
    const Outcome outcome = runPanel(plate(
        R"("port": {"responseTimeoutMs": 100, "quietAfterFailureMs": 100})", {"--scans", "2"}));
    EXPECT_EQ(outcome.exitCode, 0) << qPrintable(outcome.output + outcome.errors);
    for (const char *line : {"r20 = ST\n", "r21 = AT\n", "r22 = IO\n", "r23 = N \n"})
        EXPECT_EQ(outcome.output.count(line), 1) << line << qPrintable(outcome.output);
    EXPECT_EQ(outcome.output.count(" = "), 4) << qPrintable(outcome.output);
    EXPECT_TRUE(outcome.output.contains(QRegularExpression("\nlate bytes: [1-9]")));
}

TEST_F(EndToEnd, DoesNotHoldWhenThePlcFallsSilentForGood) {
    startPlc({"--silent-after", "1:6"});
    const Outcome outcome = runPanel(plate(
        R"("port": {"responseTimeoutMs": 50, "restAfterGiveUpSeconds": 1})", {"--scans", "2"}));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_TRUE(outcome.output.contains("4 of 4 read")) << qPrintable(outcome.output);
    EXPECT_TRUE(outcome.output.contains("\nlast read failed: r20, r21, r22, r23\n"))
        << qPrintable(outcome.output);
}

TEST_F(EndToEnd, EndsWhenTheDeviceGoes) {
    startPlc();
    QProcess panel;
    panel.start(PANEL_PROGRAM, demo({}));
    ASSERT_TRUE(panel.waitForReadyRead(PatienceMs));
    m_plc.kill();
    m_plc.waitForFinished(PatienceMs);
    const Outcome outcome = finish(&panel);
    EXPECT_EQ(outcome.exitCode, 3);
    expectOneLine(outcome.errors, {device(), "gone while running"});
}

TEST_F(EndToEnd, RefusesBadInputInOneLine) {
    const QString good = DEMO_FILE;
    const QString driver = DRIVER_LIBRARY;
    const QString noJson = write("no.json", "{\n  \"port\": oops }");
    const QString wrongType = write("type.json", R"({"retryLimit": "two"})");
    const struct {
        QStringList arguments;
        int exitCode;
        QStringList parts;
    } cases[] = {
        {{"--library", driver, "--device", "/nowhere/tty", good}, 3, {"/nowhere/tty: No such"}},
        {{"--library", "/nowhere/lib.so", good}, 2, {"/nowhere/lib.so"}},
        {{"--library", "libm.so.6", good}, 2, {"libm.so.6: has no SetComInfo"}},
        {{"--library", driver, "/nowhere/panel.json"}, 2, {"/nowhere/panel.json: No such"}},
        {{"--library", driver, noJson}, 2, {noJson + ": line 2, column ", "not JSON"}},
        {{"--library", driver, wrongType}, 2, {wrongType + ": retryLimit: expected a number"}},
        {{"--library", driver}, 2, {"expected one panel file"}},
        {{good}, 2, {"--library is missing"}},
        {{"--library", driver, "--scans", "0", good}, 2, {"--scans 0"}},
        {{"--library", driver, "--scans", "1", "--seconds", "1", good}, 2, {"exclude"}},
        {{"--speed", good}, 2, {"speed"}},
    };
    for (const auto &c : cases) {
        const Outcome outcome = runPanel(c.arguments);
        EXPECT_EQ(outcome.exitCode, c.exitCode) << qPrintable(c.arguments.join(' '));
        expectOneLine(outcome.errors, c.parts);
    }
}

} // namespace
