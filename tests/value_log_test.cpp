// The log of values: what a reader of the file finds, also after a kill and with a full disk.
#include "panel/feed/value_log.h"

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <thread>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const QByteArray Heading = "time,line,variable,value,unit,quality\n";

class LogOfValues : public testing::Test {
protected:
    LogOfValues() {
        panel.lines.resize(1);
        panel.lines[0].name = "hall";
        panel.variables.resize(3);
        for (Variable &variable : panel.variables) {
            variable.station = 1;
            variable.regType = 7;
        }
        panel.variables[0].name = "level";
        panel.variables[0].unit = "%";
        panel.variables[1].name = "a \"b\", c\nd";
        panel.variables[2].name = "all stations";
        panel.variables[2].station = 0;
    }

    static ValueChange change(std::size_t variable, char value, Quality quality = Quality::Good) {
        ValueChange change;
        change.variable = variable;
        change.quality = quality;
        change.at = std::chrono::system_clock::time_point(std::chrono::milliseconds(1700000000007));
        if (quality != Quality::Never) {
            change.data.append(value).append('\0');
            change.text = QString::number(value);
        }
        return change;
    }
    QString path(const char *name) const { return directory.filePath(name); }
    static QByteArray contents(const QString &path) {
        QFile file(path);
        EXPECT_TRUE(file.open(QFile::ReadOnly));
        return file.readAll();
    }
    static void put(const QString &path, const QByteArray &bytes) {
        QFile file(path);
        EXPECT_TRUE(file.open(QFile::WriteOnly) && file.write(bytes) == bytes.size());
    }
    // Until the log has written so many lines.
    static void waitForLines(const QString &path, int lines) {
        while (contents(path).count('\n') < lines)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    static QByteArray levelRow(const char *value, const char *quality = "good") {
        return QByteArray("2023-11-14T22:13:20.007Z,hall,level,") + value + ",%," + quality + '\n';
    }

    QTemporaryDir directory;
    PanelFile panel;
};

TEST_F(LogOfValues, NamesSurviveAReaderOfCsv) {
    ValueLog log(panel);
    ASSERT_EQ(log.open(path("a.csv")), "");
    log.observe(change(0, 5));
    log.observe(change(1, 6, Quality::Old));
    log.close();
    EXPECT_EQ(contents(path("a.csv")),
              Heading + levelRow("5") +
                  "2023-11-14T22:13:20.007Z,hall,\"a \"\"b\"\", c\nd\",6,,old\n");
    EXPECT_FALSE(log.failed());
}

TEST_F(LogOfValues, EachLineOfJsonIsARow) {
    ValueLog log(panel);
    ASSERT_EQ(log.open(path("a.jsonl")), "");
    log.observe(change(1, 5));
    log.observe(change(0, 0, Quality::Never));
    log.close();
    const QList<QByteArray> lines = contents(path("a.jsonl")).split('\n');
    ASSERT_EQ(lines.size(), 3);
    const QJsonObject first = QJsonDocument::fromJson(lines[0]).object();
    EXPECT_EQ(first["variable"].toString(), panel.variables[1].name);
    EXPECT_EQ(first["value"], QJsonValue(5));
    EXPECT_EQ(first["time"].toString(), "2023-11-14T22:13:20.007Z");
    const QJsonObject second = QJsonDocument::fromJson(lines[1]).object();
    EXPECT_TRUE(second["value"].isNull());
    EXPECT_EQ(second["quality"].toString(), "never");
}

TEST_F(LogOfValues, WhatAnEarlierRunLeftHalfIsEndedFirst) {
    const struct {
        const char *name;
        QByteArray found;
        QByteArray ended;
    } cases[] = {
        {"whole.csv", Heading + levelRow("1"), Heading + levelRow("1")},
        {"half.csv", Heading + "2023-11-14T22", Heading + "2023-11-14T22\n"},
        {"quoted.csv", Heading + "2023,hall,\"a \"\"b\"\", c\n",
         Heading + "2023,hall,\"a \"\"b\"\", c\n\"\n"},
        {"half.jsonl", "{\"line\":\"ha", "{\"line\":\"ha\n"},
    };
    for (const auto &c : cases) {
        put(path(c.name), c.found);
        ValueLog log(panel);
        ASSERT_EQ(log.open(path(c.name)), "");
        log.observe(change(0, 2));
        log.close();
        const QByteArray found = contents(path(c.name));
        EXPECT_TRUE(found.startsWith(c.ended)) << c.name << found.constData();
        EXPECT_EQ(found.count('\n'), c.ended.count('\n') + 1) << c.name;
    }
}

TEST_F(LogOfValues, LeavesFilesAloneThatAreNoLog) {
    const QByteArray notes = "a list of things that I have to do, and by when\n";
    put(path("short.csv"), "notes");
    put(path("notes.csv"), notes);
    put(path("notes.jsonl"), notes);
    for (const char *name :
         {"short.csv", "notes.csv", "notes.jsonl", "log.txt", "no/such/folder.csv"}) {
        ValueLog log(panel);
        EXPECT_TRUE(log.open(path(name)).contains(name)) << name;
    }
    EXPECT_EQ(contents(path("notes.csv")), notes);
}

TEST_F(LogOfValues, AKilledProcessLosesNothingThatWasWritten) {
    const pid_t child = ::fork();
    if (child == 0) {
        ValueLog log(panel);
        if (!log.open(path("a.csv")).isEmpty())
            ::_exit(1);
        log.observe(change(0, 1));
        log.observe(change(0, 2));
        ::pause();
    }
    while (!QFile::exists(path("a.csv")))
        std::this_thread::yield();
    waitForLines(path("a.csv"), 3);
    ::kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(contents(path("a.csv")), Heading + levelRow("1") + levelRow("2"));
}

// A limit of the file's size stops a write half way, as a full disk does.
void limitFiles(rlim_t bytes) {
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
    limit.rlim_cur = bytes;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
}

TEST_F(LogOfValues, AFullDiskIsSaidOnceAndTheLogGoesOnWithSpace) {
    ASSERT_NE(std::signal(SIGXFSZ, SIG_IGN), SIG_ERR);
    ValueLog log(panel);
    ASSERT_EQ(log.open(path("a.csv")), "");
    log.observe(change(0, 1));
    waitForLines(path("a.csv"), 2);
    limitFiles(static_cast<rlim_t>(Heading.size() + levelRow("1").size()) + 10);
    log.observe(change(0, 2));
    while (!log.failed())
        std::this_thread::yield();
    log.observe(change(0, 3));
    EXPECT_EQ(contents(path("a.csv")), Heading + levelRow("1")); // no half row
    limitFiles(RLIM_INFINITY);
    waitForLines(path("a.csv"), 4);
    log.close();
    EXPECT_EQ(contents(path("a.csv")), Heading + levelRow("1") + levelRow("2") + levelRow("3"));
    EXPECT_TRUE(log.error().startsWith(path("a.csv") + ": "));
    EXPECT_EQ(log.dropped(), 0U);
}

TEST_F(LogOfValues, CountsWhatNoDiskTook) {
    ASSERT_TRUE(QFile::link("/dev/full", path("a.csv")));
    ValueLog log(panel);
    ASSERT_EQ(log.open(path("a.csv")), "");
    for (std::size_t i = 0; i < ValueLog::Capacity + 10; ++i)
        log.observe(change(0, 1));
    EXPECT_EQ(log.dropped(), 10U);
    log.close();
    EXPECT_EQ(log.dropped(), ValueLog::Capacity + 10);
    EXPECT_TRUE(log.error().contains("No space left")) << qPrintable(log.error());
}

TEST_F(LogOfValues, AGridHasAllValuesAtWholeMultiples) {
    panel.variables[1].name = "other";
    ValueLog log(panel, std::chrono::seconds(1));
    ASSERT_EQ(log.open(path("a.csv")), "");
    log.observe(change(0, 5));
    log.observe(change(0, 6));
    waitForLines(path("a.csv"), 5);
    log.close();
    QList<QByteArray> rows = contents(path("a.csv")).split('\n').mid(1, 4);
    for (int i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].mid(19, 5), ".000Z") << rows[i].constData();
        EXPECT_EQ(rows[i].mid(25), i % 2 == 0 ? "hall,level,6,%,good" : "hall,other,,,never");
    }
    EXPECT_EQ(rows[0].left(24), rows[1].left(24));
    EXPECT_LT(rows[1].left(24), rows[2].left(24));
}

} // namespace
