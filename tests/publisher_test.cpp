// What is published when, what waits in the spool, and what a client's write comes to.
#include "panel/broker/messages.h"
#include "panel/broker/publisher.h"
#include "panel/broker/remote_writes.h"
#include "panel/broker/spool.h"
#include "panel/command/run_log.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace {

using namespace std::chrono_literals;

constexpr int Words = 7;

Variable word(const char *name) {
    Variable variable;
    variable.name = name;
    variable.station = 1;
    variable.regType = Words;
    variable.addressText = "0";
    variable.unit = "bar";
    return variable;
}

PanelFile panelWithBroker() {
    PanelFile panel;
    panel.lines.resize(1);
    panel.lines[0].name = "press";
    panel.variables = {word("pressure"), word("level")};
    panel.variables[0].writable = true;
    panel.variables[0].max = 200;
    panel.broker.emplace();
    panel.broker->prefix = "plant";
    return panel;
}

ValueChange changeTo(int value, std::size_t variable = 0) {
    ValueChange change;
    change.variable = variable;
    change.data = QByteArray(1, static_cast<char>(value)) + '\0';
    change.quality = Quality::Good;
    change.at = std::chrono::system_clock::time_point(1'700'000'000'123ms);
    return change;
}

TEST(Messages, SayTheValueItsUnitHowFarItHoldsAndSinceWhen) {
    const PanelFile panel = panelWithBroker();
    EXPECT_EQ(variableTopic(panel, 1), "press/level");
    EXPECT_EQ(valuePayload(panel.variables[0], changeTo(12)),
              R"({"value":12,"unit":"bar","quality":"good","time":"2023-11-14T22:13:20.123Z"})");
    ValueChange never = changeTo(0);
    never.data.clear();
    never.quality = Quality::Never;
    EXPECT_EQ(valuePayload(panel.variables[0], never),
              R"({"value":null,"unit":"bar","quality":"never","time":"2023-11-14T22:13:20.123Z"})");
}

// A publisher whose broker acknowledges when the test says so.
class PublisherTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(spool.open(directory.filePath("spool"), 1), QString()); }

    void take(int value, std::size_t variable = 0) {
        publisher().take(changeTo(value, variable), now);
        publisher().pump(now);
    }
    void connect() {
        publisher().connected();
        publisher().pump(now);
    }
    void acknowledgeAll() {
        for (const int last = ids; acknowledged < last;)
            publisher().acknowledged(++acknowledged);
        publisher().pump(now);
    }
    Publisher &publisher() {
        if (!made) {
            made.emplace(panel, keeper,
                         [this](const QByteArray &topic, const QByteArray &payload, bool) {
                             if (linkIsDead)
                                 return std::optional<int>();
                             const int end = payload.indexOf(',');
                             sent += topic.mid(6) + ' ' + payload.mid(9, end - 9);
                             return std::optional(++ids);
                         });
        }
        return *made;
    }
    QList<QByteArray> takeSent() { return std::exchange(sent, {}); }

    QTemporaryDir directory;
    PanelFile panel = panelWithBroker();
    Spool spool;
    Spool *keeper = &spool;
    std::optional<Publisher> made;
    Publisher::Clock::time_point now = Publisher::Clock::now();
    QList<QByteArray> sent;
    bool linkIsDead = false;
    int ids = 0;
    int acknowledged = 0;
};

using Sent = QList<QByteArray>;

TEST_F(PublisherTest, SendsThePresentFirstAndThenWhatWasMissedInOrder) {
    take(1);
    take(2);
    take(7, 1);
    take(3);
    connect();
    EXPECT_EQ(takeSent(), (Sent{"value/press/pressure 3", "value/press/level 7",
                                "missed/press/pressure 1", "missed/press/pressure 2"}));
    acknowledgeAll();
    EXPECT_EQ(spool.count(), 0);
    EXPECT_TRUE(takeSent().isEmpty()) << "something was sent twice";
}

TEST_F(PublisherTest, LetsThePresentPassWhatIsMissed) {
    for (int value = 0; value < 200; ++value)
        take(value);
    connect();
    EXPECT_EQ(takeSent().size(), 51) << "the present, and only so many missed behind it";
    take(9);
    EXPECT_EQ(takeSent(), Sent{"value/press/pressure 9"});
}

TEST_F(PublisherTest, KeepsWhatWasSentButNotAcknowledgedWhenTheConnectionBreaks) {
    connect();
    take(1);
    acknowledgeAll();
    take(2);
    take(3);
    publisher().lost();
    EXPECT_EQ(spool.count(), 2) << "1 has arrived";
    takeSent();
    connect();
    EXPECT_EQ(takeSent(), (Sent{"value/press/pressure 3", "missed/press/pressure 2"}));
}

TEST_F(PublisherTest, KeepsTheOrderThoughTheLinkIsDeadBeforeThatIsKnown) {
    connect();
    take(1);
    linkIsDead = true;
    take(2);
    take(3);
    publisher().lost();
    linkIsDead = false;
    takeSent();
    connect();
    EXPECT_EQ(takeSent(), (Sent{"value/press/pressure 3", "missed/press/pressure 1",
                                "missed/press/pressure 2"}));
}

TEST_F(PublisherTest, CountsWithoutASpoolWhatIsLostAndOnlyOnce) {
    keeper = nullptr;
    connect();
    take(1);
    take(2);
    linkIsDead = true;
    take(3);
    take(4);
    EXPECT_EQ(publisher().lostForGood(), 1U) << "3 never left; 1 and 2 may yet be acknowledged";
    publisher().lost();
    EXPECT_EQ(publisher().lostForGood(), 3U);
    publisher().end();
    EXPECT_EQ(publisher().lostForGood(), 4U) << "there is no later";
}

TEST_F(PublisherTest, WritesToTheSpoolWhatABrokerThatHangsDoesNotAcknowledge) {
    connect();
    take(1);
    now += 2s;
    publisher().pump(now);
    take(2);
    EXPECT_EQ(spool.count(), 2);
    EXPECT_EQ(takeSent(), Sent{"value/press/pressure 1"}) << "nothing more until it answers";
    acknowledgeAll();
    EXPECT_EQ(takeSent(), Sent{"value/press/pressure 2"});
    acknowledgeAll();
    EXPECT_EQ(spool.count(), 0);
}

TEST_F(PublisherTest, SendsAVariableNoMoreOftenThanItsInterval) {
    panel.broker->minIntervalMs = 1000;
    connect();
    take(1);
    take(2);
    take(3);
    EXPECT_EQ(takeSent(), Sent{"value/press/pressure 1"});
    acknowledgeAll();
    ASSERT_TRUE(publisher().nextDue().has_value());
    now += 1s;
    publisher().pump(now);
    EXPECT_EQ(takeSent(), Sent{"value/press/pressure 3"}) << "the newest, once the second is over";
}

TEST_F(PublisherTest, RepublishesThePresentToABrokerThatComesBack) {
    connect();
    take(1);
    acknowledgeAll();
    publisher().lost();
    takeSent();
    connect();
    EXPECT_EQ(takeSent(), Sent{"value/press/pressure 1"}) << "it may have forgotten";
}

TEST(SpoolTest, DropsAndCountsTheOldestWhenItIsFullAndSurvives) {
    const QTemporaryDir directory;
    const QString path = directory.filePath("spool");
    const QByteArray payload(1000, 'x');
    qint64 added = 0;
    {
        Spool spool;
        ASSERT_EQ(spool.open(path, 1), QString());
        while (spool.dropped() == 0)
            added = spool.add("a/b", payload);
        EXPECT_GT(added, 500) << "most of a megabyte holds changes";
        EXPECT_EQ(spool.count() + spool.dropped(), added);
        spool.commit();
        EXPECT_LE(QFileInfo(path).size() + QFileInfo(path + "-wal").size(), 1024 * 1024);
        EXPECT_NE(Spool().open(path, 1), QString()) << "two panels share a spool";
    }
    Spool spool;
    ASSERT_EQ(spool.open(path, 1), QString());
    EXPECT_GT(spool.dropped(), 0);
    EXPECT_EQ(spool.count() + spool.dropped(), added);
    EXPECT_EQ(spool.next(0, 1).at(0).id, spool.dropped() + 1) << "the oldest are gone";
}

QByteArray contentOf(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

TEST(SpoolTest, PutsADamagedOneAsideAndSaysSo) {
    const QTemporaryDir directory;
    const QString path = directory.filePath("spool");
    for (const QString &aside : {path + ".broken", path + ".broken.2"}) {
        ASSERT_EQ(Spool().open(path, 1), QString());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite) && file.seek(100));
        file.write(QByteArray(4000, 'x'));
        file.close();
        const QByteArray damaged = contentOf(path);
        Spool spool;
        EXPECT_EQ(spool.open(path, 1), QString());
        EXPECT_NE(spool.add("a/b", "1"), 0);
        EXPECT_TRUE(spool.remark().contains("; kept as " + aside + ","))
            << qPrintable(spool.remark());
        EXPECT_EQ(contentOf(aside), damaged);
    }
}

TEST(SpoolTest, LeavesAloneWhatIsNoSpool) {
    const QTemporaryDir directory;
    const QString path = directory.filePath("other");
    Database foreign;
    foreign.open(path, Database::Access::ReadWrite);
    foreign.run("CREATE TABLE theirs(a)");
    foreign.close();
    const QString later = directory.filePath("later");
    EXPECT_EQ(Spool().open(later, 1), QString());
    foreign.open(later, Database::Access::ReadWrite);
    foreign.run("PRAGMA user_version = 2; PRAGMA wal_checkpoint");
    foreign.close();
    const QString text = directory.filePath("text");
    QFile file(text);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("notes") > 0);
    file.close();
    for (const QString &each : {path, later, text}) {
        const QByteArray before = contentOf(each);
        const QString error = Spool().open(each, 1);
        EXPECT_TRUE(error.contains("not a spool") || error.contains("a spool of version 2"))
            << qPrintable(each + error);
        EXPECT_EQ(contentOf(each), before);
    }
    EXPECT_EQ(QDir(directory.path()).entryList(QDir::Files).size(), 3) << "something beside them";
}

struct WriteCase {
    const char *what;
    const char *topic;
    const char *payload;
    bool isRetained;
    const char *said;   // in the answer
    const char *logged; // nothing where it is of no variable
};

const WriteCase WriteCases[] = {
    {"a number", "pressure", "42", false, R"({"result":"written","value":42,)",
     "broker: pressure = 42, read back"},
    {"the form that values have", "pressure", R"({"value": 42})", false, R"("value":42,)",
     "broker: pressure = 42, read back"},
    {"what a person types", "pressure", " 42 ", false, R"("value":42,)",
     "broker: pressure = 42, read back"},
    {"beyond its limit", "pressure", "201", false, "above the maximum of 200",
     "broker: pressure: \"201\" is above the maximum of 200"},
    {"no value", "pressure", "", false, R"({"result":"refused","error":")", "broker: pressure: "},
    {"half of one", "pressure", "[1,", false, R"({"result":"refused","error":")",
     "broker: pressure: "},
    {"not writable", "level", "1", false, R"("error":"not writable")",
     "broker: level: not writable"},
    {"unknown", "height", "1", false, R"("error":"no such variable")", ""},
    {"left over from before", "pressure", "42", true, R"("error":"a retained message)",
     "broker: pressure: a retained message"},
};

TEST(RemoteWritesTest, AreCarriedOutOrRefusedAnsweredAndLoggedInAnyCase) {
    const PanelFile panel = panelWithBroker();
    QByteArray answered;
    QByteArray answer;
    QString logged;
    RemoteWrites writes(
        panel,
        [](const WriteOrder &order, const WriteDone &done) {
            done({QString(), true, {}, order.data});
        },
        [&](const QByteArray &topic, const QByteArray &result) {
            answered = topic;
            answer = result;
        },
        [&](const QString &line) { logged = line; });
    for (const WriteCase &row : WriteCases) {
        logged = "";
        writes.take({QByteArray("plant/set/press/") + row.topic, row.payload, row.isRetained});
        EXPECT_EQ(answered, QByteArray("press/") + row.topic) << row.what;
        EXPECT_TRUE(answer.contains(row.said)) << row.what << ": " << answer.toStdString();
        EXPECT_TRUE(logged.startsWith(row.logged)) << row.what << ": " << qPrintable(logged);
        EXPECT_EQ(logged.isEmpty(), row.logged[0] == '\0') << row.what;
    }
}

TEST(RemoteWritesTest, AreRefusedWithoutFillingTheLog) {
    const PanelFile panel = panelWithBroker();
    int answers = 0;
    QStringList logged;
    RemoteWrites writes(
        panel, {}, [&](const QByteArray &, const QByteArray &) { ++answers; },
        [&](const QString &line) { logged += line; });
    const auto refuse = [&] {
        writes.take({"plant/set/press/level", "1", false});
    };
    for (int i = 0; i < 1000; ++i)
        refuse();
    EXPECT_EQ(answers, 1000);
    EXPECT_LT(logged.size(), 500) << "10 a second, and what was left out";
    while (logged.filter("refused writes from the broker left out of this log").isEmpty())
        refuse();
}

TEST(RunLogTest, WaitsWhileTheTableHasTheTerminal) {
    QStringList said;
    RunLog log([&](const QString &line) { said += line; });
    log.add("before");
    log.hold();
    for (std::size_t i = 0; i < RunLog::MostHeld + 2; ++i)
        log.add(QString::number(i));
    EXPECT_EQ(said, QStringList{"before"});
    log.release();
    EXPECT_EQ(said.mid(1, 2), (QStringList{"2 earlier lines left out", "2"}));
    EXPECT_EQ(said.last(), QString::number(RunLog::MostHeld + 1));
}

} // namespace
