#include "panel/command/runtime.h"

#include "panel/line/driver_copy.h"
#include "panel/line/serial_port.h"

#include <QFileInfo>

#include <map>

namespace {

// By whatever names it is called.
QString sharedDevice(const std::vector<LineSettings> &lines) {
    std::map<QString, QString> lineOf; // by device
    for (const LineSettings &line : lines) {
        const QString path = devicePath(line.device);
        const QString canonical = QFileInfo(path).canonicalFilePath();
        const QString device = canonical.isEmpty() ? path : canonical;
        const auto [other, isNew] = lineOf.try_emplace(device, line.name);
        if (!isNew) {
            return QString("lines \"%1\" and \"%2\" have the same device")
                .arg(other->second, line.name);
        }
    }
    return {};
}

} // namespace

Runtime::Runtime(const PanelFile &panel, const std::atomic<bool> &stopRequested)
    : m_panel(panel), m_stopRequested(stopRequested), m_drivers(panel.lines.size()),
      m_freshness(panel), m_expectations(panel) {
    for (std::size_t line = 0; line < panel.lines.size(); ++line)
        m_watches.push_back(std::make_unique<LineWatch>());
}

Runtime::~Runtime() {
    finish();
}

// The blocks that the driver makes are learnt from a copy of its own, which is not used again.
QString Runtime::loadDrivers(const QString &library) {
    std::vector<const Driver *> drivers;
    std::vector<OneShot> requests;
    for (std::size_t line = 0; line < m_panel.lines.size(); ++line) {
        Driver planning;
        for (Driver *driver : {&planning, &m_drivers[line]}) {
            QString error = loadDriverCopy(library, driver);
            if (!error.isEmpty())
                return error;
        }
        m_lines.push_back(std::make_unique<Line>(
            m_panel, line, m_drivers[line], driverBlocks(planning, m_panel, line),
            [this](const Exchange &exchange) { observe(exchange); }, m_stopRequested));
        drivers.push_back(&m_drivers[line]);
        requests.emplace_back(m_drivers[line], Line::PortId, m_lines[line]->requests());
    }
    m_feed.emplace(m_panel, drivers, m_freshness);
    m_feed->addListener([this](const ValueChange &change) { m_expectations.observe(change); });
    m_writer.emplace(m_panel, requests);
    m_jobs.emplace(m_panel, requests, *m_writer);
    return {};
}

void Runtime::observe(const Exchange &exchange) {
    m_watches[exchange.line]->observe(exchange);
    m_freshness.observe(exchange);
    for (const ExchangeListener &listener : m_listeners)
        listener(exchange);
}

QString Runtime::openLines() {
    QString shared = sharedDevice(m_panel.lines);
    if (!shared.isEmpty())
        return shared;
    const bool isAlone = m_lines.size() == 1;
    QStringList problems;
    for (const auto &line : m_lines) {
        const QString problem =
            line->start(isAlone ? Line::Missing::EndsIt : Line::Missing::IsWaitedFor);
        if (!problem.isEmpty())
            problems += problem;
    }
    const bool isNoneOpen = problems.size() == static_cast<int>(m_lines.size());
    return isNoneOpen ? problems.first() : QString();
}

void Runtime::begin() {
    m_feed->start();
    m_jobsThread = std::thread([this] { m_jobs->run(); });
}

// First who asks for something, then who is told.
void Runtime::finish() {
    for (const auto &line : m_lines)
        line->join();
    if (m_jobsThread.joinable())
        m_jobsThread.join();
    if (m_writer)
        m_writer->stop();
    m_freshness.close();
    if (m_feed)
        m_feed->stop();
}

LineReports Runtime::lineReports() const {
    LineReports reports;
    for (std::size_t line = 0; line < m_lines.size(); ++line)
        reports.push_back({m_watches[line]->findings(), m_lines[line]->status()});
    return reports;
}

bool Runtime::hasScanned(quint64 scans) {
    if (!m_jobs->done())
        return false;
    std::vector<quint64> passes;
    for (const auto &line : m_lines)
        passes.push_back(line->passes());
    if (m_passesAtJobsEnd.empty())
        m_passesAtJobsEnd = passes;
    for (std::size_t line = 0; line < passes.size(); ++line) {
        // The pass under way may have begun before the last write.
        if (passes[line] < scans || passes[line] < m_passesAtJobsEnd[line] + 2)
            return false;
    }
    return true;
}
