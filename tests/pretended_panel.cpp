// A panel without a serial line: pretends that values change and publishes them as the panel does.
// For tests that need a process to end, and for the load that many panels are to a broker.
#include "panel/broker/broker.h"
#include "panel/file/panel_file.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QJsonDocument>
#include <QTextStream>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    QString file;
    int changes = 0; // 0: until it is stopped
    double perSecond = 100;
    bool staysOn = false;
};

std::atomic<bool> stopRequested{false};

// The n-th change: the variables take turns, the values count up, so that a listener can tell.
ValueChange changeNumber(const PanelFile &panel, int number) {
    const auto variables = static_cast<int>(panel.variables.size());
    ValueChange change;
    change.variable = static_cast<std::size_t>(number % variables);
    const int value = number / variables;
    change.data = QByteArray(4, '\0');
    for (int byte = 0; byte < 4; ++byte)
        change.data[byte] = static_cast<char>(value >> (8 * byte));
    change.quality = Quality::Good;
    change.at = std::chrono::system_clock::now();
    return change;
}

// Every change has arrived, waits in the spool, or was dropped.
bool isSettled(const Broker &broker, int made) {
    const QJsonObject status = broker.status();
    const auto number = [&status](const char *key) {
        return status[key].toInt();
    };
    return number("published") + number("waiting") + number("dropped") >= made;
}

// Returns how many there were.
int makeChanges(const Options &options, const PanelFile &panel, Broker *broker) {
    const auto begin = Clock::now();
    int number = 0;
    while (!stopRequested && (options.changes == 0 || number < options.changes)) {
        const double due = std::chrono::duration<double>(Clock::now() - begin).count();
        for (; number < due * options.perSecond && number != options.changes; ++number)
            broker->take(changeNumber(panel, number));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    while (!stopRequested && !isSettled(*broker, number))
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return number;
}

int run(const Options &options) {
    QStringList errors;
    const auto panel = readPanelFile(options.file, &errors);
    if (!panel || !panel->broker) {
        QTextStream(stderr) << errors.join('\n') << "\na broker is needed\n";
        return 2;
    }
    Broker::Links links;
    links.note = [](const QString &line) {
        QTextStream(stderr) << line << Qt::endl;
    };
    links.write = [](const WriteOrder &order, const WriteDone &done) {
        done({QString(), true, {}, order.data});
    };
    Broker broker(*panel, links);
    const QString error = broker.start();
    if (!error.isEmpty()) {
        QTextStream(stderr) << error << '\n';
        return 2;
    }
    const int made = makeChanges(options, *panel, &broker);
    QTextStream(stdout) << "made " << made << Qt::endl;
    while (options.staysOn && !stopRequested)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    broker.stop();
    QTextStream(stdout) << QJsonDocument(broker.status()).toJson(QJsonDocument::Compact) << '\n';
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Publishes pretended changes of a panel file's variables, in 32-bit numbers.");
    parser.addPositionalArgument("FILE", "The panel file (JSON)");
    parser.addOptions({{"changes", "End after that many; 0 never", "N", "0"},
                       {"per-second", "Changes a second", "N", "100"},
                       {"stay", "Stay connected behind the last change"}});
    parser.addHelpOption();
    parser.process(application);
    const QStringList files = parser.positionalArguments();
    for (const int number : {SIGINT, SIGTERM})
        static_cast<void>(std::signal(number, [](int) { stopRequested = true; }));
    return run({files.value(0), parser.value("changes").toInt(),
                parser.value("per-second").toDouble(), parser.isSet("stay")});
}
