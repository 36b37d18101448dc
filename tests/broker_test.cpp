// A panel and a real broker: what arrives when either of them goes away and comes back.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <vector>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Long enough for any machine: it only ends a test that hangs.
constexpr int PatienceMs = 60'000;

// A socket at that port of the loopback, 0 for any.
class Loopback {
public:
    explicit Loopback(int port) {
        m_address.sin_family = AF_INET;
        m_address.sin_port = htons(static_cast<std::uint16_t>(port));
        m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    }
    ~Loopback() { ::close(m_socket); }
    Loopback(const Loopback &) = delete;
    Loopback &operator=(const Loopback &) = delete;

    // A port that nobody listens on.
    int freePort() {
        socklen_t length = sizeof m_address;
        EXPECT_EQ(::bind(m_socket, address(), length), 0);
        EXPECT_EQ(::getsockname(m_socket, address(), &length), 0);
        return ntohs(m_address.sin_port);
    }
    bool isListenedAt() { return ::connect(m_socket, address(), sizeof m_address) == 0; }

private:
    sockaddr *address() { return reinterpret_cast<sockaddr *>(&m_address); }

    int m_socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in m_address{};
};

struct Arrived {
    bool isRetained; // was there before the listener
    QString topic;   // behind the prefix
    QJsonObject content;
    QString text;
};

class BrokerTest : public testing::Test {
protected:
    static constexpr int Variables = 4;

    void TearDown() override {
        for (QProcess *process : {&panel, &plc, &listener, &broker}) {
            process->kill();
            process->waitForFinished(PatienceMs);
        }
    }

    // It keeps all that its listener has not taken yet, beyond a thousand too, and says nothing
    // that nobody reads: it would wait for a reader.
    void startBroker(const QByteArray &more = "allow_anonymous true\n") {
        write("broker.conf", "user root\nlog_dest none\nmax_queued_messages 0\nlistener " +
                                 QByteArray::number(port) + " 127.0.0.1\n" + more);
        broker.start(MOSQUITTO, {"-c", directory.filePath("broker.conf")});
        ASSERT_TRUE(broker.waitForStarted(PatienceMs));
        waitFor("the broker", [this] { return Loopback(port).isListenedAt(); });
    }
    void listen() {
        listener.start("stdbuf", {"-oL", "mosquitto_sub", "-p", QString::number(port), "-i",
                                  "listener", "-c", "-q", "1", "-t", "plant/#", "-F", "%r|%t|%p"});
        ASSERT_TRUE(listener.waitForStarted(PatienceMs));
    }
    // A broker that remembers its listener when it is killed, and keeps nothing back from it: what
    // it has acknowledged and not handed on would be lost.
    void startLastingBroker() {
        startBroker("allow_anonymous true\nmax_inflight_messages 0\npersistence "
                    "true\nautosave_on_changes true\n"
                    "autosave_interval 1\npersistence_location " +
                    directory.path().toUtf8() + "/\n");
    }
    // The panel as a process of its own.
    void startPanel(const QStringList &arguments, const QByteArray &more = "") {
        panel.setStandardErrorFile(directory.filePath("said"));
        panel.start(PRETENDED_PANEL, QStringList{panelFile(more)} + arguments);
        ASSERT_TRUE(panel.waitForStarted(PatienceMs));
    }
    // The real one, with a PLC of which station 2 is off.
    void startRealPanel() {
        plc.start(PLCSIM_PROGRAM, {"--link", directory.filePath("plc"), "--silent", "2"});
        ASSERT_TRUE(plc.waitForReadyRead(PatienceMs));
        const QString file = write("real.json",
                                   R"({"port": {"name": "press", "device": "plc"}, "variables": [
                {"name": "word", "station": 1, "registerType": 7, "address": "100",
                 "format": "int16", "writable": true, "max": 2000},
                {"name": "counter", "station": 1, "registerType": 7, "address": "0",
                 "format": "uint16"},
                {"name": "far", "station": 2, "registerType": 7, "address": "0",
                 "format": "int16"}],
                "broker": {"host": "127.0.0.1", "prefix": "plant", "minIntervalMs": 100,
                 "acceptWrites": true, "port": )" +
                                       QByteArray::number(port) + "}}");
        panel.setStandardErrorFile(directory.filePath("said"));
        panel.start(PANEL_PROGRAM, {"run", file, "--quiet", "--device", directory.filePath("plc"),
                                    "--report", directory.filePath("report.json")});
        ASSERT_TRUE(panel.waitForStarted(PatienceMs));
    }
    void publish(const QString &topic, const QString &text, const QStringList &more = {}) const {
        EXPECT_EQ(QProcess::execute("mosquitto_pub", QStringList{"-p", QString::number(port), "-t",
                                                                 "plant/" + topic, "-m", text} +
                                                         more),
                  0);
    }
    QString panelFile(const QByteArray &more) {
        QByteArray variables;
        for (int i = 0; i < Variables; ++i) {
            const QByteArray number = QByteArray::number(i);
            variables +=
                QByteArray(i == 0 ? "" : ",") + R"({"name": "v)" + number +
                R"(", "station": 1, "registerType": 10, "format": "uint32", "address": ")" +
                number + "\"}";
        }
        return write("panel.json", R"({"port": {"name": "press"}, "variables": [)" + variables +
                                       R"(], "broker": {"host": "127.0.0.1", "prefix": "plant",)" +
                                       R"("spoolFile": "spool", "port": )" +
                                       QByteArray::number(port) + more + "}}");
    }
    QString write(const QString &name, const QByteArray &content) {
        QFile file(directory.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        return file.fileName();
    }

    QJsonObject read(const QString &name) {
        QFile file(directory.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return QJsonDocument::fromJson(file.readAll()).object();
    }

    template <typename Condition>
    void waitFor(const char *what, Condition holds) {
        QElapsedTimer patience;
        patience.start();
        while (!holds()) {
            ASSERT_LT(patience.elapsed(), PatienceMs)
                << "in vain for: " << what << "; " << arrived.size() << " arrived, the last: "
                << (arrived.empty() ? "none" : qPrintable(arrived.back().text)) << "\n"
                << qPrintable(panelSaid());
            QThread::msleep(20);
            listener.waitForReadyRead(1);
            while (listener.canReadLine())
                take(QString::fromUtf8(listener.readLine()).trimmed());
        }
    }
    void take(const QString &line) {
        const QString topic = line.section('|', 1, 1).mid(6);
        const QString text = line.section('|', 2);
        arrived.push_back(
            {line.startsWith('1'), topic, QJsonDocument::fromJson(text.toUtf8()).object(), text});
    }
    // By the panel, on standard error.
    QString panelSaid() const {
        QFile file(directory.filePath("said"));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    bool has(const QString &topic, const QString &text) const {
        for (const Arrived &message : arrived) {
            if (message.topic == topic && message.text.contains(text))
                return true;
        }
        return false;
    }
    void kill(QProcess *process) {
        process->kill();
        ASSERT_TRUE(process->waitForFinished(PatienceMs));
    }
    void endPanel() {
        panel.terminate();
        ASSERT_TRUE(panel.waitForFinished(PatienceMs));
        EXPECT_EQ(panel.exitCode(), 0);
    }

    // Each connection begins with one.
    long statuses() const {
        return std::count_if(arrived.begin(), arrived.end(),
                             [](const Arrived &message) { return message.topic == "status"; });
    }
    // How many different values of all variables have arrived.
    int differentValues() const {
        QSet<QString> values;
        for (const Arrived &message : arrived) {
            if (message.topic.startsWith("value/") || message.topic.startsWith("missed/"))
                values.insert(nameOf(message) + QString::number(valueOf(message)));
        }
        return static_cast<int>(values.size());
    }
    static QString nameOf(const Arrived &message) { return message.topic.section('/', -1); }
    static int valueOf(const Arrived &message) { return message.content["value"].toInt(-1); }

    // Of a variable, present and missed apart, newer values come behind older ones. A message may
    // come twice when an acknowledgement is lost.
    void expectOrder() const {
        QMap<QString, QList<int>> seen;
        for (const Arrived &message : arrived) {
            QList<int> &values = seen[message.topic];
            if (!message.content.contains("quality") || values.contains(valueOf(message)))
                continue;
            EXPECT_TRUE(values.isEmpty() || valueOf(message) > values.last())
                << qPrintable(message.topic) << ": " << valueOf(message);
            values += valueOf(message);
        }
    }

    int m_argc = 0;
    QCoreApplication application{m_argc, nullptr};
    QTemporaryDir directory;
    int port = Loopback(0).freePort();
    QProcess broker;
    QProcess listener;
    QProcess panel;
    QProcess plc;
    std::vector<Arrived> arrived;
};

TEST_F(BrokerTest, ShowsThePanelItsValuesAndItsEnd) {
    startBroker();
    startPanel({"--changes", "8", "--stay"});
    waitFor("the connection", [this] { return panelSaid().contains("connected"); });
    listen();
    waitFor("the present", [this] { return has("value/press/v3", R"("value":1,)"); });
    waitFor("the report", [this] { return has("health", R"("connected":true)"); });
    EXPECT_TRUE(has("status", "online"));
    for (const Arrived &message : arrived)
        EXPECT_TRUE(message.topic != "status" || message.isRetained);
    kill(&panel);
    waitFor("the last will", [this] { return has("status", "offline"); });
    arrived.clear();
    startPanel({"--changes", "8", "--stay"});
    waitFor("its return", [this] { return has("status", "online"); });
    endPanel();
    waitFor("its goodbye", [this] { return has("status", "offline"); });
}

TEST_F(BrokerTest, GetsTheTruthOfAStationThatIsOffInThisRun) {
    startBroker();
    publish("value/press/far", R"({"value":7,"quality":"good"})", {"-r"}); // by the run before
    listen();
    waitFor("what was retained", [this] { return has("value/press/far", "good"); });
    startRealPanel();
    waitFor("the truth", [this] {
        return has("value/press/far", R"({"value":null,"unit":"","quality":"never")");
    });
    waitFor("the present", [this] { return has("value/press/counter", "good"); });
}

TEST_F(BrokerTest, WritesThroughTheRealPanelAndIsToldWhatItMissed) {
    startBroker();
    listen();
    startRealPanel();
    waitFor("the present", [this] { return has("value/press/counter", "good"); });
    publish("set/press/word", "42");
    publish("set/press/word", "2001");
    publish("set/press/counter", "1");
    waitFor("the value from the PLC", [this] { return has("value/press/word", R"("value":42,)"); });
    waitFor("the result", [this] { return has("result/press/word", R"("written","value":42,)"); });
    waitFor("a refusal", [this] { return has("result/press/word", "above the maximum of 2000"); });
    waitFor("another", [this] { return has("result/press/counter", "not writable"); });
    EXPECT_TRUE(panelSaid().contains("broker: word = 42 (was 0), read back"))
        << qPrintable(panelSaid());
    EXPECT_TRUE(panelSaid().contains("broker: counter: not writable"));
    kill(&broker);
    waitFor("its end", [this] { return panelSaid().contains("Connection refused"); });
    QThread::msleep(500); // the counter goes on
    panel.terminate();
    ASSERT_TRUE(panel.waitForFinished(PatienceMs));
    EXPECT_TRUE(panelSaid().contains("changes left out: it was away, and there is no spoolFile"))
        << qPrintable(panelSaid());
    EXPECT_GT(read("report.json")["broker"].toObject()["lost"].toInt(), 0);
}

TEST_F(BrokerTest, GetsEveryChangeThoughItIsKilledAndStartedAgain) {
    startLastingBroker();
    listen();
    startPanel({"--changes", "600", "--per-second", "200", "--stay"});
    long before = 0;
    for (const int until : {40, 120}) {
        // What the broker has acknowledged and a listener that is away has not got dies with it.
        waitFor("the listener and some values",
                [&] { return statuses() > before && differentValues() >= until; });
        kill(&broker);
        before = statuses();
        QThread::msleep(500); // values change meanwhile
        startLastingBroker();
    }
    waitFor("every change", [this] { return differentValues() == 600; });
    expectOrder();
    EXPECT_TRUE(has("missed/press/v0", "value"));
    endPanel();
    QProcess latecomer;
    latecomer.start("mosquitto_sub", {"-p", QString::number(port), "-t", "plant/value/#", "-C",
                                      QString::number(Variables)});
    ASSERT_TRUE(latecomer.waitForFinished(PatienceMs));
    EXPECT_EQ(latecomer.readAll().count(R"("value":149,)"), Variables) << "retained: the present";
}

TEST_F(BrokerTest, GetsEveryChangeThoughItHangsForAWhile) {
    startBroker();
    listen();
    startPanel({"--changes", "600", "--per-second", "200", "--stay"});
    waitFor("some values", [this] { return differentValues() >= 40; });
    ASSERT_EQ(::kill(static_cast<pid_t>(broker.processId()), SIGSTOP), 0);
    QThread::sleep(2);
    ASSERT_EQ(::kill(static_cast<pid_t>(broker.processId()), SIGCONT), 0);
    waitFor("every change", [this] { return differentValues() == 600; });
    expectOrder();
    endPanel();
}

TEST_F(BrokerTest, GetsEveryChangeThoughAClientFloodsThePanelWithWrites) {
    startBroker("allow_anonymous true\nmax_queued_messages 0\n");
    const QString lines = write("lines", QByteArray("1\n").repeated(60'000));
    startPanel({"--changes", "3000", "--per-second", "400", "--stay"}, R"(, "acceptWrites": true)");
    waitFor("the connection", [this] { return panelSaid().contains("connected"); });
    QProcess client;
    client.setStandardInputFile(lines);
    client.start("mosquitto_pub", {"-p", QString::number(port), "-t", "plant/set/a/b", "-l"});
    ASSERT_TRUE(client.waitForFinished(PatienceMs));
    waitFor("the complaint", [this] { return panelSaid().contains("writes left out"); });
    listen();
    waitFor("the present", [this] { return has("value/press/v3", R"("value":749,)"); });
    endPanel();
    const QJsonObject end = QJsonDocument::fromJson(panel.readAll().split('\n').at(1)).object();
    EXPECT_EQ(end["published"].toInt() + end["waiting"].toInt(), 3000);
    EXPECT_EQ(end["dropped"].toInt(), 0);
    EXPECT_GT(end["writesLeftOut"].toInt(), 0);
}

TEST_F(BrokerTest, GetsWhatAKilledPanelHadInItsFullSpool) {
    startPanel({"--changes", "20000", "--per-second", "20000", "--stay"},
               R"(, "spoolMegabytes": 1)");
    ASSERT_TRUE(panel.waitForReadyRead(PatienceMs)); // all changes are made
    kill(&panel);
    startBroker();
    listen();
    startPanel({"--changes", "1", "--stay"});
    waitFor("all", [this] { return has("missed/press/v3", R"("value":4999,)"); });
    endPanel();
    const QJsonObject end = QJsonDocument::fromJson(panel.readAll().split('\n').at(1)).object();
    EXPECT_EQ(end["waiting"].toInt(), 0);
    EXPECT_GT(end["dropped"].toInt(), 0) << "the spool was full";
    EXPECT_EQ(end["dropped"].toInt() + end["published"].toInt(), 20001);
    expectOrder();
}

TEST_F(BrokerTest, IsToldNothingTwiceAfterAnOrdinaryStop) {
    startBroker();
    listen();
    startPanel({"--changes", "40"});
    waitFor("its goodbye", [this] { return has("status", "offline"); });
    EXPECT_EQ(differentValues(), 40);
    ASSERT_TRUE(panel.waitForFinished(PatienceMs));
    arrived.clear();
    startPanel({"--changes", "4"});
    waitFor("its second goodbye", [this] { return has("status", "offline"); });
    EXPECT_EQ(differentValues(), 4);
    EXPECT_FALSE(has("missed/press/v0", ""));
}

TEST_F(BrokerTest, IsNotServedWhenItDoesNotKnowUsOrWeDoNotKnowIt) {
    const QString passwords = write("passwords", "");
    QProcess::execute("mosquitto_passwd", {"-b", passwords, "panel", "right"});
    startBroker("allow_anonymous false\npassword_file " + passwords.toUtf8() + "\n");
    write("password", "wrong\n");
    startPanel({"--stay"}, R"(, "user": "panel", "passwordFile": "password")");
    waitFor("the refusal", [this] { return panelSaid().contains("not authorised"); });
    write("password", "right\n"); // read at the start
    endPanel();
    startPanel({"--stay"}, R"(, "user": "panel", "passwordFile": "password")");
    waitFor("the connection", [this] { return panelSaid().contains(": connected"); });
    endPanel();
    startPanel({"--stay"}, R"(, "passwordFile": "missing", "user": "panel")");
    ASSERT_TRUE(panel.waitForFinished(PatienceMs));
    EXPECT_EQ(panel.exitCode(), 2);
}

TEST_F(BrokerTest, IsTrustedOnlyWithACertificateOfTheRightAuthority) {
    const std::pair<const char *, const char *> certificates[] = {
        {"ours", "127.0.0.1"}, {"theirs", "127.0.0.1"}, {"elsewhere", "127.0.0.2"}};
    for (const auto &[name, address] : certificates) {
        const QString path = directory.filePath(name);
        ASSERT_EQ(QProcess::execute("openssl",
                                    {"req", "-x509", "-newkey", "ec", "-pkeyopt",
                                     "ec_paramgen_curve:P-256", "-nodes", "-keyout", path + ".key",
                                     "-out", path + ".crt", "-subj", QString("/CN=%1").arg(address),
                                     "-addext", QString("subjectAltName=IP:%1").arg(address)}),
                  0);
    }
    const QByteArray path = directory.path().toUtf8();
    startBroker("allow_anonymous true\ncertfile " + path + "/ours.crt\nkeyfile " + path +
                "/ours.key\n");
    startPanel({"--stay"}, R"(, "caFile": "theirs.crt")");
    waitFor("the refusal", [this] { return panelSaid().contains("certificate verify failed"); });
    endPanel();
    startPanel({"--stay"}, R"(, "caFile": "ours.crt")");
    waitFor("the connection", [this] { return panelSaid().contains(": connected"); });
    endPanel();

    kill(&broker);
    startBroker("allow_anonymous true\ncertfile " + path + "/ours.crt\nkeyfile " + path +
                "/ours.key\nrequire_certificate true\ncafile " + path + "/theirs.crt\n");
    startPanel({"--stay"}, R"(, "caFile": "ours.crt")");
    waitFor("the refusal", [this] { return !panelSaid().isEmpty(); });
    endPanel();
    EXPECT_FALSE(panelSaid().contains(": connected")) << qPrintable(panelSaid());
    startPanel({"--stay"},
               R"(, "caFile": "ours.crt", "certFile": "theirs.crt", "keyFile": "theirs.key")");
    waitFor("the connection", [this] { return panelSaid().contains(": connected"); });
    endPanel();

    kill(&broker);
    startBroker("allow_anonymous true\ncertfile " + path + "/elsewhere.crt\nkeyfile " + path +
                "/elsewhere.key\n");
    startPanel({"--stay"}, R"(, "caFile": "elsewhere.crt")");
    waitFor("the refusal", [this] { return !panelSaid().isEmpty(); });
    endPanel();
    EXPECT_FALSE(panelSaid().contains(": connected")) << qPrintable(panelSaid());
}

TEST_F(BrokerTest, IsNotFoughtOverByTwoPanelsWithOnePrefix) {
    startBroker();
    startPanel({"--stay"});
    waitFor("the connection", [this] { return panelSaid().contains(": connected"); });
    QFile copied(panelFile(""));
    ASSERT_TRUE(copied.open(QIODevice::ReadOnly));
    const QByteArray own = copied.readAll().replace("\"spool\"", "\"its spool\"");
    QProcess other;
    other.start(PRETENDED_PANEL, {write("copy.json", own), "--stay"});
    waitFor("the hint", [this] {
        return panelSaid().contains("does another panel use the prefix \"plant\"?");
    });
    EXPECT_EQ(panelSaid().count("does another panel"), 1);
    other.terminate();
    ASSERT_TRUE(other.waitForFinished(PatienceMs));
    endPanel();
}

} // namespace
