#include "panel/command/jobs.h"

#include "panel/file/values.h"

#include <future>
#include <memory>
#include <thread>
#include <utility>

Jobs::Jobs(const PanelFile &panel, std::vector<OneShot> lines, Writer &writer)
    : m_panel(panel), m_lines(std::move(lines)), m_writer(writer),
      m_readLines(panel.variables.size()), m_writeResults(panel.writes.size()) {}

void Jobs::run() {
    std::vector<std::thread> threads;
    for (std::size_t line = 0; line < m_lines.size(); ++line)
        threads.emplace_back([this, line] { runLine(line); });
    for (std::thread &thread : threads)
        thread.join();
    for (const QString &read : m_readLines) {
        if (!read.isEmpty())
            m_results.lines += read;
    }
    for (std::size_t i = 0; i < m_panel.writes.size(); ++i)
        account(m_panel.writes[i], m_writeResults[i]);
    m_done = true;
}

void Jobs::runLine(std::size_t line) {
    m_lines[line].waitForDevice(); // of several lines one may be missing at the start
    for (std::size_t i = 0; i < m_panel.variables.size(); ++i) {
        if (m_panel.variables[i].line == line && m_panel.variables[i].once)
            m_readLines[i] = readOnce(m_panel.variables[i]);
    }
    for (std::size_t i = 0; i < m_panel.writes.size(); ++i) {
        if (m_panel.variables[m_panel.writes[i].variable].line == line)
            m_writeResults[i] = writeAndWait(m_panel.writes[i]);
    }
}

// What could not be read shows in the quality of its value.
QString Jobs::readOnce(const Variable &variable) const {
    const OneShot &line = m_lines[variable.line];
    if (line.read(variable) != OneShot::End::Answered)
        return {};
    return QString("%1: read once, %2")
        .arg(variable.name, valueText(variable, line.value(variable)));
}

WriteResult Jobs::writeAndWait(const WriteJob &job) const {
    // Shared: the writer may still be in set_value() when the result is there.
    const auto result = std::make_shared<std::promise<WriteResult>>();
    m_writer.write({job.variable, job.data, "panel file"},
                   [result](const WriteResult &end) { result->set_value(end); });
    return result->get_future().get();
}

void Jobs::account(const WriteJob &job, const WriteResult &result) {
    const Variable &variable = m_panel.variables[job.variable];
    const QString text = valueText(variable, job.data);
    if (!result.error.isEmpty()) {
        m_results.allHeld = false;
        m_results.lines += QString("write of %1: %2").arg(variable.name, result.error);
    } else if (!result.isKnown) {
        ++m_results.broadcasts;
        m_results.lines += QString("%1: broadcast %2").arg(variable.name, text);
    } else {
        const bool hadBefore = result.before == job.data;
        ++m_results.writesHeld;
        m_results.heldBefore += hadBefore ? 1 : 0;
        m_results.lines += QString("%1: wrote %2, read back %3%4")
                               .arg(variable.name, text, valueText(variable, result.readBack),
                                    hadBefore ? " (the PLC had it before)" : "");
    }
}
