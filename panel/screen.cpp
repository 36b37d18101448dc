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
const char *const NotRead = "-";
const char *const History = "? "; // before a value whose last read failed

// Escape sequences of a terminal.
const char *const TopLeft = "\x1b[H";
const char *const EndLine = "\x1b[K\n";
const char *const ClearBelow = "\x1b[J";

struct TerminalSize {
    int rows = 24;
    int columns = 80;
};

TerminalSize terminalSize() {
    winsize size{};
    const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0;
    return known && size.ws_col > 0 ? TerminalSize{size.ws_row, size.ws_col} : TerminalSize{};
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
        const QString mark = m_watch.isCurrent(i) ? "" : History;
        values.push_back(known ? mark + valueText(variable, readValue(m_driver, variable))
                               : NotRead);
    }
    return values;
}

void Screen::showTable(const std::vector<QString> &values) const {
    const TerminalSize terminal = terminalSize();
    const auto rows = static_cast<size_t>(std::max(1, terminal.rows - OtherRows));
    const size_t shown = std::min(values.size(), rows);
    QTextStream out(stdout);
    // A line that wrapped would push the others out of their places.
    const auto line = [&](const QString &text) {
        out << text.left(terminal.columns) << EndLine;
    };
    out << TopLeft;
    line(QString("name").leftJustified(NameWidth) + " station  value");
    for (size_t i = 0; i < shown; ++i) {
        const Variable &variable = m_panel.variables[i];
        line(variable.name.leftJustified(NameWidth, ' ', true) +
             QString::number(variable.station).rightJustified(8) + "  " + values[i]);
    }
    if (shown < values.size())
        line(QString("... and %1 more").arg(values.size() - shown));
    line(countsText(m_statistics.total()));
    out << ClearBelow;
}

void Screen::showChanges(const std::vector<QString> &values) {
    QTextStream out(stdout);
    for (size_t i = 0; i < values.size(); ++i) {
        if (values[i] != m_shown[i])
            out << m_panel.variables[i].name << " = " << values[i] << '\n';
    }
    m_shown = values;
}
