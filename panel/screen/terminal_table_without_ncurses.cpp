// Without ncurses there is no table: plain lines take its place.
#include "panel/screen/terminal_table.h"

struct TerminalTable::Terminal {};

TerminalTable::TerminalTable(Calls calls, int input, int output)
    : m_calls(std::move(calls)), m_input(input), m_output(output) {}

TerminalTable::~TerminalTable() = default;

bool TerminalTable::start() {
    return false;
}

void TerminalTable::stop() {}

void TerminalTable::giveBackAtOnce() {}
