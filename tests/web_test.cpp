// The page's server: what it answers, whom it refuses, and that nobody holds it up.
#include "panel/web/accept_pace.h"
#include "panel/web/access.h"
#include "panel/web/web.h"
#include "tests/http_client.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <future>
#include <memory>
#include <thread>

namespace {

const QByteArray Token = "a-token-of-this-test";

PanelFile panelFile() {
    QStringList errors;
    const auto parsed =
        parsePanel(R"({"port": {"name": "main", "device": "/dev/null"}, "variables": [
        {"name": "level", "station": 1, "registerType": 7, "address": "0", "format": "int16",
         "scale": 0.1, "unit": "m", "writable": true, "min": -5, "max": 5},
        {"name": "fixed", "station": 1, "registerType": 7, "address": "4", "format": "int16"}]})",
                   &errors);
    EXPECT_TRUE(errors.isEmpty()) << qPrintable(errors.join('\n'));
    return parsed.value_or(PanelFile());
}

ValueChange levelOf(char tenths, Quality quality = Quality::Good) {
    ValueChange change;
    change.data = QByteArray(1, tenths) + '\0';
    change.text = QString::number(tenths / 10.0);
    change.quality = quality;
    change.at = std::chrono::system_clock::time_point(std::chrono::seconds(1'700'000'000));
    return change;
}

struct HttpAnswer {
    int status = 0; // 0: cut off
    QByteArray head;
    QJsonObject json;
};

class WebTest : public testing::Test {
protected:
    // What became of the write is the test's to say.
    void startWith(const QByteArray &token) {
        WebOptions options;
        options.token = token;
        start(options);
    }
    void start(const WebOptions &options) {
        WebSources sources;
        sources.panel = &m_panel;
        sources.history = m_history;
        sources.report = [] {
            return QJsonObject{{"lines", QJsonArray()}};
        };
        sources.write = [this](const WriteOrder &order, const WriteDone &done) {
            m_order = order;
            m_done = done;
            m_isOrdered.set_value();
        };
        sources.log = [this](const QString &line) {
            m_log += line;
        };
        m_web = std::make_unique<Web>(options, sources);
        ASSERT_EQ(m_web->start(), "");
        m_port = m_web->address().section(':', -1).section('/', 0, 0).toInt();
    }

    QByteArray host() const { return "127.0.0.1:" + QByteArray::number(m_port); }

    // `headers` end with a line break each.
    HttpAnswer ask(const QByteArray &line, const QByteArray &headers = {},
                   const QByteArray &body = {}) const {
        HttpClient client(m_port);
        const QByteArray ownHost = headers.contains("Host:") ? "" : "Host: " + host() + "\r\n";
        client.send(line + " HTTP/1.1\r\n" + ownHost + headers + "Connection: close\r\n" +
                    "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body);
        const QByteArray answer = client.readAll();
        const int end = answer.indexOf("\r\n\r\n");
        return {answer.mid(9, 3).toInt(), answer.left(end),
                QJsonDocument::fromJson(answer.mid(end + 4)).object()};
    }

    HttpAnswer write(const QByteArray &body) const {
        return ask("POST /api/write", "Authorization: Bearer " + Token + "\r\n", body);
    }

    PanelFile m_panel = panelFile();
    const History *m_history = nullptr;
    WriteOrder m_order;
    WriteDone m_done;
    std::promise<void> m_isOrdered;
    QStringList m_log;
    std::unique_ptr<Web> m_web;
    int m_port = 0;
};

TEST_F(WebTest, TellsValuesWithQualityAndTime) {
    startWith({});
    m_web->observe(levelOf(15));
    const QJsonArray values = ask("GET /api/values").json["values"].toArray();
    EXPECT_EQ(values.at(0).toObject(), QJsonObject({{"line", "main"},
                                                    {"name", "level"},
                                                    {"value", 1.5},
                                                    {"text", "1.5"},
                                                    {"unit", "m"},
                                                    {"quality", "good"},
                                                    {"time", "2023-11-14T22:13:20.000Z"}}));
    EXPECT_EQ(values.at(1).toObject()["quality"], "never");
    EXPECT_TRUE(values.at(1).toObject()["value"].isNull());
}

TEST_F(WebTest, APageGetsTheWholePictureThenWhatChanges) {
    startWith({});
    m_web->observe(levelOf(15));
    HttpClient page(m_port);
    page.send("GET /api/events HTTP/1.1\r\nHost: " + host() + "\r\n\r\n");
    EXPECT_TRUE(page.readTo("\r\n\r\n").contains("text/event-stream"));
    EXPECT_TRUE(page.readTo("\n\n").contains("event: run"));
    const QByteArray first = page.readTo("\n\n");
    EXPECT_TRUE(first.contains("event: values") && first.contains("\"level\"") &&
                first.contains("\"fixed\""));
    m_web->observe(levelOf(15, Quality::Old));
    QByteArray next = page.readTo("\n\n");
    while (next.contains("event: pulse") || next.contains("\"good\"")) // may be told again
        next = page.readTo("\n\n");
    EXPECT_TRUE(next.contains("\"quality\":\"old\"") && !next.contains("\"fixed\"")) << next.data();
}

TEST_F(WebTest, AWriteIsAnsweredWhenThePlcHasIt) {
    startWith(Token);
    HttpClient client(m_port);
    const QByteArray body = R"({"line": "main", "variable": "level", "value": 1.2})";
    client.send("POST /api/write HTTP/1.1\r\nHost: " + host() + "\r\nAuthorization: Bearer " +
                Token + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" +
                body);
    m_isOrdered.get_future().wait();
    EXPECT_EQ(m_order.data, QByteArray("\x0C\0", 2));
    EXPECT_EQ(m_order.origin, "page 127.0.0.1");
    EXPECT_EQ(ask("GET /api/values").status, 200) << "others are answered meanwhile";
    m_done({{}, true, {}, QByteArray("\x0D\0", 2)});
    const QByteArray answer = client.readTo("}");
    EXPECT_TRUE(answer.contains(R"("ok":true)") && answer.contains(R"("readBack":1.3)"))
        << answer.data();
    EXPECT_TRUE(m_log.join('\n').contains("page 127.0.0.1")) << qPrintable(m_log.join('\n'));
}

TEST_F(WebTest, AWriteThatCannotBeSaysWhy) {
    startWith(Token);
    const std::vector<std::pair<QByteArray, QString>> table{
        {R"({"variable": "level", "value": 99})", "above the maximum"},
        {R"({"variable": "level", "value": "x"})", "x"},
        {R"({"variable": "level", "value": "1,5"})",
         R"(one value: a decimal point is written ".")"},
        {R"({"variable": "level"})", R"("value": ...)"},
        {R"({"variable": "fixed", "value": 1})", "not writable"},
        {R"({"variable": "other", "value": 1})", "there is no \"other\""},
        {R"({"line": "second", "variable": "level", "value": 1})", "there is no"},
        {R"([1])", "expected {"},
        {QByteArray(1000, '['), "expected {"},
    };
    for (const auto &[body, reason] : table) {
        const HttpAnswer answer = write(body);
        EXPECT_EQ(answer.status, 422) << body.data();
        EXPECT_FALSE(answer.json["ok"].toBool(true));
        const QString error = answer.json["error"].toString();
        EXPECT_TRUE(error.contains(reason)) << qPrintable(error);
    }
}

TEST_F(WebTest, ATrendThatIsNoneSaysWhy) {
    const QTemporaryDir folder;
    History history;
    ASSERT_EQ(history.open(folder.filePath("history.sqlite"), m_panel), "");
    m_history = &history;
    startWith({});
    const std::vector<std::pair<QByteArray, QString>> table{
        {"", "expected variable=NAME"},
        {"?variable=level&from=yesterday", "from: \"yesterday\" is no time"},
        {"?variable=level&to=9223372036854775807", "to: \"9223372036854775807\" is no time"},
        {"?variable=level&to=-9223372036854775808", "to: \"-9223372036854775808\" is no time"},
        {"?variable=level&from=2&to=2", "expected from before to"},
        {"?variable=level&element=abc", "element: \"abc\" is not a whole number"},
        {"?variable=level&element=-1", "element: \"-1\" is not a whole number"},
        {"?variable=level&points=abc", "points: \"abc\" is not a whole number"},
    };
    for (const auto &[query, reason] : table) {
        const HttpAnswer answer = ask("GET /api/history" + query);
        EXPECT_EQ(answer.status, 400) << query.data();
        const QString error = answer.json["error"].toString();
        EXPECT_TRUE(error.startsWith(reason)) << qPrintable(error);
    }
    EXPECT_NE(ask("GET /api/history?variable=level&from=2023-11-14T22:13:20Z&points=2").status,
              400);
}

TEST_F(WebTest, ThePanelEndsThoughAWriteIsUnderWay) {
    startWith(Token);
    HttpClient client(m_port);
    client.send("POST /api/write HTTP/1.1\r\nHost: " + host() + "\r\nAuthorization: Bearer " +
                Token + "\r\nContent-Length: 33\r\n\r\n{\"variable\": \"level\", \"value\": 1}\n");
    m_isOrdered.get_future().wait();
    m_web->stop();
    m_done({}); // goes nowhere
    EXPECT_FALSE(HttpClient(m_port).send("GET / HTTP/1.1\r\n\r\n"));
}

TEST_F(WebTest, ASecondPanelDoesNotShareThePort) {
    startWith({});
    WebOptions options;
    options.port = m_port;
    WebSources sources;
    sources.panel = &m_panel;
    Web second(options, sources);
    EXPECT_EQ(second.start(), QString("127.0.0.1:%1: Address already in use").arg(m_port));
    m_web->stop();
    EXPECT_EQ(second.start(), "") << "free again at once";
}

TEST_F(WebTest, RefusesThoseWhoMayNot) {
    startWith(Token);
    const QByteArray host = "Host: " + this->host() + "\r\n";
    const QByteArray bearer = "Authorization: Bearer ";
    struct {
        const char *reason;
        QByteArray line;
        QByteArray headers;
        int status;
    } const table[] = {
        {"reads the page", "GET /", host, 200},
        {"reads values", "GET /api/values", host, 200},
        {"by the machine's other name", "GET /api/values",
         "Host: localhost:" + QByteArray::number(m_port) + "\r\n", 200},
        {"a name that somebody points here", "GET /api/values", "Host: evil.example\r\n", 403},
        {"with our port, too", "GET /", "Host: evil.example:" + QByteArray::number(m_port) + "\r\n",
         403},
        {"another port", "GET /", "Host: 127.0.0.1:1\r\n", 403},
        {"the page itself", "GET /api/values", host + "Origin: http://" + this->host() + "\r\n",
         200},
        {"another page", "GET /api/values", host + "Origin: http://evil.example\r\n", 403},
        {"a page without a name", "GET /api/values", host + "Origin: null\r\n", 403},
        {"a picture in another page", "GET /api/values", host + "Sec-Fetch-Site: cross-site\r\n",
         403},
        {"writes without a token", "POST /api/write", host, 401},
        {"with a wrong one", "POST /api/write", host + bearer + "a-token-of-this-tesT\r\n", 401},
        {"with a shorter one", "POST /api/write", host + bearer + "a-token\r\n", 401},
        {"with none", "POST /api/write", host + bearer + "\r\n", 401},
        {"from another page", "POST /api/write",
         host + bearer + Token + "\r\nOrigin: http://evil.example\r\n", 403},
        {"writes by reading", "GET /api/write?variable=level&value=1",
         host + bearer + Token + "\r\n", 405},
        {"what is not there", "GET /../../etc/passwd", host, 404},
        {"a trend without a history", "GET /api/history?variable=level", host, 404},
    };
    for (const auto &row : table)
        EXPECT_EQ(ask(row.line, row.headers).status, row.status) << row.reason;
    EXPECT_TRUE(ask("GET /api/write").head.contains("Allow: POST"));
    const QByteArray head = ask("GET /").head;
    EXPECT_TRUE(head.contains("default-src 'none'") && !head.contains("unsafe")) << head.data();
    EXPECT_EQ(m_log.filter("page 127.0.0.1: /api/write refused: wrong token").size(), 3);
    EXPECT_EQ(m_log.filter("refused: no token").size(), 1) << qPrintable(m_log.join('\n'));
}

TEST_F(WebTest, WithoutATokenNobodyWrites) {
    startWith({});
    EXPECT_EQ(write(R"({"variable": "level", "value": 1})").status, 403);
    EXPECT_EQ(ask("POST /api/write", "Authorization: Bearer \r\n", "{}").status, 403);
}

TEST_F(WebTest, BadRequestsHoldNobodyUp) {
    startWith({});
    QByteArray garbage;
    for (int i = 0; i < 5000; ++i)
        garbage += static_cast<char>(i * 37 + i / 256);
    std::vector<std::unique_ptr<HttpClient>> idle;
    for (int i = 0; i < 40; ++i) {
        idle.push_back(std::make_unique<HttpClient>(m_port));
        idle.back()->send(i % 2 == 0 ? QByteArray("GET /api/val") : garbage);
    }
    EXPECT_EQ(ask("POST /api/write", "", QByteArray(70'000, 'x')).status, 413);
    HttpClient endless(m_port);
    endless.send("POST /api/write HTTP/1.1\r\nHost: " + host() +
                 "\r\nTransfer-Encoding: chunked\r\n\r\n");
    const QByteArray chunk = "2000\r\n" + QByteArray(8192, 'x') + "\r\n";
    for (int i = 0; i < 9; ++i)
        endless.send(chunk);
    EXPECT_FALSE(endless.readAll().startsWith("HTTP/1.1 2")) << "it is cut off";
    EXPECT_EQ(ask("GET /api/values").status, 200);
}

TEST_F(WebTest, BeyondItsConnectionsNobodyIsLetIn) {
    startWith({});
    std::vector<std::unique_ptr<HttpClient>> pages;
    int taken = 0;
    for (int i = 0; i < 80; ++i) {
        pages.push_back(std::make_unique<HttpClient>(m_port));
        pages.back()->send("GET /api/events HTTP/1.1\r\nHost: " + host() + "\r\n\r\n");
        const bool isLetIn = pages.back()->readTo("\r\n").contains("200");
        taken += isLetIn ? 1 : 0;
        if (!isLetIn)
            pages.pop_back();
    }
    EXPECT_EQ(taken, 56);
    EXPECT_EQ(ask("GET /api/values").status, 200) << "room is left for questions";
}

TEST_F(WebTest, WhoComesWhileAllConnectionsAreIdleIsSentAwayAtOnce) {
    startWith({});
    std::vector<std::unique_ptr<HttpClient>> idle;
    for (int i = 0; i < 80; ++i) {
        idle.push_back(std::make_unique<HttpClient>(m_port));
        idle.back()->send("GET /api/val");
    }
    for (std::size_t i = 64; i < 80; ++i)
        EXPECT_EQ(idle[i]->readAll(), "") << i; // would wait as long as the others may
    EXPECT_EQ(ask("GET /api/values").status, 0);
    idle.resize(10);
    while (ask("GET /api/values").status == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

TEST_F(WebTest, WhoNeverEndsARequestIsCutOff) {
    WebOptions options;
    options.requestSeconds = 1;
    start(options);
    HttpClient slow(m_port);
    const auto began = std::chrono::steady_clock::now();
    int sent = 0;
    while (sent < 500 && slow.send("a")) { // at a pace that libmicrohttpd takes for alive
        ++sent;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(900));
    EXPECT_LT(sent, 500);
}

TEST_F(WebTest, NamesAnAddressThatABrowserCanUse) {
    WebOptions options;
    options.address = "0.0.0.0";
    options.token = Token;
    start(options);
    const QString address = m_web->address();
    EXPECT_TRUE(address.endsWith("/, on every IPv4 address of this machine"))
        << qPrintable(address);
    const QByteArray host = address.section('/', 2, 2).toLatin1();
    EXPECT_EQ(ask("GET /", "Host: " + host + "\r\n").status, 200) << host.data();
}

TEST(EventStreamTest, ABrowserThatTakesNothingIsCutOff) {
    EventStream stream(false);
    for (int i = 0; i <= EventStream::MostBytes / 1000 && !stream.isEnded(); ++i)
        stream.push(QByteArray(1000, 'x'));
    EXPECT_TRUE(stream.isEnded());
    char byte = 0;
    EXPECT_EQ(stream.take(&byte, 1, [] {}), -1);
}

TEST(AcceptPaceTest, ABurstIsTakenAtOnceAFloodIsNot) {
    AcceptPace pace;
    AcceptPace::Clock::time_point now{std::chrono::hours(1)};
    for (int i = 0; i < AcceptPace::Burst; ++i)
        EXPECT_EQ(pace.take(now).count(), 0) << i;
    EXPECT_EQ(pace.take(now), AcceptPace::Spacing);
    now += 3 * AcceptPace::Spacing;
    EXPECT_EQ(pace.take(now).count(), 0);
    EXPECT_EQ(pace.take(now).count(), 0);
    EXPECT_EQ(pace.take(now), AcceptPace::Spacing);
}

TEST(AccessTest, BeyondThisMachineReadingNeedsTheTokenToo) {
    WebOptions options;
    options.address = "0.0.0.0";
    options.token = Token;
    Request request;
    EXPECT_EQ(refuseReader(options, request)->status, 401);
    request.authorization = "Bearer " + Token;
    EXPECT_FALSE(refuseReader(options, request));
}

TEST(WebOptionsTest, SayWhereToListen) {
    QTemporaryDir folder;
    const auto file = [&](const char *name, const QByteArray &text) {
        QFile written(folder.filePath(name));
        EXPECT_TRUE(written.open(QIODevice::WriteOnly));
        written.write(text);
        return written.fileName();
    };
    const QString token = file("token", Token + "\nmore\n");
    struct {
        const char *where;
        QString tokenFile;
        QString address; // empty: refused
    } const table[] = {
        {"8080", "", "127.0.0.1"},
        {"localhost:80", "", "127.0.0.1"},
        {"127.0.0.2:80", "", "127.0.0.2"},
        {"[::1]:80", "", "::1"},
        {"0.0.0.0:80", token, "0.0.0.0"},
        {"0.0.0.0:80", "", ""},
        {":80", token, ""},
        {"evil.example:80", token, ""},
        {"70000", "", ""},
        {"80", file("short", "abc\n"), ""},
        {"80", "/does/not/exist", ""},
        {"", "", ""},
    };
    for (const auto &row : table) {
        WebOptions options;
        const QString error = readWebOptions(row.where, row.tokenFile, &options);
        EXPECT_EQ(error.isEmpty(), !row.address.isEmpty()) << row.where << qPrintable(error);
        EXPECT_EQ(error.isEmpty() ? options.address : "", row.address);
    }
}

} // namespace
