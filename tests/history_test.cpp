// The history: what it keeps, what a trend shows of it, how it stays small, and which files it
// leaves alone.
#include "panel/feed/history.h"
#include "panel/feed/history_query.h"
#include "panel/feed/history_store.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <csignal>
#include <cstring>
#include <limits>
#include <random>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using std::chrono::milliseconds;

constexpr qint64 Start = 1'700'000'000'000;
constexpr qint64 Second = 1000;
constexpr qint64 Hour = 3'600'000;

const PanelFile &panel() {
    static const PanelFile file = [] {
        QStringList errors;
        const auto parsed = parsePanel(R"({"port": {"device": "/dev/null"}, "variables": [
            {"name": "level", "station": 1, "registerType": 7, "address": "0", "format": "int16",
             "scale": 0.1, "unit": "m"},
            {"name": "pair", "station": 1, "registerType": 7, "address": "4",
             "count": 2, "format": "uint16"},
            {"name": "plate", "station": 1, "registerType": 7, "address": "8", "count": 4,
             "format": "text"}]})",
                                       &errors);
        EXPECT_TRUE(errors.isEmpty()) << qPrintable(errors.join('\n'));
        return parsed.value_or(PanelFile());
    }();
    return file;
}

// Variable 0 of the panel; its raw value is a tenth.
ValueChange level(int raw, Quality quality, qint64 at) {
    ValueChange change;
    change.data.resize(2);
    std::memcpy(change.data.data(), &raw, 2);
    change.quality = quality;
    change.at = std::chrono::system_clock::time_point(milliseconds(at));
    return change;
}

// "20=1.5 30=- 40=2": seconds after the start, a gap as "-".
QString textOf(const Trend &trend) {
    QStringList texts{trend.error};
    for (const TrendPoint &point : trend.points) {
        texts += QString("%1=%2")
                     .arg((point.at - Start) / Second)
                     .arg(point.value ? QString::number(*point.value) : "-");
    }
    return texts.join(' ').trimmed();
}

class HistoryTest : public testing::Test {
protected:
    QString path(const char *name = "history.sqlite") const { return m_folder.filePath(name); }

    QString trendText(qint64 fromSecond, qint64 toSecond) const {
        return textOf(readTrend(
            path(), {"level", 0, Start + fromSecond * Second, Start + toSecond * Second, 2000}));
    }

    // Opens a store on path() with one variable, "level".
    qint64 openStore(HistoryStore *store, const HistoryLimits &limits = {}, qint64 at = Start) {
        EXPECT_EQ(store->open(path(), limits, at), "");
        return store->idsOf({{"line", "level", 0, "m"}}).at(0);
    }

    static QByteArray bytesOf(const QString &file) {
        QFile opened(file);
        EXPECT_TRUE(opened.open(QIODevice::ReadOnly));
        return opened.readAll();
    }

    static void overwrite(const QString &file, qint64 at, const QByteArray &bytes) {
        QFile opened(file);
        ASSERT_TRUE(opened.open(QIODevice::ReadWrite));
        opened.seek(at);
        opened.write(bytes);
    }

    QTemporaryDir m_folder;
};

TEST(ThinnerTest, KeepsEveryPeakAndGapAndTheLastPoint) {
    Thinner thinner(0, 99'999, 40); // ten parts
    for (qint64 at = 0; at < 100'000; ++at) {
        std::optional<double> value = at % 100;
        if (at == 12'345)
            value = 1e6;
        if (at == 12'346)
            value = -1e6;
        if (at == 55'555)
            value.reset();
        thinner.add({at, value});
    }
    const std::vector<TrendPoint> points = thinner.points();
    EXPECT_LE(points.size(), 40U);
    QStringList remarkable;
    for (const TrendPoint &point : points) {
        if (!point.value || std::abs(*point.value) > 1000)
            remarkable += QString::number(point.at);
    }
    EXPECT_EQ(remarkable, QStringList({"12345", "12346", "55555"}));
    EXPECT_EQ(points.back().at, 99'999);
}

TEST(ThinnerTest, TakesAnySpan) {
    constexpr qint64 First = std::numeric_limits<qint64>::min();
    constexpr qint64 Last = std::numeric_limits<qint64>::max();
    Thinner thinner(First, Last, 4);
    for (const qint64 at : {First, First + 1, qint64(0), Last - 1, Last})
        thinner.add({at, static_cast<double>(at)});
    EXPECT_EQ(thinner.points().front().at, First);
    EXPECT_EQ(thinner.points().back().at, Last);
}

TEST_F(HistoryTest, KeepsEachValueOfAVariableWithTimeAndQuality) {
    History history;
    ASSERT_EQ(history.open(path(), panel()), "");
    history.observe(level(15, Quality::Good, Start));
    ValueChange pair = level(7, Quality::Good, Start);
    pair.variable = 1;
    pair.data = QByteArray("\x07\x00\x2A\x00", 4);
    history.observe(pair);
    ValueChange plate = pair;
    plate.variable = 2;
    plate.text = "PUMP";
    history.observe(plate);
    history.observe(level(15, Quality::Old, Start + Second));

    Database db; // as any other program reads it meanwhile
    ASSERT_TRUE(db.open(path(), Database::Access::ReadOnly));
    while (db.number("SELECT count(*) FROM history") < 5)
        std::this_thread::sleep_for(milliseconds(20));
    EXPECT_EQ(db.text("SELECT group_concat(name || element || ' ' || value || unit || ' ' || "
                      "quality, ', ') FROM history"),
              "level0 1.5m good, pair0 7 good, pair1 42 good, plate0 PUMP good, level0 1.5m old");
    EXPECT_EQ(db.text("SELECT time FROM history LIMIT 1"), "2023-11-14T22:13:20.000Z");
}

TEST_F(HistoryTest, ATrendHoldsValuesAndShowsWhereTheyWereNotKnown) {
    HistoryStore store;
    const qint64 id = openStore(&store);
    const auto at = [&](qint64 second, Quality quality, double value) {
        return HistoryRow{id, Start + second * Second, quality, value, {}};
    };
    ASSERT_TRUE(store.write({at(1, Quality::Good, 1.5)}, Start + 5 * Second));
    ASSERT_TRUE(
        store.write({at(6, Quality::Old, 1.5), at(8, Quality::Good, 2)}, Start + 9 * Second));
    EXPECT_EQ(trendText(0, 60), "0=- 1=1.5 6=- 8=2 9=2") << "up to when the panel was last alive";
    EXPECT_EQ(trendText(3, 5), "3=1.5 5=1.5") << "began before the span";
    EXPECT_EQ(trendText(-60, -30), "");
    EXPECT_EQ(textOf(readTrend(path(), {"other", 0, 0, 1, 10})), "no history of \"other\"");
}

TEST_F(HistoryTest, TheTimeBetweenTwoRunsIsAGap) {
    {
        HistoryStore store;
        const qint64 id = openStore(&store);
        store.write({{id, Start + Second, Quality::Good, 1.0, {}}}, Start + 2 * Second);
    }
    HistoryStore store;
    const qint64 id = openStore(&store, {}, Start + 20 * Second);
    store.write({{id, Start + 21 * Second, Quality::Good, 1.0, {}}}, Start + 22 * Second);
    EXPECT_EQ(trendText(0, 60), "0=- 1=1 2=- 21=1 22=1");
}

TEST_F(HistoryTest, AClockThatIsSetBringsNoValueAcross) {
    HistoryStore store;
    const qint64 id = openStore(&store, {}, 1000); // a panel without a clock of its own
    store.write({{id, 2000, Quality::Good, 1.0, {}}}, 3000);
    store.write({{id, Start + Second, Quality::Good, 2.0, {}}}, Start + Second);
    EXPECT_EQ(trendText(-60, 60), "1=2");
}

TEST_F(HistoryTest, StaysWithinItsSizeAndForgetsTheOldestFirst) {
    HistoryStore store;
    const qint64 id = openStore(&store, {30, 1});
    const qint64 still = store.idsOf({{"line", "still", 0, ""}}).at(0);
    ASSERT_TRUE(store.write({{still, Start, Quality::Good, 4.0, {}}}, Start));
    qint64 largest = 0;
    for (int second = 0; second < 900; second += 5) {
        std::vector<HistoryRow> rows(250);
        for (int i = 0; i < 250; ++i) {
            rows[static_cast<std::size_t>(i)] = {
                id, Start + second * Second + i * 20, Quality::Good, i + 0.5, {}};
        }
        ASSERT_TRUE(store.write(rows, Start + (second + 5) * Second));
        largest = std::max(largest, QFileInfo(path()).size() + QFileInfo(path() + "-wal").size());
    }
    EXPECT_LE(largest, 1'000'000);
    EXPECT_EQ(trendText(0, 1), "") << "forgotten";
    EXPECT_TRUE(trendText(890, 900).endsWith("900=249.5"));
    const Trend trend = readTrend(path(), {"still", 0, Start, Start + 900 * Second, 100});
    EXPECT_EQ(trend.points.back().value, 4.0) << "what changed long ago still holds";
}

TEST_F(HistoryTest, AReaderThatNeverEndsDoesNotMakeItGrow) {
    HistoryStore store;
    const qint64 id = openStore(&store, {30, 8});
    const std::vector<HistoryRow> rows(1000, {id, Start, Quality::Good, 1.5, {}});
    Database reader;
    ASSERT_TRUE(reader.open(path(), Database::Access::ReadOnly) && reader.run("BEGIN"));
    reader.number("SELECT count(*) FROM history");
    int batches = 0;
    while (batches < 1000 && store.write(rows, Start))
        ++batches;
    EXPECT_LT(batches, 1000);
    EXPECT_TRUE(store.takeError().contains("a reader has held it open"));
    EXPECT_LE(QFileInfo(path() + "-wal").size(), 8'000'000 / 4);
    reader.run("COMMIT");
    const qint64 later = Start + 60 * Second;
    ASSERT_TRUE(store.write({{id, Start + Second, Quality::Good, 2.5, {}}}, later))
        << qPrintable(store.takeError());
    EXPECT_EQ(trendText(0, 30), "0=1.5 1=2.5 30=2.5") << "what waited is no gap";
}

TEST_F(HistoryTest, ForgetsWhatIsOlderThanItsDays) {
    HistoryStore store;
    const qint64 id = openStore(&store, {1, 100});
    for (int hour = 0; hour <= 50; ++hour) {
        const qint64 at = Start + hour * Hour;
        ASSERT_TRUE(store.write({{id, at, Quality::Good, 1.0, {}}}, at));
    }
    const Trend trend = readTrend(path(), {"level", 0, 0, Start + 50 * Hour, 100'000});
    EXPECT_EQ((trend.points.front().at - Start) / Hour, 26);
}

// Of the smallest size, so that blocks are sorted in and forgotten all the time.
[[noreturn]] void keepHistoryUntilKilled(const QString &path, qint64 begin) {
    PanelFile small = panel();
    small.historyMegabytes = 1;
    History history;
    if (!history.open(path, small).isEmpty())
        _exit(1);
    for (int i = 0;; ++i) {
        history.observe(level(i % 30'000, Quality::Good, begin + i));
        if (i % 10 == 0)
            std::this_thread::sleep_for(milliseconds(1));
    }
}

TEST_F(HistoryTest, APanelThatIsKilledAtAnyMomentLosesNothingThatWasKept) {
    std::mt19937 dice(20); // NOLINT(cert-msc32-c,cert-msc51-cpp)
    for (int round = 1; round <= 4; ++round) {
        const qint64 begin = Start + round * Hour;
        const pid_t child = fork();
        if (child == 0)
            keepHistoryUntilKilled(path(), begin);
        const auto numberOf = [&](const char *what) {
            Database db;
            db.open(path(), Database::Access::ReadOnly);
            return db.number(QString("SELECT %1 FROM (SELECT time FROM change UNION ALL "
                                     "SELECT time FROM recent) WHERE time >= %2")
                                 .arg(what)
                                 .arg(begin)
                                 .toLatin1());
        };
        while (numberOf("count(*)") == 0)
            std::this_thread::sleep_for(milliseconds(20));
        std::this_thread::sleep_for(milliseconds(std::uniform_int_distribution(0, 900)(dice)));
        const qint64 seen = numberOf("max(time)");
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);

        HistoryStore again; // it looks at the whole file
        ASSERT_EQ(again.open(path(), {30, 1}, begin + Hour / 2), "");
        EXPECT_GE(numberOf("max(time)"), seen);
        EXPECT_EQ(numberOf("count(*)"), numberOf("max(time) - min(time) + 1")) << "a hole";
    }
}

TEST_F(HistoryTest, AFileThatIsFoundDamagedGetsNothingMoreAndThatIsSaid) {
    History history;
    ASSERT_EQ(history.open(path(), panel()), "");
    Database other;
    ASSERT_TRUE(other.open(path(), Database::Access::ReadWrite) &&
                other.run("PRAGMA writable_schema = ON; PRAGMA schema_version = 99;"
                          "UPDATE sqlite_master SET sql = 'x' WHERE name = 'history'"));
    history.observe(level(1, Quality::Good, Start));
    while (history.lost() == 0)
        std::this_thread::sleep_for(milliseconds(20));
    history.observe(level(2, Quality::Good, Start + 1));
    history.close();
    EXPECT_EQ(history.lost(), 2U);
    EXPECT_TRUE(history.error().contains("damaged, nothing more is written: malformed"))
        << qPrintable(history.error());
}

TEST_F(HistoryTest, ADiskThatTakesNothingIsTriedAgain) {
    History history;
    ASSERT_EQ(history.open(path(), panel()), "");
    Database other;
    ASSERT_TRUE(other.open(path(), Database::Access::ReadWrite) && other.run("BEGIN IMMEDIATE"));
    history.observe(level(1, Quality::Good, Start));
    while (history.error().isEmpty())
        std::this_thread::sleep_for(milliseconds(20));
    EXPECT_EQ(history.error(), "database is locked");
    other.run("ROLLBACK");
    while (!history.error().isEmpty())
        std::this_thread::sleep_for(milliseconds(20));
    EXPECT_EQ(other.number("SELECT count(*) FROM history"), 1);
    EXPECT_EQ(history.lost(), 0U);
}

TEST_F(HistoryTest, OnePanelAtATimeWritesAFile) {
    History first;
    ASSERT_EQ(first.open(path(), panel()), "");
    History second;
    EXPECT_TRUE(second.open(path(), panel()).contains("another panel"));
}

struct Spoiled {
    const char *reason;
    std::function<void(const QString &)> spoil; // a good history
    const char *expected;
};

TEST_F(HistoryTest, AFileThatIsDamagedOrNoHistoryIsLeftAsItIs) {
    const auto runSql = [](const char *sql) {
        return [sql](const QString &file) {
            Database db;
            EXPECT_TRUE(db.open(file, Database::Access::ReadWrite) && db.run(sql));
        };
    };
    const std::vector<Spoiled> table{
        {"a text", [](const QString &file) { overwrite(file, 0, "port: /dev/ttyS0"); },
         "damaged or not a history, left as it is"},
        {"another program's database", runSql("PRAGMA application_id = 7"),
         "not a history, left as it is"},
        {"a later version", runSql("PRAGMA user_version = 9"), "a history of version 9"},
        {"cut off", [](const QString &file) { QFile::resize(file, 3 * 4096); }, "damaged"},
        {"a page overwritten",
         [](const QString &file) { overwrite(file, 4 * 4096, QByteArray(4096, 'x')); }, "damaged"},
    };
    for (const Spoiled &row : table) {
        SCOPED_TRACE(row.reason);
        QFile::remove(path());
        {
            HistoryStore store;
            openStore(&store);
        }
        row.spoil(path());
        const QByteArray before = bytesOf(path());
        const QString error = History().open(path(), panel());
        EXPECT_TRUE(error.contains(row.expected)) << qPrintable(error);
        EXPECT_FALSE(error.contains('\n'));
        EXPECT_EQ(bytesOf(path()), before);
        const bool isOurs = error.contains("damaged,");
        EXPECT_TRUE(isOurs || QDir(m_folder.path()).entryList(QDir::Files).size() == 1);
    }
}

} // namespace
