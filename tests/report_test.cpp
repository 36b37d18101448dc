// What a run tells of its lines: the report file, the summary, plain lines of values.
#include "panel/health/line_news.h"
#include "panel/health/report.h"
#include "panel/health/report_file.h"
#include "panel/health/summary_text.h"
#include "panel/screen/plain_lines.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <csignal>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using std::chrono::milliseconds;

PanelFile panelFile() {
    QStringList errors;
    const auto panel = parsePanel(R"({"lines": [{"name": "west", "device": "w"},
                                                {"name": "east", "device": "e"}],
        "variables": [
          {"name": "level", "line": "west", "station": 2, "registerType": 7, "address": "100",
           "format": "uint16", "unit": "mm"},
          {"name": "beyond", "line": "west", "station": 2, "registerType": 8, "address": "4000",
           "format": "uint16"}]})",
                                  &errors);
    EXPECT_TRUE(panel) << qPrintable(errors.join('\n'));
    return *panel;
}

// Station 2 of the first line answers in 4 ms, and refuses its second variable.
LineReports reports() {
    LineWatch watch;
    for (int i = 0; i < 10; ++i) {
        Exchange exchange;
        exchange.station = 2;
        exchange.function = 3;
        exchange.firstRegister = i < 6 ? 100 : 9000;
        exchange.registers = 1;
        exchange.outcome = i < 6 ? Outcome::Good : Outcome::Refused;
        exchange.exceptionCode = i < 6 ? 0 : 2;
        exchange.replyTime = milliseconds(4);
        exchange.duration = milliseconds(8);
        exchange.sentAt = std::chrono::system_clock::time_point(milliseconds(i + 1));
        exchange.began = std::chrono::steady_clock::now();
        watch.observe(exchange);
    }
    LineReports lines(2);
    lines[0].findings = watch.findings();
    lines[0].status.lastPass = milliseconds(120);
    lines[0].status.restingStations[2] = "no answer for 2 min, next try in 12 s";
    lines[0].status.refusedVariables = {1};
    lines[1].status.deviceGone = "e: gone for 12 s";
    lines[1].status.deviceTrouble = "e is gone";
    return lines;
}

TEST(LineNews, TellsEachChangeOnce) {
    const auto now = LineNews::Clock::time_point(std::chrono::hours(24));
    const PanelFile panel = panelFile();
    LineNews news(panel);
    EXPECT_EQ(news.take(LineReports(2), now), QStringList());
    EXPECT_EQ(news.take(reports(), now),
              (QStringList{"line west: station 2: no answer, it is tried now and then",
                           "line west: beyond: refused by its station", "line east: e is gone"}));
    EXPECT_EQ(news.take(reports(), now), QStringList());
    EXPECT_EQ(news.take(LineReports(2), now),
              (QStringList{"line west: station 2 answers again", "line east: e is back"}));
    EXPECT_FALSE(news.take(reports(), now).contains("line west: beyond: refused by its station"))
        << "it was refused all the time, and asked for again";
}

TEST(LineNews, FillsNoDiskThoughALineNeverRests) {
    const auto start = LineNews::Clock::time_point(std::chrono::hours(24));
    const PanelFile panel = panelFile();
    LineNews news(panel);
    int told = 0;
    for (int second = 0; second < 3500; ++second) {
        told += news.take(second % 2 == 0 ? reports() : LineReports(2),
                          start + std::chrono::seconds(second))
                    .size();
    }
    EXPECT_EQ(told, LineNews::MostAnHour + 1) << "and that there is more";
    EXPECT_EQ(news.take(reports(), start + std::chrono::hours(2)).size(), 2) << "the next hour";
}

TEST(Report, HasEveryLineAndStation) {
    const auto now = std::chrono::system_clock::time_point(std::chrono::hours(24));
    const QJsonObject report = healthReport(panelFile(), reports(), now);
    EXPECT_EQ(report["at"], "1970-01-02T00:00:00.000Z");
    const QJsonObject west = report["lines"][0].toObject();
    EXPECT_EQ(west["lastPassMs"], 120);
    EXPECT_EQ(west["refusedVariables"], QJsonArray{"beyond"});
    EXPECT_EQ(report["lines"][1]["deviceGone"], "e: gone for 12 s");
    EXPECT_TRUE(report["lines"][1]["lastPassMs"].isNull());

    const QJsonObject station = west["stations"][0].toObject();
    EXPECT_EQ(station["failures"], (QJsonObject{{"refused", 4}}));
    EXPECT_EQ(station["replyTimes"]["steps"].toArray().size(), 1);
    EXPECT_EQ(station["replyTimes"]["longestMs"], 4);
    EXPECT_EQ(station["lastGood"]["at"], "1970-01-01T00:00:00.006Z");
    EXPECT_EQ(station["lastBad"]["reason"], "refused: illegal data address (exception 2)");
    EXPECT_TRUE(station["resting"].toString().startsWith("no answer for"));
    // The name is found though its area counts from 5000.
    EXPECT_TRUE(station["causes"][0].toString().contains("(beyond)"));
}

TEST(Summary, NamesLinesStationsAndCauses) {
    const QString text = healthSummary(panelFile(), reports());
    const QStringList lines = text.split('\n');
    EXPECT_EQ(lines[0], "exchanges 10, failed 4 (refused 4), given up 0");
    EXPECT_EQ(lines[1], "line west: " + lines[0]);
    EXPECT_EQ(lines[2],
              "  station 2: " + lines[0] + ", reply 4 ms (median), 4 ms (95 %), 4 ms (longest)");
    EXPECT_TRUE(lines[3].startsWith("    refused read holding 9000")) << qPrintable(text);
    EXPECT_EQ(lines[4], "    last good 1970-01-01T00:00:00.006Z, read holding 100");
    EXPECT_EQ(lines[5],
              "    last bad 1970-01-01T00:00:00.010Z, read holding 9000: refused: illegal "
              "data address (exception 2)");
    EXPECT_TRUE(text.contains("in use, a pass takes 120 ms\n")) << qPrintable(text);
}

// Station 1 answers behind the same echo.
TEST(Summary, BlamesNothingThatOtherStationsAnswerThrough) {
    LineWatch watch;
    const auto askBoth = [&watch](int times) {
        for (int i = 0; i < 2 * times; ++i) {
            Exchange exchange;
            exchange.station = 1 + i % 2;
            exchange.request = QByteArray::fromHex("020300640001C5E6");
            exchange.began = std::chrono::steady_clock::now();
            exchange.received = {{exchange.began, exchange.request}};
            exchange.outcome = exchange.station == 1 ? Outcome::Good : Outcome::NoReply;
            watch.observe(exchange);
        }
        const LineFindings findings = watch.findings();
        return conclusionOf(factsOf(findings, 2), findings.health.stations.at(2).counts);
    };
    EXPECT_TRUE(askBoth(2).value(0).contains("2 of 5 needed"));
    EXPECT_TRUE(askBoth(3).value(0).startsWith("no answer to any of 5"));
}

TEST(ReportFile, IsWholeWheneverItIsRead) {
    const QTemporaryDir directory;
    const QString path = directory.filePath("report.json");
    std::atomic<int> number{0};
    ReportFile file(path, [&number] { return QJsonObject{{"number", ++number}}; });
    EXPECT_EQ(file.open(milliseconds(1)), "");
    for (int i = 0; i < 50 || number < 10; ++i) {
        QFile reader(path);
        ASSERT_TRUE(reader.open(QIODevice::ReadOnly));
        EXPECT_TRUE(QJsonDocument::fromJson(reader.readAll())["number"].isDouble());
    }
    file.close();
    QFile reader(path);
    ASSERT_TRUE(reader.open(QIODevice::ReadOnly));
    EXPECT_EQ(QJsonDocument::fromJson(reader.readAll())["number"], number.load());
    EXPECT_EQ(file.error(), "");
    for (const char *wrong : {"/dev/null", "/nowhere/report.json"}) {
        ReportFile none(wrong, [] { return QJsonObject(); });
        EXPECT_TRUE(none.open().startsWith(wrong));
    }
}

TEST(ReportFile, KeepsTheLastOneWhenTheDiskIsFull) {
    const QTemporaryDir directory;
    const QString path = directory.filePath("report.json");
    QFile last(path);
    const QByteArray lastReport = QJsonDocument(healthReport(panelFile(), reports(), {})).toJson();
    ASSERT_TRUE(last.open(QIODevice::ReadWrite) && last.write(lastReport) > 0 && last.flush());
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    const rlimit full{1, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);
    const QString error = ReportFile(path, [] { return QJsonObject{{"number", 1}}; }).open();
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(error, path + ": File too large");
    QFile reader(path);
    ASSERT_TRUE(reader.open(QIODevice::ReadOnly));
    EXPECT_EQ(reader.readAll(), lastReport);
}

ValueChange change(const QString &text, Quality quality = Quality::Good) {
    return {0, {}, text, quality, std::chrono::system_clock::time_point(milliseconds(1500))};
}

TEST(PlainLines, SayValueUnitAndWhetherItIsOld) {
    const Variable variable = panelFile().variables[0];
    EXPECT_EQ(plainLine(variable, change("7"), Stamp::None), "level = 7\n");
    EXPECT_EQ(plainLine(variable, change("7", Quality::Old), Stamp::Utc),
              "1970-01-01T00:00:01.500Z level = ? 7\n");
    EXPECT_EQ(plainLine(variable, change("", Quality::Never), Stamp::Utc), "");
}

class PlainLinesPipe : public ::testing::Test {
protected:
    void SetUp() override {
        static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
        ASSERT_EQ(::pipe(m_ends), 0);
    }
    const PanelFile m_panel = panelFile();
    int m_ends[2] = {};
};

TEST_F(PlainLinesPipe, NeverHoldUpTheFeedAndKeepTheLatest) {
    PlainLines lines(m_panel, m_ends[1], Stamp::None);
    const int most = 4 * static_cast<int>(PlainLines::Capacity);
    for (int i = 1; i <= most; ++i)
        lines.observe(change(QString::number(i)));
    EXPECT_GT(lines.dropped(), 0U);
    std::thread closing([&lines] { lines.close(); });
    const int flags = ::fcntl(m_ends[1], F_GETFL);
    EXPECT_EQ(flags & O_NONBLOCK, 0) << "other programs share it";
    QFile reader;
    EXPECT_TRUE(reader.open(::dup(m_ends[0]), QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));
    QByteArray last;
    const QByteArray wanted = "level = " + QByteArray::number(most) + "\n";
    while (last != wanted)
        last = reader.readLine();
    closing.join();
    EXPECT_FALSE(lines.failed() || lines.isClosed());
}

TEST_F(PlainLinesPipe, EndQuietlyWhenTheReaderGoesAndGiveUpOneThatIsStuck) {
    PlainLines stuck(m_panel, m_ends[1], Stamp::None);
    for (int i = 0; i < static_cast<int>(PlainLines::Capacity); ++i)
        stuck.observe(change(QString(20, 'x')));
    stuck.close();
    EXPECT_FALSE(stuck.isClosed());

    PlainLines lines(m_panel, m_ends[1], Stamp::None);
    ::close(m_ends[0]);
    while (!lines.isClosed())
        std::this_thread::sleep_for(milliseconds(1));
    EXPECT_FALSE(lines.failed());
}

TEST(PlainLines, SayThatTheDiskIsFull) {
    const PanelFile panel = panelFile();
    PlainLines lines(panel, ::open("/dev/full", O_WRONLY | O_CLOEXEC), Stamp::None);
    lines.observe(change("7"));
    lines.close();
    EXPECT_EQ(lines.error(), "standard output: No space left on device");
}

} // namespace
