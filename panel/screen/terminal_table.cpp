#include "panel/screen/terminal_table.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <langinfo.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#define NCURSES_NOMACROS 1
#define NCURSES_WIDECHAR 1
#include <curses.h>

namespace {

constexpr int RefreshMs = 250;
constexpr int EscapeMs = 25; // between the parts of a key's sequence
constexpr int LastValue = 1'000'000'000;
constexpr char Nudge = 0; // what stop() wakes the thread with; handlers take the signal's number

// Where signal handlers and stop() wake the table's thread.
std::atomic<int> wakeEnd{-1};
static_assert(std::atomic<int>::is_always_lock_free, "read by a signal handler");

void wake(char reason) {
    const int before = errno;
    static_cast<void>(!::write(wakeEnd, &reason, 1));
    errno = before;
}

void noteSignal(int number) {
    wake(static_cast<char>(number));
}

// Keeps how signals were handled, and sees to it again at its end.
class SignalKeeper {
public:
    SignalKeeper() {
        for (std::size_t i = 0; i < Numbers.size(); ++i)
            ::sigaction(Numbers.at(i), nullptr, &m_before.at(i));
    }
    ~SignalKeeper() {
        for (std::size_t i = Ends; i < Numbers.size(); ++i)
            ::sigaction(Numbers.at(i), &m_before.at(i), nullptr);
    }
    SignalKeeper(const SignalKeeper &) = delete;
    SignalKeeper &operator=(const SignalKeeper &) = delete;

    // What was ignored, as job control is without a shell, stays so.
    static void take(int number) {
        struct sigaction action {};
        ::sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN)
            return;
        action = {};
        action.sa_handler = noteSignal;
        action.sa_flags = SA_RESTART;
        ::sigaction(number, &action, nullptr);
    }
    // The terminal library takes these where nobody else does.
    void giveBackEnds() const {
        ::sigaction(SIGINT, &m_before[0], nullptr);
        ::sigaction(SIGTERM, &m_before[1], nullptr);
    }

private:
    static constexpr std::size_t Ends = 2; // the first of them, which are not the table's
    static constexpr std::array Numbers{SIGINT, SIGTERM, SIGTSTP, SIGCONT, SIGWINCH};
    std::array<struct sigaction, Numbers.size()> m_before{};
};

// Without a character set of its own a terminal most likely shows UTF-8.
void chooseCharacters() {
    static_cast<void>(std::setlocale(LC_CTYPE, ""));
    if (std::strcmp(::nl_langinfo(CODESET), "UTF-8") != 0)
        static_cast<void>(std::setlocale(LC_CTYPE, "C.UTF-8"));
}

// A background job that touched the terminal would be stopped. Without job control nobody is.
bool isOurTurn(int descriptor) {
    const pid_t group = ::tcgetpgrp(descriptor);
    return group < 0 || group == ::getpgrp();
}

// Output that Ctrl-S has halted must not hold up the end. Going on undoes a halt of the same call
// alone.
void letOutputGoOn(int descriptor) {
    if (!isOurTurn(descriptor))
        return;
    ::tcflow(descriptor, TCOOFF);
    ::tcflow(descriptor, TCOON);
}

TableSize sizeOf(int descriptor) {
    winsize size{};
    const bool isKnown = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_row > 0;
    return isKnown && size.ws_col > 0 ? TableSize{size.ws_row, size.ws_col} : TableSize{};
}

unsigned attributesOf(TextStyle style) {
    const bool hasColours = ::has_colors();
    switch (style) {
    case TextStyle::Plain:
        return A_NORMAL;
    case TextStyle::Title:
        return A_BOLD;
    case TextStyle::Heading:
        return A_REVERSE;
    case TextStyle::Old:
        return hasColours ? static_cast<chtype>(COLOR_PAIR(1)) : A_DIM;
    case TextStyle::Bad:
        return hasColours ? static_cast<chtype>(COLOR_PAIR(2)) : A_BOLD;
    }
    return A_NORMAL;
}

FILE *fileOf(int descriptor, const char *mode) {
    return ::fdopen(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0), mode);
}

// What a handler needs to give the terminal back; it cannot call the terminal library.
struct LastResort {
    std::atomic<int> descriptor{-1}; // while the terminal is taken
    termios before{};
    std::array<char, 256> text{}; // ends modes, leaves the alternate screen, shows the cursor
    std::size_t length = 0;

    // Once the terminal library knows the terminal.
    void prepare() {
        length = 0;
        for (const char *capability : {"sgr0", "rmkx", "rmcup", "cnorm"})
            append(::tigetstr(capability));
    }

private:
    // Delays ("$<5>") are for the terminal library.
    void append(const char *sequence) {
        const auto value = reinterpret_cast<std::intptr_t>(sequence);
        const bool isMissing = value == 0 || value == -1;
        const std::string_view whole = isMissing ? "" : sequence;
        const std::string_view sent = whole.substr(0, whole.find("$<"));
        if (sent.size() > text.size() - length)
            return;
        std::copy(sent.begin(), sent.end(), text.begin() + static_cast<std::ptrdiff_t>(length));
        length += sent.size();
    }
};
LastResort lastResort;

} // namespace

struct TerminalTable::Terminal {
    Terminal(int input, int output) : in(fileOf(input, "r")), out(fileOf(output, "w")) {
        static_cast<void>(::pipe2(pipe.data(), O_CLOEXEC | O_NONBLOCK));
        wakeEnd = pipe[1];
    }
    ~Terminal() {
        if (screen != nullptr)
            ::delscreen(screen);
        static_cast<void>(std::fclose(in));
        static_cast<void>(std::fclose(out));
        wakeEnd = -1;
        ::close(pipe[0]);
        ::close(pipe[1]);
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    bool open();
    void show(const std::vector<TextRow> &rows) const;
    // As it was before; the next show() takes it again.
    static void giveBack();
    void suspend() const;

    SignalKeeper signalKeeper; // the first member: handlers end last
    FILE *in;
    FILE *out;
    std::array<int, 2> pipe{-1, -1};
    SCREEN *screen = nullptr;
};

bool TerminalTable::Terminal::open() {
    for (const int number : {SIGTSTP, SIGCONT, SIGWINCH})
        SignalKeeper::take(number);
    ::tcgetattr(::fileno(out), &lastResort.before);
    screen = ::newterm(nullptr, out, in);
    signalKeeper.giveBackEnds();
    if (screen == nullptr)
        return false;
    lastResort.prepare();
    ::cbreak();
    ::noecho();
    ::nonl();
    ::keypad(::stdscr, TRUE);
    ::nodelay(::stdscr, TRUE);
    ::set_escdelay(EscapeMs);
    ::curs_set(0);
    if (::has_colors() && ::start_color() == OK) {
        ::use_default_colors();
        ::init_pair(1, COLOR_YELLOW, -1);
        ::init_pair(2, COLOR_RED, -1);
    }
    return true;
}

void TerminalTable::Terminal::show(const std::vector<TextRow> &rows) const {
    ::werase(::stdscr);
    int number = 0;
    for (const TextRow &row : rows) {
        ::wmove(::stdscr, number++, 0);
        for (const TextPiece &piece : row) {
            ::wattrset(::stdscr, static_cast<int>(attributesOf(piece.style)));
            ::waddwstr(::stdscr, piece.text.toStdWString().c_str());
        }
    }
    ::wattrset(::stdscr, A_NORMAL);
    lastResort.descriptor = ::fileno(out);
    ::wrefresh(::stdscr);
}

void TerminalTable::Terminal::giveBack() {
    if (!::isendwin())
        ::endwin();
    lastResort.descriptor = -1;
}

// Returns when the process goes on.
void TerminalTable::Terminal::suspend() const {
    giveBack();
    static_cast<void>(std::signal(SIGTSTP, SIG_DFL));
    static_cast<void>(std::raise(SIGTSTP));
    SignalKeeper::take(SIGTSTP);
}

TerminalTable::TerminalTable(Calls calls, int input, int output)
    : m_calls(std::move(calls)), m_input(input), m_output(output) {}

TerminalTable::~TerminalTable() {
    stop();
}

bool TerminalTable::start() {
    if (::isatty(m_output) == 0 || !isOurTurn(m_output))
        return false;
    chooseCharacters();
    m_terminal = std::make_unique<Terminal>(m_input, m_output);
    if (!m_terminal->open()) {
        m_terminal.reset();
        return false;
    }
    m_hasKeys = ::isatty(m_input) != 0;
    m_thread = std::thread([this] { run(); });
    return true;
}

void TerminalTable::stop() {
    if (!m_thread.joinable())
        return;
    m_isEnding = true;
    wake(Nudge);
    while (!m_hasEnded) {
        letOutputGoOn(m_output);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    m_thread.join();
    m_terminal.reset();
}

// Calls what a signal handler may call alone.
void TerminalTable::giveBackAtOnce() {
    const int descriptor = lastResort.descriptor.exchange(-1);
    if (descriptor < 0 || !isOurTurn(descriptor))
        return;
    letOutputGoOn(descriptor);
    static_cast<void>(!::write(descriptor, lastResort.text.data(), lastResort.length));
    ::tcsetattr(descriptor, TCSANOW, &lastResort.before);
}

void TerminalTable::run() {
    while (!m_isEnding) {
        if (isOurTurn(m_output))
            draw();
        wait();
    }
    if (isOurTurn(m_output))
        Terminal::giveBack();
    m_hasEnded = true;
}

void TerminalTable::draw() {
    const TableSize size = sizeOf(m_output);
    if (size.rows != ::getmaxy(::stdscr) || size.columns != ::getmaxx(::stdscr))
        ::resizeterm(size.rows, size.columns);
    const TablePage page = layoutTable(m_calls.snapshot(), size, m_wanted, m_view);
    m_first = page.first;
    m_places = page.places;
    m_terminal->show(page.rows);
}

void TerminalTable::wait() {
    const bool takesKeys = m_hasKeys && isOurTurn(m_output);
    std::array<pollfd, 2> ends{
        {{m_terminal->pipe[0], POLLIN, 0}, {takesKeys ? m_input : -1, POLLIN, 0}}};
    if (::poll(ends.data(), ends.size(), RefreshMs) <= 0)
        return;
    takeSignals();
    if ((ends[1].revents & POLLIN) != 0)
        takeKeys();
    if ((ends[1].revents & (POLLHUP | POLLERR)) != 0) {
        m_hasKeys = false;
        m_calls.quit();
    }
}

void TerminalTable::takeSignals() {
    char reason = Nudge;
    while (::read(m_terminal->pipe[0], &reason, 1) == 1) {
        if (reason == SIGTSTP)
            m_terminal->suspend();
        // Whoever had the terminal meanwhile has changed it.
        if (reason == SIGCONT && isOurTurn(m_output)) {
            Terminal::giveBack();
            ::clearok(::curscr, TRUE);
        }
    }
}

void TerminalTable::takeKeys() {
    for (int key = ::wgetch(::stdscr); key != ERR; key = ::wgetch(::stdscr))
        handleKey(key);
}

void TerminalTable::handleKey(int key) {
    const struct {
        int key;
        int step;
    } moves[] = {
        {KEY_DOWN, 1},         {'j', 1},
        {KEY_UP, -1},          {'k', -1},
        {KEY_NPAGE, m_places}, {' ', m_places},
        {KEY_RIGHT, m_places}, {KEY_PPAGE, -m_places},
        {'b', -m_places},      {KEY_BACKSPACE, -m_places},
        {KEY_LEFT, -m_places}, {KEY_HOME, -LastValue},
        {'g', -LastValue},     {KEY_END, LastValue},
        {'G', LastValue},
    };
    for (const auto &move : moves) {
        if (move.key == key)
            m_first = m_wanted = std::clamp(m_first + move.step, 0, LastValue);
    }
    if (key == 's' || key == 'S') {
        m_view = m_view == TableView::Values ? TableView::Stations : TableView::Values;
        m_first = m_wanted = 0;
    }
    if (key == 'q' || key == 'Q')
        m_calls.quit();
}
