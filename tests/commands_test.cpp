// The commands that need no run: plan, find, read and write, as their users call them.
#include "panel/command/station_search.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

namespace {

constexpr int PatienceMs = 60'000; // only ends a test that hangs

struct Result {
    int status;
    QString output;
    QString errors;
};

Result panel(const QStringList &arguments) {
    QProcess process;
    process.start(PANEL_PROGRAM, arguments);
    EXPECT_TRUE(process.waitForFinished(PatienceMs));
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

class Commands : public ::testing::Test {
protected:
    void startPlc(const QStringList &arguments = {}) {
        m_plc.start(PLCSIM_PROGRAM, QStringList{"--link", device()} + arguments);
        ASSERT_TRUE(m_plc.waitForReadyRead(PatienceMs)) << qPrintable(m_plc.errorString());
    }
    void TearDown() override {
        m_plc.terminate();
        m_plc.waitForFinished(PatienceMs);
    }
    QString device() const { return m_directory.filePath("plc"); }
    QString path(const QString &name) const { return m_directory.filePath(name); }
    QString write(const QString &name, const QByteArray &content) const {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        return file.fileName();
    }

private:
    QTemporaryDir m_directory;
    QProcess m_plc;
};

TEST_F(Commands, ReadPrintsValuesAndReasons) {
    startPlc();
    const Result good =
        panel({"read", device(), "2/holding:1:hex", "--station", "1", "input:3*2:uint16"});
    EXPECT_EQ(good.status, 0);
    EXPECT_TRUE(good.output.contains(QRegularExpression("^2/holding:1:hex = 0x[0-9a-f]{4}\n"
                                                        "input:3\\*2:uint16 = \\d+ \\d+\n\\z")))
        << qPrintable(good.output);
    const Result bad =
        panel({"read", device(), "--timeout", "100", "holding:60000", "9/holding:1", "holding:1"});
    EXPECT_EQ(bad.status, 1);
    EXPECT_TRUE(bad.output.startsWith("holding:60000 = refused: illegal data address"));
    EXPECT_TRUE(bad.output.contains("9/holding:1 = no answer within 100 ms\nholding:1 = "));
}

TEST_F(Commands, ReadTellsAnEchoAndALateAnswerFromSilence) {
    startPlc({"--faults", "echo=100%@2", "--silent", "2", "--late", "3:450"});
    const Result result =
        panel({"read", device(), "--timeout", "300", "2/holding:1", "3/holding:1"});
    EXPECT_TRUE(
        result.output.contains("= no answer within 300 ms; only our own request came back"));
    const QRegularExpression late("; it came after (\\d+) ms: try --timeout (\\d+)\n");
    const QRegularExpressionMatch said = late.match(result.output);
    EXPECT_GT(said.captured(1).toInt(), 400) << qPrintable(result.output);
    EXPECT_GE(said.captured(2).toInt(), said.captured(1).toInt());
}

TEST_F(Commands, ReadAsksABusyStationAgain) {
    startPlc({"--faults", "exception=50%:6", "--seed", "3"});
    const Result result = panel({"read", device(), "holding:1", "holding:2", "holding:3"});
    EXPECT_EQ(result.status, 0) << qPrintable(result.output);
}

TEST_F(Commands, WriteSaysWhatWasHeldWrittenAndReadBack) {
    startPlc();
    const Result first = panel({"write", device(), "holding:100=7", "holding:104*2:int16=-1 2",
                                "holding:100.15=on", "0/holding:101=5", "3/holding:101:hex=0x6"});
    EXPECT_EQ(first.status, 0) << qPrintable(first.errors);
    EXPECT_EQ(first.output, "holding:100: held 0, written 7, read back 7\n"
                            "holding:104*2:int16: held 0 0, written -1 2, read back -1 2\n"
                            "holding:100.15: held 0, written 1, read back 1\n"
                            "0/holding:101: written 5, which no station acknowledges\n"
                            "3/holding:101:hex: held 0x0005, written 0x0006, read back 0x0006\n");
    const Result refused = panel({"write", device(), "holding:60000=1", "holding:100=1"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.output.contains("1 not written: refused"));
    EXPECT_TRUE(refused.output.endsWith("holding:100: held 32775, written 1, read back 1\n"));
}

TEST_F(Commands, SayInOneLineWhatIsWrong) {
    const QByteArray level = R"({"variables": [{"name": "level", "station": 1, "registerType": 7,
        "address": "0", "format": "int16"}])";
    const QStringList run{"run", write("plain.json", level + "}"), "--device", device()};
    const QString secretive = write("secretive.json", level + R"(, "broker": {"host": "127.0.0.1",
        "prefix": "p", "user": "u", "passwordFile": "/nowhere.password"}})");
    const struct {
        QStringList arguments;
        int status;
        const char *error;
    } cases[] = {
        {{"read", device(), "holding:1"}, 3, "No such file"},
        {{"find", device(), "--stations", "1"}, 3, "No such file"},
        {{"read", device(), "holding:1", "--library", "/nowhere.so"}, 2, "/nowhere.so"},
        {{"find", "--baud", "9600", device(), "--stations", "1"}, 3, "No such file"},
        {{"read", device(), "coil:1"}, 2, "coil"},
        {{"read", device(), "0/holding:1"}, 2, "none answers"},
        {{"write", device(), "holding:1"}, 2, "ADDRESS=VALUE"},
        {{"write", device(), "input:1=1", "holding:1=65536"}, 2, "65535"},
        {{"write", device(), "0/holding:1.1=1"}, 2, "all stations"},
        {{"find", device(), "--stations", "5-3"}, 2, "--stations"},
        {{"find", device(), "--file", PANEL_PROGRAM}, 2, "already"},
        {{"find", device(), "--file", path("none/x.json")}, 2, "No such file"},
        {{"plan", "/nowhere.json"}, 2, "/nowhere.json"},
        {run + QStringList{"--web", "0.0.0.0:8080"}, 2, "beyond this machine only with"},
        {run + QStringList{"--history", PANEL_PROGRAM}, 2, "not a history, left as it is"},
        {{"run", secretive, "--device", device()}, 2, "broker: /nowhere.password: No such file"},
    };
    for (const auto &c : cases) {
        const Result result = panel(c.arguments);
        EXPECT_EQ(result.status, c.status) << qPrintable(result.errors);
        EXPECT_EQ(result.errors.count('\n'), 1) << qPrintable(result.errors);
        EXPECT_TRUE(result.errors.contains(c.error)) << qPrintable(result.errors);
    }
}

TEST_F(Commands, FindNamesStationsAndSettingsAndWritesAPanelFile) {
    startPlc({"--baud", "9600", "--stations", "2,5,6"});
    const Result found =
        panel({"find", device(), "--baud", "19200,9600", "--parity", "even", "--stations", "2,4-6",
               "--timeout", "1000", "--file", path("found.json")}); // time for a busy machine
    EXPECT_EQ(found.status, 0) << qPrintable(found.errors);
    EXPECT_EQ(found.output.count('\n'), 3) << qPrintable(found.output);
    for (const char *station : {"2", "5", "6"}) {
        EXPECT_TRUE(found.output.contains(QRegularExpression(
            QString("station %1: 9600 even 1, answers in \\d+ ms\n").arg(station))));
    }
    const Result run = panel({"run", path("found.json"), "--scans", "3"});
    EXPECT_EQ(run.status, 0) << qPrintable(run.output + run.errors);
}

TEST_F(Commands, FindHearsRefusalsAndLateStationsButNotItself) {
    startPlc({"--faults", "echo=100%,exception=100%:2@2", "--late", "3:80", "--silent", "1"});
    const Result found = panel({"find", device(), "--baud", "19200", "--parity", "even",
                                "--stations", "1-5", "--file", path("echo.json")});
    EXPECT_TRUE(
        found.output.contains(QRegularExpression("^station 2: 19200 even 1, answers in \\d+ ms\n"
                                                 "station 3: 19200 even 1, answers in \\d+ ms\n"
                                                 "our own request comes back \\(echo\\)\n\\z")))
        << qPrintable(found.output);
    QFile file(path("echo.json"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(QJsonDocument::fromJson(file.readAll())["port"]["localEcho"], true);
    const Result none = panel(
        {"find", device(), "--baud", "19200,9600", "--parity", "odd", "--stations", "1,10-12"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.output, "our own request comes back (echo); no station answered\n");
}

TEST(SearchOrder, TriesTheLikeliestSettingsFirst) {
    QStringList order;
    for (const SearchSetting &setting : searchOrder({}, {}, 0))
        order += settingText(setting);
    EXPECT_EQ(order.mid(0, 5).join(", "),
              "19200 even 1, 9600 even 1, 19200 none 1, 9600 none 1, 19200 none 2");
    EXPECT_EQ(order[8], "38400 even 1");
    EXPECT_EQ(order.size(), 8 * 4);
    EXPECT_EQ(order.removeDuplicates(), 0);
    EXPECT_EQ(searchOrder({4800}, {LineParity::None}, 2).size(), 1U);
}

TEST_F(Commands, RunKeepsACaptureForEachLineAndNamesItInTheTrace) {
    startPlc();
    QProcess second;
    second.start(PLCSIM_PROGRAM, {"--link", path("plc2")});
    ASSERT_TRUE(second.waitForReadyRead(PatienceMs));
    QFile file(path("two.json"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QString(R"({"lines": [{"name": "west", "device": "%1"},
                                     {"name": "east/2", "device": "%2"}], "variables": [
            {"name": "a", "line": "west", "station": 1, "address": "0",
             "registerType": 7, "format": "uint16"},
            {"name": "b", "line": "east/2", "station": 2, "address": "0",
             "registerType": 7, "format": "uint16"}]})")
                   .arg(device(), path("plc2"))
                   .toUtf8());
    file.close();
    const Result run = panel({"run", file.fileName(), "--scans", "2", "--quiet", "--trace", "-",
                              "--capture", path("line.pcap")});
    second.terminate();
    second.waitForFinished(PatienceMs);
    if (run.errors.contains("without libpcap"))
        GTEST_SKIP() << qPrintable(run.errors);
    EXPECT_EQ(run.status, 0) << qPrintable(run.errors);
    EXPECT_TRUE(run.output.contains("Z west station 1: read holding 0: good, "));
    EXPECT_TRUE(run.output.contains("Z east/2 station 2: read holding 0: good, "));
    EXPECT_TRUE(panel({"explain", path("line.pcap"), "--conclusion"})
                    .output.startsWith("station 1: exchanges"));
    EXPECT_TRUE(panel({"explain", path("line.east_2.pcap"), "--conclusion"})
                    .output.startsWith("station 2: exchanges"));
}

TEST_F(Commands, PlanShowsBothPlans) {
    QFile file(path("sparse.json"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"({"lines": [{"name": "west", "device": "w"}, {"name": "east", "device": "e"}],
        "variables": [
            {"name": "a", "line": "west", "station": 1, "address": "0",
             "registerType": 7, "format": "uint16"},
            {"name": "b", "line": "west", "station": 1, "address": "50",
             "registerType": 7, "format": "uint16"},
            {"name": "c", "line": "east", "station": 1, "address": "9",
             "registerType": 7, "format": "uint16"}]})");
    file.close();
    const Result result = panel({"plan", file.fileName(), "--json"});
    ASSERT_EQ(result.status, 0) << qPrintable(result.errors);
    const QJsonObject west = QJsonDocument::fromJson(result.output.toUtf8())["lines"][0].toObject();
    EXPECT_EQ(west["driver"]["unasked"], 49);
    EXPECT_EQ(west["driver"]["requests"].toArray().size(), 1);
    const QJsonArray fastest = west["fastest"]["requests"].toArray();
    ASSERT_EQ(fastest.size(), 2);
    EXPECT_EQ(fastest[1]["register"], 50);
    EXPECT_EQ(fastest[1]["bytes"], 15);
    EXPECT_EQ(fastest[1]["variables"][0], "b");
    // Silence of 2.005 ms, 8 and 7 characters of 0.573 ms, 5 ms of the station.
    EXPECT_NEAR(fastest[1]["milliseconds"].toDouble(), 15.6, 0.01);
}

} // namespace
