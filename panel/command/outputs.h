// What a run writes besides its summary: values on standard output, the log, the
// trace, the capture, the report, the history, the page. Each stands between the line and something
// slow, and says what it could not write.
#pragma once

#include "panel/broker/broker.h"
#include "panel/command/run_log.h"
#include "panel/command/runtime.h"
#include "panel/feed/history.h"
#include "panel/feed/value_log.h"
#include "panel/health/capture.h"
#include "panel/health/line_news.h"
#include "panel/health/report_file.h"
#include "panel/health/trace.h"
#include "panel/screen/plain_lines.h"
#include "panel/screen/terminal_table.h"
#include "panel/web/web.h"

#include <deque>
#include <mutex>
#include <optional>

struct OutputOptions {
    std::string trace; // "-" is standard output; empty none, as with all of them
    bool traceFailures = false;
    std::string capture;
    std::string report;
    std::string log;
    int logEvery = 0; // seconds; 0 each change
    std::string history;
    std::string web;      // [ADDRESS:]PORT
    std::string webToken; // the file that holds it
    bool quiet = false;   // no values on standard output
    bool times = false;   // plain lines with the time, on a terminal too
};

// The capture of each line: the first line's as named, another's beside it.
QStringList capturePaths(const PanelFile &panel, const std::string &capture);

class Outputs {
public:
    // Both outlive it; the drivers are loaded, the lines not open yet.
    Outputs(const PanelFile &panel, Runtime &runtime, const OutputOptions &options);

    // One line on failure.
    QString open();
    // Shows values, as a table where there is a terminal. Once the devices are open.
    void openScreen();
    // Says what could not be written since the last call, each once: on standard error, or in a row
    // of the table where one stands.
    void tellFailures();
    // Says what has changed on the lines, where no table shows it.
    void tellNews();
    // Gives the terminal back. Before anybody else writes there.
    void closeTable();
    // Whoever read standard output, the values or the trace, has gone: nobody is left to run for.
    bool isReaderGone() const;
    // Once the run has ended. Returns what went wrong, in one line each.
    QStringList close();
    // Whether standard error has that line already.
    bool isTold(const QString &line) const { return m_told.contains(line); }

private:
    QString openTrace();
    QString openCapture();
    QString openReport();
    QString openLog();
    QString openHistory();
    QString openWeb();
    QString openBroker();
    Broker::Links brokerLinks();
    QStringList closeBroker();
    QStringList closeValues();
    TableModel snapshot() const;
    // The health of the lines, and of the outputs that can lose something.
    QJsonObject report() const;
    // What could not be written so far.
    QStringList failures() const;
    // Why the broker has no values now, for the table: elsewhere its own notes say so.
    QStringList brokerTrouble() const;

    const PanelFile &m_panel;
    Runtime &m_runtime;
    OutputOptions m_options;
    RunLog m_runLog; // writes, the broker's notes, and news of the lines
    LineNews m_news;
    std::optional<TerminalTable> m_table;
    std::optional<PlainLines> m_values; // where there is no table
    std::optional<Trace> m_trace;
    std::deque<Capture> m_captures; // by line
    std::optional<ReportFile> m_report;
    std::optional<ValueLog> m_log;
    std::optional<History> m_history;
    std::optional<Web> m_web;
    std::optional<Broker> m_broker;
    QStringList m_told;              // on standard error
    mutable std::mutex m_notesMutex; // guards m_notes, which the table's thread reads
    QStringList m_notes;
};
