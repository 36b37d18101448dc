// The real programs against each other: the panel loads the driver by path and talks to the
// simulated PLC over a pseudo-terminal.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>

namespace {

// Long enough for any machine: it only ends a test that hangs.
constexpr int PatienceMs = 60'000;

// What plate() shows.
const QList<QByteArray> Plate{"r20 = ST", "r21 = AT", "r22 = IO", "r23 = N "};

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
        return QStringList{"run", "--library", DRIVER_LIBRARY, "--device", device(), DEMO_FILE} +
               more;
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
        return QStringList{"run",      "--library", DRIVER_LIBRARY,
                           "--device", device(),    write("plate.json", json)} +
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
    // Reads on until all these lines have come, in any order.
    bool waitFor(QProcess *panel, QList<QByteArray> lines) {
        while (!lines.isEmpty()) {
            if (panel->canReadLine()) {
                m_seen += panel->readLine().chopped(1);
                lines.removeAll(m_seen.last());
            } else if (!panel->waitForReadyRead(PatienceMs)) {
                return false;
            }
        }
        return true;
    }
    static void tell(QProcess *plc, const QByteArray &command) {
        ASSERT_TRUE(plc->write(command) > 0 && plc->waitForBytesWritten(PatienceMs));
    }
    // One register of station 1 on each of two lines.
    QString twoLines(const QString &eastDevice) const {
        QByteArray json = R"({"lines": [{"name": "west", "device": "WEST"},
                                        {"name": "east", "device": "EAST"}], "variables": [
            {"name": "w", "line": "west", "station": 1, "registerType": 6, "address": "150",
             "format": "uint16"},
            {"name": "e", "line": "east", "station": 1, "registerType": 6, "address": "150",
             "format": "uint16"},
            {"name": "set", "line": "east", "station": 1, "registerType": 7, "address": "100",
             "format": "uint16"}], "writes": [{"variable": "set", "value": 7}]})";
        json.replace("WEST", device().toUtf8()).replace("EAST", eastDevice.toUtf8());
        return write("two.json", json);
    }
    // One line on standard error that says all of this.
    static void expectOneLine(const QString &errors, const QStringList &parts) {
        EXPECT_EQ(errors.count('\n'), 1) << qPrintable(errors);
        for (const QString &part : parts)
            EXPECT_TRUE(errors.contains(part)) << qPrintable(part + " not in: " + errors);
    }

    QProcess m_plc;
    QList<QByteArray> m_seen; // the lines that waitFor() has read

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
    const Outcome outcome = runPanel({"run", "--library", DRIVER_LIBRARY, "--device", device(),
                                      "--scans", "2", write("moving.json", json)});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_TRUE(outcome.output.contains(
        QRegularExpression("\nwrite of moving: wrote 7, the PLC has 10\\d\\d\n")))
        << qPrintable(outcome.output);
    EXPECT_TRUE(outcome.output.contains("\nrefused by the station: far\n"))
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
    EXPECT_TRUE(outcome.output.contains("\nwrite of set byte: not acknowledged: "
                                        "station 2 does not answer and is left alone for now\n"));
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
    EXPECT_TRUE(outcome.output.contains(QRegularExpression("\n  late bytes: [1-9]")));
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

// An adapter that is pulled and put back: the values are old meanwhile, and a line is asked again.
TEST_F(EndToEnd, WaitsForADeviceThatGoes) {
    startPlc();
    QProcess panel;
    panel.start(PANEL_PROGRAM, plate(R"("retryLimit": 2)", {}));
    ASSERT_TRUE(waitFor(&panel, Plate));
    ASSERT_EQ(m_plc.write("unplug 1s\n"), 10);
    ASSERT_TRUE(m_plc.waitForBytesWritten(PatienceMs));
    ASSERT_TRUE(waitFor(&panel, {"r23 = ? N "}));
    ASSERT_TRUE(waitFor(&panel, Plate));
    panel.terminate();
    const Outcome outcome = finish(&panel);
    EXPECT_EQ(outcome.exitCode, 0) << qPrintable(outcome.errors);
    EXPECT_TRUE(outcome.errors.contains("plc is gone\n")) << qPrintable(outcome.errors);
}

TEST_F(EndToEnd, KeepsTwoLinesApart) {
    startPlc();
    QProcess east;
    const QString eastDevice = device() + ".east";
    east.start(PLCSIM_PROGRAM, {"--link", eastDevice});
    ASSERT_TRUE(east.waitForReadyRead(PatienceMs));
    tell(&m_plc, "set 1 input 150 11\n");
    tell(&east, "set 1 input 150 21\n");
    QProcess panel;
    panel.start(PANEL_PROGRAM, {"run", "--library", DRIVER_LIBRARY, twoLines(eastDevice)});
    ASSERT_TRUE(waitFor(&panel, {"w = 11", "e = 21"}));
    tell(&m_plc, "unplug 1s\n");
    ASSERT_TRUE(waitFor(&panel, {"w = ? 11"}));
    tell(&east, "set 1 input 150 22\n");
    ASSERT_TRUE(waitFor(&panel, {"e = 22"})) << "the other line goes on";
    tell(&m_plc, "set 1 input 150 12\n");
    ASSERT_TRUE(waitFor(&panel, {"w = 12"}));
    for (const QByteArray &line : m_seen) {
        EXPECT_FALSE(line.contains("w = 2") || line.contains("e = 1") || line.contains("e = ?"))
            << line.data();
    }
    for (QProcess *process : {&panel, &east}) {
        process->terminate();
        EXPECT_EQ(finish(process).exitCode, 0);
    }
}

TEST_F(EndToEnd, PollsOneLineThoughTheDeviceOfAnotherIsMissingAtTheStart) {
    startPlc();
    const QString eastDevice = device() + ".east";
    QProcess panel;
    panel.start(PANEL_PROGRAM, {"run", "--library", DRIVER_LIBRARY, twoLines(eastDevice)});
    tell(&m_plc, "set 1 input 150 11\n");
    ASSERT_TRUE(waitFor(&panel, {"w = 11"}));
    QProcess east;
    east.start(PLCSIM_PROGRAM, {"--link", eastDevice});
    tell(&east, "set 1 input 150 21\n");
    ASSERT_TRUE(waitFor(&panel, {"e = 21", "set = 7"})) << "what is to be written is not forgotten";
    panel.terminate();
    EXPECT_TRUE(finish(&panel).errors.contains("line east: " + eastDevice + " is missing\n"));
    east.terminate();
    finish(&east);
}

// Every time that is left out follows the speed: a character takes 37 ms.
TEST_F(EndToEnd, ReadsASlowLineWithTheUsualSettings) {
    startPlc({"--baud", "300", "--stations", "2"});
    const QByteArray json = R"({"port": {"baudRate": 300}, "variables": [
        {"name": "a", "station": 1, "registerType": 7, "address": "0", "format": "uint16"},
        {"name": "b", "station": 2, "registerType": 7, "address": "0", "format": "uint16"}]})";
    const Outcome outcome = runPanel({"run", "--library", DRIVER_LIBRARY, "--device", device(),
                                      "--scans", "1", write("slow.json", json)});
    EXPECT_EQ(outcome.exitCode, 0) << qPrintable(outcome.output + outcome.errors);
}

// A pass takes 0.1 s at this speed; behind some writes the first is over.
TEST_F(EndToEnd, PollsWhatWasWrittenLastBeforeItEnds) {
    startPlc({"--baud", "2400"});
    const QByteArray json = R"({"port": {"baudRate": 2400}, "variables": [
        {"name": "own", "station": 3, "registerType": 7, "address": "121", "format": "uint16"},
        {"name": "all", "station": 0, "registerType": 7, "address": "120", "format": "uint16"},
        {"name": "seen", "station": 3, "registerType": 7, "address": "120", "format": "uint16",
         "expect": 77}],
        "writes": [{"variable": "own", "value": 5}, {"variable": "own", "value": 6},
                   {"variable": "own", "value": 7}, {"variable": "all", "value": 77}]})";
    const Outcome outcome = runPanel({"run", "--library", DRIVER_LIBRARY, "--device", device(),
                                      "--scans", "1", write("last.json", json)});
    EXPECT_EQ(outcome.exitCode, 0) << qPrintable(outcome.output);
}

TEST_F(EndToEnd, EndsAfterTheSecondsThatItWasGiven) {
    startPlc();
    QElapsedTimer sinceStart;
    sinceStart.start();
    EXPECT_EQ(runPanel(plate(R"("retryLimit": 2)", {"--seconds", "1"})).exitCode, 0);
    EXPECT_GE(sinceStart.elapsed(), 1000);
}

TEST_F(EndToEnd, OutlivesItsTerminalUnderNohup) {
    startPlc();
    QProcess panel;
    panel.start("nohup", QStringList{PANEL_PROGRAM} + plate(R"("retryLimit": 2)", {}));
    ASSERT_TRUE(waitFor(&panel, Plate));
    ::kill(static_cast<pid_t>(panel.processId()), SIGHUP);
    ASSERT_EQ(m_plc.write("set 1 input 20 16961\n"), 21);
    ASSERT_TRUE(m_plc.waitForBytesWritten(PatienceMs));
    EXPECT_TRUE(waitFor(&panel, {"r20 = AB"}));
    panel.terminate();
    EXPECT_EQ(finish(&panel).exitCode, 0);
}

TEST_F(EndToEnd, EndsWithASummaryOnEachSignal) {
    startPlc();
    static_cast<void>(std::signal(SIGHUP, SIG_DFL)); // the tests themselves may run under nohup
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        QProcess panel;
        panel.start(PANEL_PROGRAM, plate(R"("retryLimit": 2)", {}));
        ASSERT_TRUE(waitFor(&panel, Plate)) << number;
        ::kill(static_cast<pid_t>(panel.processId()), number);
        const Outcome outcome = finish(&panel);
        EXPECT_EQ(outcome.exitCode, 0) << number << qPrintable(outcome.errors);
        EXPECT_TRUE(outcome.output.endsWith("\nall held\n")) << number;
    }
}

TEST_F(EndToEnd, SaysWhatItsStandardOutputCouldNotTake) {
    startPlc();
    const QStringList endless = plate(R"("retryLimit": 2)", {});
    const QStringList run = endless + QStringList{"--scans", "2"};
    const struct {
        const char *shell;
        QStringList arguments;
        int exitCode;
        const char *errors;
    } cases[] = {
        // What is opened first would have its number, and the values would go there.
        {R"("$@" >&-)", run, 0, ""},
        {R"("$@" | head -1)", endless, 0, ""},
        {R"("$@" | head -1)", endless + QStringList{"--quiet", "--trace", "-"}, 0, ""},
        {R"("$@" >/dev/full)", run, 1, "panel: standard output: No space left on device\n"},
        {R"("$@" >/dev/full)",
         {"plan", "--library", DRIVER_LIBRARY, DEMO_FILE},
         1,
         "panel: standard output: cannot write all of it\n"},
    };
    for (const auto &c : cases) {
        QProcess panel;
        panel.start("bash", QStringList{"-o", "pipefail", "-c", c.shell, "bash", PANEL_PROGRAM} +
                                c.arguments);
        const Outcome outcome = finish(&panel);
        EXPECT_EQ(outcome.exitCode, c.exitCode) << c.shell;
        EXPECT_EQ(outcome.errors, c.errors) << c.shell;
    }
}

TEST_F(EndToEnd, SaysThatADiskIsFullWhileItRuns) {
    startPlc();
    const struct {
        QStringList arguments;
        QString output;
        const char *said;
    } cases[] = {
        {{"--trace", "/dev/full"}, QString(), "trace: /dev/full: No space left on device\n"},
        {{}, "/dev/full", "standard output: No space left on device\n"},
    };
    for (const auto &c : cases) {
        QProcess panel;
        panel.setStandardOutputFile(c.output);
        panel.start(PANEL_PROGRAM, plate(R"("retryLimit": 2)", c.arguments));
        panel.setReadChannel(QProcess::StandardError);
        while (!panel.readAllStandardError().contains(c.said)) {
            ASSERT_TRUE(panel.state() != QProcess::NotRunning &&
                        panel.waitForReadyRead(PatienceMs));
        }
        panel.terminate();
        const Outcome outcome = finish(&panel);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_FALSE(outcome.errors.contains(c.said)) << "once";
    }
}

TEST_F(EndToEnd, RefusesBadInputInOneLine) {
    const QString good = DEMO_FILE;
    const QString driver = DRIVER_LIBRARY;
    const QString noJson = write("no.json", "{\n  \"port\": oops }");
    const QString wrongType = write("type.json", R"({"retryLimit": "two"})");
    const QString notes = write("notes.txt", "what somebody wrote\n");
    const QString fresh = notes + ".new";
    const QString panel = write("panel.json", R"({"port": {"device": "/nowhere/tty"}, "variables": [
        {"name": "a", "station": 1, "registerType": 7, "address": "0", "format": "uint16"}]})");
    const QString twice = write("twice.json", R"({"lines": [
        {"name": "press", "device": "/dev/null"}, {"name": "oven", "device": "/dev/../dev/null"}],
        "variables": [{"name": "a", "line": "oven", "station": 1, "registerType": 7,
                       "address": "0", "format": "uint16"}]})");
    const struct {
        QStringList arguments;
        int exitCode;
        QStringList parts;
    } cases[] = {
        {{"run", "--library", driver, twice},
         3,
         {R"(lines "press" and "oven" have the same device)"}},
        {{"run", "--library", driver, "--device", "/nowhere/tty", good},
         3,
         {"/nowhere/tty: No such"}},
        {{"run", "--library", "/nowhere/lib.so", good}, 2, {"/nowhere/lib.so"}},
        {{"run", "--library", "libm.so.6", good}, 2, {"libm.so.6: has no SetComInfo"}},
        {{"run", "--library", driver, "/nowhere/panel.json"}, 2, {"/nowhere/panel.json: No such"}},
        {{"run", "--library", driver, noJson}, 2, {noJson + ": line 2, column ", "not JSON"}},
        {{"run", "--library", driver, wrongType},
         2,
         {wrongType + ": retryLimit: expected a number"}},
        {{"run", "--library", driver, "--trace", notes, good}, 2, {notes, "no trace"}},
        {{"run", "--library", driver, "--capture", notes, good}, 2, {"capture"}},
        {{"run", "--library", driver, "--capture", "-", good}, 2, {"capture"}},
        {{"run", "--library", driver, "--report", notes, good}, 2, {notes, "no report"}},
        {{"run", "--library", driver, "--trace", fresh, "--capture", fresh, good},
         2,
         {fresh, "two outputs"}},
        {{"run", "--library", driver, "--report", panel, panel}, 2, {panel, "the panel file"}},
        {{"run", "--library", driver}, 2, {"FILE is required"}},
        {{good}, 2, {"--help"}},
        {{}, 2, {"subcommand is required"}},
        {{"run", "--library", driver, "--scans", "0", good},
         2,
         {"--scans", "Value 0 not in range"}},
        {{"run", "--library", driver, "--scans", "1", "--seconds", "1", good},
         2,
         {"--seconds excludes --scans"}},
        {{"run", "--speed", good}, 2, {"speed"}},
    };
    for (const auto &c : cases) {
        const Outcome outcome = runPanel(c.arguments);
        EXPECT_EQ(outcome.exitCode, c.exitCode) << qPrintable(c.arguments.join(' '));
        expectOneLine(outcome.errors, c.parts);
    }
    EXPECT_EQ(QFileInfo(notes).size(), 20) << "left as it was";
}

} // namespace
