// The panel in a terminal that a person sits at: the table comes, stands aside and goes.
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <thread>

namespace {

constexpr int PatienceMs = 30'000; // only ends a test that hangs

class InTerminal : public ::testing::Test {
protected:
    void SetUp() override {
        if (!HAS_TABLE || QStandardPaths::findExecutable("tmux").isEmpty())
            GTEST_SKIP() << "built without ncurses, or no tmux";
        m_plc.start(PLCSIM_PROGRAM, {"--baud", "19200", "--link", device()});
        ASSERT_TRUE(m_plc.waitForReadyRead(PatienceMs)) << qPrintable(m_plc.errorString());
        tmux({"-f", "/dev/null", "-u", "new-session", "-d", "-x", "80", "-y", "24",
              "bash --norc --noprofile -i"});
    }
    void TearDown() override {
        tmux({"kill-server"});
        m_plc.terminate();
        m_plc.waitForFinished(PatienceMs);
    }
    QString device() const { return path("plc"); }
    QString path(const QString &name) const { return m_directory.filePath(name); }

    QString tmux(const QStringList &arguments) const {
        QProcess process;
        process.start("tmux", QStringList{"-S", m_directory.filePath("tmux")} + arguments);
        EXPECT_TRUE(process.waitForFinished(PatienceMs));
        return process.readAllStandardOutput();
    }
    void type(const QString &line) const { tmux({"send-keys", line, "Enter"}); }
    void press(const QString &key) const { tmux({"send-keys", key}); }
    // What the screen shows once it shows that.
    QString waitFor(const QString &text) const {
        QString screen;
        QElapsedTimer waited;
        waited.start();
        while (!screen.contains(text) && waited.elapsed() < PatienceMs) {
            screen = tmux({"capture-pane", "-p"});
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        EXPECT_TRUE(screen.contains(text)) << qPrintable(text + " is not in:\n" + screen);
        return screen;
    }
    // Whether the shell's own screen and the cursor are there.
    bool isGivenBack() const {
        return tmux({"display", "-p", "#{alternate_on} #{cursor_flag}"}) == "0 1\n";
    }

private:
    QTemporaryDir m_directory;
    QProcess m_plc;
};

TEST_F(InTerminal, TheTableStandsAsideForTheShellAndComesBack) {
    type(PANEL_PROGRAM " run --library " DRIVER_LIBRARY " --device " + device() + " " DEMO_FILE);
    waitFor("of 30; arrows");
    EXPECT_FALSE(isGivenBack());
    press("End");
    EXPECT_TRUE(waitFor("to 30 of 30").contains("seen everywhere"));
    press("C-z");
    waitFor("Stopped");
    EXPECT_TRUE(isGivenBack());
    type("echo $((6 * 7)) && fg");
    waitFor("to 30 of 30");
    EXPECT_FALSE(isGivenBack());
    press("C-c");
    waitFor("variables: ");
    EXPECT_TRUE(isGivenBack());
}

TEST_F(InTerminal, AKilledPanelLeavesAUsableShell) {
    type(PANEL_PROGRAM " run --library " DRIVER_LIBRARY " --device " + device() + " " DEMO_FILE);
    waitFor("q ends the run");
    const QString shell = tmux({"display", "-p", "#{pane_pid}"}).trimmed();
    QProcess::execute("pkill", {"-TERM", "-P", shell});
    waitFor("variables: ");
    EXPECT_TRUE(isGivenBack());
    type("echo $((6 * 7))");
    waitFor("\n42");
}

TEST_F(InTerminal, ASignalThatEndsItAtOnceLeavesAUsableShell) {
    QFile slow(path("slow.json"));
    ASSERT_TRUE(slow.open(QIODevice::WriteOnly));
    slow.write(R"({"port": {"responseTimeoutMs": 60000}, "variables": [
        {"name": "a", "station": 99, "registerType": 7, "address": "0", "format": "uint16"}]})");
    slow.close();
    type("ulimit -c 0");
    for (const QStringList &keys : {QStringList{"C-c", "C-c"}, QStringList{"C-\\"}}) {
        type(PANEL_PROGRAM " run --library " DRIVER_LIBRARY " --device " + device() + " " +
             slow.fileName());
        waitFor("q ends the run");
        EXPECT_FALSE(isGivenBack());
        tmux(QStringList{"send-keys"} + keys);
        QElapsedTimer waited;
        waited.start();
        while (!isGivenBack())
            ASSERT_LT(waited.elapsed(), PatienceMs) << qPrintable(keys.join(' '));
        type("clear");
    }
}

} // namespace
