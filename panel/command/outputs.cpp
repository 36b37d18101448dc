#include "panel/command/outputs.h"

#include "panel/command/command.h"
#include "panel/command/stop_request.h"
#include "panel/health/report.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <unistd.h>

namespace {

// "trace: 12 exchanges left out: the disk was too slow".
QStringList lossesOf(const char *what, const QString &error, quint64 dropped, const char *things) {
    if (error.isEmpty() && dropped == 0)
        return {};
    const QString reason = error.isEmpty() ? "the disk was too slow" : error;
    if (dropped == 0)
        return {QString("%1: %2").arg(what, reason)};
    return {QString("%1: %2 %3 left out: %4").arg(what, QString::number(dropped), things, reason)};
}

// "north.pcap" and the line "south": "north.south.pcap", with nothing that a path could trip over.
QString besidePath(const QString &path, const QString &line) {
    static const QRegularExpression awkward("[^\\w.-]",
                                            QRegularExpression::UseUnicodePropertiesOption);
    const QFileInfo info(path);
    const QString suffix = info.suffix().isEmpty() ? QString() : '.' + info.suffix();
    return path.chopped(suffix.size()) + '.' + QString(line).replace(awkward, "_") + suffix;
}

} // namespace

QStringList capturePaths(const PanelFile &panel, const std::string &capture) {
    QStringList paths;
    for (const LineSettings &line : panel.lines) {
        const QString path = pathText(capture);
        paths += paths.isEmpty() ? path : besidePath(path, line.name);
    }
    return paths;
}

Outputs::Outputs(const PanelFile &panel, Runtime &runtime, const OutputOptions &options)
    : m_panel(panel), m_runtime(runtime), m_options(options),
      m_runLog([](const QString &line) { complain(line, AllHeld); }), m_news(panel) {
    if (panel.broker)
        m_broker.emplace(panel, brokerLinks());
}

// The report tells of the history, so that this one comes first.
QString Outputs::open() {
    for (const auto step :
         {&Outputs::openTrace, &Outputs::openCapture, &Outputs::openLog, &Outputs::openHistory,
          &Outputs::openReport, &Outputs::openWeb, &Outputs::openBroker}) {
        QString error = (this->*step)();
        if (!error.isEmpty())
            return error;
    }
    return {};
}

void Outputs::openScreen() {
    if (m_options.quiet)
        return;
    const bool wantsTable = !m_options.times && m_options.trace != "-";
    if (wantsTable) {
        m_table.emplace(TerminalTable::Calls{[this] { return snapshot(); }, requestStop});
        if (m_table->start()) {
            // It leaves no room for a line of text.
            if (::isatty(STDERR_FILENO) == 1)
                m_runLog.hold();
            return;
        }
        m_table.reset();
    }
    m_values.emplace(m_panel, STDOUT_FILENO, m_options.times ? Stamp::Utc : Stamp::None);
    m_runtime.feed().addListener([this](const ValueChange &change) { m_values->observe(change); });
}

TableModel Outputs::snapshot() const {
    const LineReports lines = m_runtime.lineReports();
    TableModel model = tableModel(
        m_panel, lines, m_runtime.feed().snapshot(),
        [this](std::size_t variable) { return m_runtime.freshness().lastGood(variable); },
        std::chrono::system_clock::now());
    QStringList refused;
    for (const LineReport &line : lines) {
        model.notes += line.status.remarks;
        for (const std::size_t variable : line.status.refusedVariables)
            refused += m_panel.variables[variable].name;
    }
    if (!refused.isEmpty())
        model.notes += "refused by their station: " + refused.join(", ");
    const std::lock_guard lock(m_notesMutex);
    model.notes += m_notes;
    return model;
}

QJsonObject Outputs::report() const {
    QJsonObject report =
        healthReport(m_panel, m_runtime.lineReports(), std::chrono::system_clock::now());
    if (m_history) {
        const QString error = m_history->error();
        report["history"] =
            QJsonObject{{"error", error.isEmpty() ? QJsonValue() : QJsonValue(error)},
                        {"lost", double(m_history->lost())}};
    }
    if (m_broker)
        report["broker"] = m_broker->status();
    return report;
}

QStringList Outputs::failures() const {
    QStringList lines;
    const auto add = [&lines](const char *what, const QString &error) {
        if (!error.isEmpty())
            lines += lossesOf(what, error, 0, "");
    };
    const auto addOf = [&add](const char *what, const auto &output) {
        add(what, output ? output->error() : QString());
    };
    addOf("log", m_log);
    addOf("history", m_history);
    addOf("report", m_report);
    if (!isReaderGone())
        addOf("trace", m_trace);
    for (const Capture &capture : m_captures)
        add("capture", capture.error());
    if (m_broker)
        add("broker", m_broker->status()["error"].toString());
    if (m_values && m_values->failed() && !isReaderGone())
        lines += m_values->error();
    return lines;
}

QStringList Outputs::brokerTrouble() const {
    const QJsonObject status = m_broker ? m_broker->status() : QJsonObject();
    if (status.isEmpty() || status["connected"].toBool())
        return {};
    return {"broker: " + status["reason"].toString("not connected yet")};
}

bool Outputs::isReaderGone() const {
    return (m_values && m_values->isClosed()) ||
           (m_options.trace == "-" && m_trace && m_trace->isReaderGone());
}

void Outputs::tellFailures() {
    const QStringList lines = failures();
    if (m_table) {
        const std::lock_guard lock(m_notesMutex);
        m_notes = lines + brokerTrouble();
        return;
    }
    for (const QString &line : lines) {
        if (isTold(line))
            continue;
        m_told += line;
        complain(line, NotAllHeld);
    }
}

void Outputs::tellNews() {
    if (m_table)
        return;
    const auto now = std::chrono::steady_clock::now();
    for (const QString &line : m_news.take(m_runtime.lineReports(), now))
        m_runLog.add(line);
}

void Outputs::closeTable() {
    if (m_table)
        m_table->stop();
    m_runLog.release();
}

QString Outputs::openTrace() {
    if (m_options.trace.empty())
        return {};
    QStringList names;
    for (const LineSettings &line : m_panel.lines)
        names += line.name == "line" ? QString() : line.name; // so called where the file gives none
    m_trace.emplace(names,
                    m_options.traceFailures ? Trace::Which::FailuresOnly : Trace::Which::All);
    m_runtime.addListener([this](const Exchange &exchange) { m_trace->observe(exchange); });
    return m_trace->open(pathText(m_options.trace));
}

QString Outputs::openCapture() {
    if (m_options.capture.empty())
        return {};
    QStringList said;
    for (const QString &path : capturePaths(m_panel, m_options.capture)) {
        QString error = m_captures.emplace_back().open(path);
        if (!error.isEmpty())
            return error;
        said += QString("line %1 in %2").arg(m_panel.lines[m_captures.size() - 1].name, path);
    }
    if (said.size() > 1)
        complain("capture: " + said.join(", "), AllHeld);
    m_runtime.addListener(
        [this](const Exchange &exchange) { m_captures[exchange.line].observe(exchange); });
    return {};
}

QString Outputs::openReport() {
    if (m_options.report.empty())
        return {};
    m_report.emplace(pathText(m_options.report), [this] { return report(); });
    return m_report->open();
}

QString Outputs::openLog() {
    if (m_options.log.empty())
        return {};
    std::optional<std::chrono::seconds> every;
    if (m_options.logEvery > 0)
        every = std::chrono::seconds(m_options.logEvery);
    m_log.emplace(m_panel, every);
    m_runtime.feed().addListener([this](const ValueChange &change) { m_log->observe(change); });
    return m_log->open(pathText(m_options.log));
}

QString Outputs::openHistory() {
    if (m_options.history.empty())
        return {};
    m_history.emplace();
    m_runtime.feed().addListener([this](const ValueChange &change) { m_history->observe(change); });
    return m_history->open(pathText(m_options.history), m_panel);
}

QString Outputs::openWeb() {
    if (m_options.web.empty())
        return {};
    WebOptions options;
    QString error = readWebOptions(pathText(m_options.web), pathText(m_options.webToken), &options);
    if (!error.isEmpty())
        return "--web " + error;
    WebSources sources;
    sources.panel = &m_panel;
    sources.report = [this] {
        return report();
    };
    sources.write = [this](const WriteOrder &order, const WriteDone &done) {
        m_runtime.writer().write(order, done);
    };
    sources.history = m_history ? &*m_history : nullptr;
    sources.log = [this](const QString &line) {
        m_runLog.add(line);
    };
    m_web.emplace(options, sources);
    m_runtime.addListener([this](const Exchange &exchange) { m_web->observe(exchange); });
    m_runtime.feed().addListener([this](const ValueChange &change) { m_web->observe(change); });
    error = m_web->start();
    if (error.isEmpty())
        complain("page: " + m_web->address(), AllHeld);
    return error;
}

Broker::Links Outputs::brokerLinks() {
    Broker::Links links;
    links.write = [this](const WriteOrder &order, const WriteDone &done) {
        m_runtime.writer().write(order, done);
    };
    links.report = [this] {
        return report();
    };
    links.log = [this](const QString &line) {
        m_runLog.add(line);
    };
    links.note = [this](const QString &line) {
        m_runLog.add(line);
    };
    return links;
}

QString Outputs::openBroker() {
    if (!m_broker)
        return {};
    m_runtime.feed().addListener([this](const ValueChange &change) { m_broker->take(change); });
    return m_broker->start();
}

QStringList Outputs::closeBroker() {
    m_broker->stop();
    const QJsonObject status = m_broker->status();
    const auto lost = static_cast<quint64>(status["lost"].toDouble());
    QString reason = status["error"].toString();
    if (reason.isEmpty() && lost > 0) {
        reason = m_panel.broker->spoolFile.isEmpty()
                     ? "it was away, and there is no spoolFile"
                     : "it was away for longer than the spool holds";
    }
    return lossesOf("broker", reason, lost, "changes");
}

QStringList Outputs::closeValues() {
    m_values->close();
    if (m_values->dropped() > 0) {
        complain(QString("standard output: %1 values left out: its reader was too slow")
                     .arg(m_values->dropped()),
                 AllHeld);
    }
    return m_values->failed() ? QStringList{m_values->error()} : QStringList();
}

QStringList Outputs::close() {
    if (m_web)
        m_web->stop();
    QStringList wrong;
    if (m_broker)
        wrong += closeBroker();
    closeTable();
    if (m_values)
        wrong += closeValues();
    if (m_log) {
        m_log->close();
        wrong += lossesOf("log", m_log->error(), m_log->dropped(), "values");
    }
    if (m_history) {
        m_history->close();
        wrong += lossesOf("history", m_history->error(), m_history->lost(), "changes");
    }
    if (m_report) {
        m_report->close();
        wrong += lossesOf("report", m_report->error(), 0, "");
    }
    if (m_trace) {
        m_trace->close();
        if (!isReaderGone())
            wrong += lossesOf("trace", m_trace->error(), m_trace->dropped(), "exchanges");
    }
    for (Capture &capture : m_captures) {
        capture.close();
        wrong += lossesOf("capture", capture.error(), capture.dropped(), "exchanges");
    }
    return wrong;
}
