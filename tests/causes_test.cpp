// What the panel says of a line that has something wrong with it, each fault on a simulated line.
#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <ostream>

namespace {

constexpr int PatienceMs = 60'000; // only ends a test that hangs

struct Fault {
    const char *seen;
    QStringList plcsim;
    const char *said; // in the summary and in what is explained of the capture
};

void PrintTo(const Fault &fault, std::ostream *out) {
    *out << fault.seen;
}

const Fault Faults[] = {
    {"no byte ever", {"--silent", "2"}, "no answer to any of"},
    {"bytes, hardly a good frame", {"--baud", "9600"}, "baud rate or parity"},
    {"our own request", {"--silent", "2", "--faults", "echo=100%"}, "echo: our own request"},
    {"frames of another", {"--faults", "foreign=100%"}, "another station answers"},
    {"requests that are not ours", {"--faults", "master=20%"}, "another master is on the line"},
    {"answers to something else", {"--faults", "function=100%"}, "do not fit what was asked"},
    {"answers after their time", {"--late", "2:150"}, "came too late"},
    {"exceptions", {"--faults", "exception=100%:2"}, "refused read holding 100: illegal data"},
    {"silent now and then", {"--faults", "drop=30%"}, "requests, now and then: a loose wire"},
    {"bad now and then", {"--faults", "flip=20%"}, "noise: "},
    {"answers, then silence",
     {"--silent-after", "2:20"},
     "the last request it answered was read holding"},
};

class Causes : public ::testing::TestWithParam<Fault> {
protected:
    void TearDown() override {
        m_plc.terminate();
        m_plc.waitForFinished(PatienceMs);
    }
    QString path(const char *name) const { return m_directory.filePath(name); }
    void startPlc() {
        m_plc.start(PLCSIM_PROGRAM,
                    QStringList{"--link", path("plc"), "--reply-time", "2"} + GetParam().plcsim);
        ASSERT_TRUE(m_plc.waitForReadyRead(PatienceMs)) << qPrintable(m_plc.errorString());
    }
    // Asks station 2 alone and all the time, however silent it is; for registers that lie apart,
    // since one that is refused is asked for seldom.
    QString panelFile() const {
        QByteArrayList variables;
        for (const char *address : {"100", "300", "500", "700", "900"}) {
            variables += QByteArray(R"({"name": ")") + address +
                         R"(", "station": 2, "registerType": 7, "format": "uint16", "address": ")" +
                         address + "\"}";
        }
        QFile file(path("panel.json"));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(R"({"port": {"responseTimeoutMs": 100, "deadShare": 1,
            "restAfterGiveUpSeconds": 0}, "variables": [)" +
                   variables.join(',') + "]}");
        return file.fileName();
    }
    static QString panel(const QStringList &arguments) {
        QProcess process;
        process.start(PANEL_PROGRAM, arguments);
        EXPECT_TRUE(process.waitForFinished(PatienceMs));
        return process.readAllStandardOutput();
    }

private:
    QTemporaryDir m_directory;
    QProcess m_plc;
};

TEST_P(Causes, AreNamedInTheSummaryAndFromTheCapture) {
    startPlc();
    const QString summary = panel({"run", "--device", path("plc"), "--seconds", "5", "--capture",
                                   path("line.pcap"), panelFile()});
    EXPECT_TRUE(summary.contains(GetParam().said)) << qPrintable(summary);
    const QString explained = panel({"explain", "--conclusion", path("line.pcap")});
    EXPECT_TRUE(explained.contains(GetParam().said)) << qPrintable(explained);
}

INSTANTIATE_TEST_SUITE_P(Line, Causes, ::testing::ValuesIn(Faults), [](const auto &fault) {
    return QString(fault.param.seen).remove(',').replace(' ', '_').toStdString();
});

} // namespace
