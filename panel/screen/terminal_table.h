// The live table on a terminal, on a thread of its own: draws what a snapshot says four times a
// second, pages with the keys, and gives the terminal back as it was, whether the run ends by a
// key or by a signal, and for as long as it is stopped.
#pragma once

#include "panel/screen/table_layout.h"

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

// One at a time in a process. Where the program was built without ncurses, start() returns false.
class TerminalTable {
public:
    // Called on the table's thread; they outlive the table.
    struct Calls {
        std::function<TableModel()> snapshot;
        std::function<void()> quit; // the key that ends the run, or the terminal has gone
    };

    // Keys come from `input`, as long as it is a terminal.
    explicit TerminalTable(Calls calls, int input = 0, int output = 1);
    ~TerminalTable();
    TerminalTable(const TerminalTable &) = delete;
    TerminalTable &operator=(const TerminalTable &) = delete;

    // Takes the terminal; false, and nothing done, when `output` is none, one that cannot be moved
    // about in, or another program's turn. The handlers of SIGINT and SIGTERM stay as they are;
    // those of SIGTSTP, SIGCONT and SIGWINCH are the table's until it stops.
    bool start();
    // Gives the terminal back. Any thread.
    void stop();
    // The same from the handler of a signal that ends the process, whichever table there is.
    static void giveBackAtOnce();

private:
    struct Terminal;

    void run();
    void draw();
    // For a key, a signal or the time to draw again.
    void wait();
    void takeSignals();
    void takeKeys();
    void handleKey(int key);

    Calls m_calls;
    const int m_input;
    const int m_output;
    bool m_hasKeys = false;
    TableView m_view = TableView::Values;
    int m_wanted = 0; // value or station to stand first; beyond the end it stays the last page
    int m_first = 0;  // the one that does
    int m_places = 1; // values or stations that a page holds
    std::atomic<bool> m_isEnding{false};
    std::atomic<bool> m_hasEnded{false}; // the terminal is given back
    std::unique_ptr<Terminal> m_terminal;
    std::thread m_thread;
};
