#include "screen.h"

#include "values.h"

#include <QTextStream>

#include <algorithm>
#include <chrono>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr std::chrono::milliseconds Refresh{250};
constexpr int NameWidth = 28;
constexpr int OtherRows = 4; // heading, what is left out, counts, cursor
constexpr int DefaultRows = 24;
const char *const NotRead = "-";

// Escape sequences of a terminal.
const char *const TopLeft = "\x1b[H";
const char *const EndLine = "\x1b[K\n";
const char *const ClearBelow = "\x1b[J";

int terminalRows() {
    winsize size{};
    const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0;
    return known ? size.ws_row : DefaultRows;
}

} // namespace

Screen::Screen(const Driver &driver, const PanelFile &panel, const Watch &watch,
               const Statistics &statistics)
    : m_driver(driver), m_panel(panel), m_watch(watch), m_statistics(statistics),
      m_isTerminal(::isatty(STDOUT_FILENO) == 1), m_shown(panel.variables.size(), NotRead) {}

void Screen::run() {
    do {
        show();
    } while (!waitForStop());
    show();
}

void Screen::stop() {
    const std::lock_guard lock(m_mutex);
    m_stopped = true;
    m_wake.notify_all();
}

bool Screen::waitForStop() {
    std::unique_lock lock(m_mutex);
    return m_wake.wait_for(lock, Refresh, [this] { return m_stopped; });
}

void Screen::show() {
    const std::vector<QString> values = readAll();
    if (m_isTerminal) {
        showTable(values);
    } else {
        showChanges(values);
    }
}

std::vector<QString> Screen::readAll() const {
    std::vector<QString> values;
    for (size_t i = 0; i < m_panel.variables.size(); ++i) {
        const Variable &variable = m_panel.variables[i];
        const bool known = !variable.isBroadcast() && m_watch.wasRead(i);
        values.push_back(known ? valueText(variable, readValue(m_driver, variable)) : NotRead);
    }
    return values;
}

void Screen::showTable(const std::vector<QString> &values) const {
    const auto rows = static_cast<size_t>(std::max(1, terminalRows() - OtherRows));
    const size_t shown = std::min(values.size(), rows);
    QTextStream out(stdout);
    out << TopLeft << QString("name").leftJustified(NameWidth) << " station  value" << EndLine;
    for (size_t i = 0; i < shown; ++i) {
        const Variable &variable = m_panel.variables[i];
        out << variable.name.leftJustified(NameWidth, ' ', true)
            << QString::number(variable.station).rightJustified(8) << "  " << values[i] << EndLine;
    }
    if (shown < values.size())
        out << "... and " << values.size() - shown << " more" << EndLine;
    out << countsText(m_statistics.total()) << EndLine << ClearBelow;
}

void Screen::showChanges(const std::vector<QString> &values) {
    QTextStream out(stdout);
    for (size_t i = 0; i < values.size(); ++i) {
        if (values[i] != m_shown[i])
            out << m_panel.variables[i].name << " = " << values[i] << '\n';
    }
    m_shown = values;
}
