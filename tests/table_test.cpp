// The live table: what stands where, and what the terminal goes through.
#include "panel/screen/cell_text.h"
#include "panel/screen/terminal_table.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QRegularExpression>

#include <clocale>
#include <csignal>
#include <mutex>

#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// The names of values that take each other's place on the screen have no letter in common: only
// what differs is drawn again.
QString nameOf(int value) {
    return QString(8, QChar('A' + value % 25)) + QString::number(value) + '.';
}

TableModel modelOf(int values) {
    TableModel model;
    model.lines = {{"", "/dev/ttyS0", "19200 even 1", 0.84, milliseconds(120), 12, "", ""}};
    for (int i = 0; i < values; ++i) {
        model.values.push_back(
            {"", 1, nameOf(i), QString::number(1000 + i), Quality::Good, seconds(0)});
    }
    return model;
}

QString textOf(const TextRow &row) {
    QString text;
    for (const TextPiece &piece : row)
        text += piece.text;
    return text;
}

QString textOf(const TablePage &page) {
    QString text;
    for (const TextRow &row : page.rows)
        text += textOf(row) + '\n';
    return text;
}

TableStation wellStation(int number) {
    TableStation station;
    station.station = number;
    station.exchanges = 12000;
    station.median = milliseconds(4);
    station.most = milliseconds(9);
    station.longest = milliseconds(12);
    station.lastGood = "0 s";
    return station;
}

TableStation silentStation(int number) {
    TableStation station;
    station.station = number;
    station.exchanges = 12;
    station.failed = 3;
    station.resting = "no answer for 2 min, next try in 12 s";
    station.cause = "check the wiring";
    station.failures = "no reply 3";
    station.lastBad = "3 s ago, read holding 100: no reply";
    return station;
}

class TableText : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

TEST_F(TableText, CountsWideAndCombiningCharactersAndCutsBehindAWholeOne) {
    const struct {
        const char *text;
        int columns;
        const char *fitted;
        const char *why;
    } cases[] = {
        {"abc", 5, "abc  ", "filled"},
        {"abcdef", 4, "abc…", "cut"},
        {"温度", 5, "温度 ", "two columns each"},
        {"温度計", 4, "温… ", "half a character is none"},
        {"e\u0301te\u0301", 3, "e\u0301te\u0301", "accents take no column"},
        {"a\x1b[2J\n\tb", 9, "a.[2J..b ", "nothing moves the cursor"},
        {"a\xE2\x80\xAE" // NOLINT(misc-misleading-bidirectional): what must not reach the terminal
         "b",
         3, "a.b", "nor turns the direction"},
        {"abc", 0, "", "no room"},
    };
    for (const auto &row : cases)
        EXPECT_EQ(fitted(printable(row.text), row.columns), QString(row.fitted)) << row.why;
    EXPECT_EQ(wrapped("one two three four", 8, 2), (QStringList{"one two", "three f…"}));
}

TEST_F(TableText, IsAsLargeAsTheTerminalWhateverItShows) {
    TableModel model = modelOf(300);
    model.values[3].name = "温度 of a boiler with a very long name, far too long for any column";
    model.values[4].quality = Quality::Old;
    for (int station = 1; station < 40; ++station) {
        model.stations.push_back(silentStation(station));
    }
    for (const TableSize size : {TableSize{24, 80}, {60, 200}, {5, 20}, {1, 1}, {2, 300}}) {
        for (const TableView view : {TableView::Values, TableView::Stations}) {
            const TablePage page = layoutTable(model, size, 0, view);
            EXPECT_EQ(static_cast<int>(page.rows.size()), size.rows);
            for (const TextRow &row : page.rows)
                EXPECT_LE(columnsOf(textOf(row)), size.columns) << qPrintable(textOf(row));
        }
    }
}

TEST_F(TableText, HasARowForEachStationWhereRoomIsShortAndAPageOfThem) {
    TableModel model = modelOf(36);
    for (int station = 1; station <= 40; ++station)
        model.stations.push_back(station <= 9 ? silentStation(station) : wellStation(station));
    const QString text = textOf(layoutTable(model, {24, 80}, 0));
    EXPECT_TRUE(text.contains("\n      6          12         3  no answer for 2 min, next"))
        << qPrintable(text);
    EXPECT_TRUE(text.contains("\n  ... and 34 more, 3 in trouble")) << qPrintable(text);
    const TablePage last = layoutTable(model, {24, 80}, 99, TableView::Stations);
    EXPECT_EQ(last.first + last.places, 40);
    EXPECT_TRUE(textOf(last.rows[22]).startsWith("     40       12000         0      4 ms"));
    EXPECT_TRUE(textOf(last).contains("stations 20 to 40 of 40;"));
    model.stations.resize(9);
    EXPECT_TRUE(textOf(layoutTable(model, {60, 80}, 0, TableView::Stations))
                    .contains("\n    no reply 3; last bad 3 s ago, read holding 100: no reply "));
}

TEST_F(TableText, PagesWithinBoundsAndUsesTheWidth) {
    const TableModel model = modelOf(40);
    const TablePage narrow = layoutTable(model, {24, 80}, 30);
    EXPECT_EQ(narrow.places, 21);
    EXPECT_EQ(narrow.first, 19) << "the last page is full";
    EXPECT_TRUE(textOf(narrow).contains("values 20 to 40 of 40"));
    const TablePage wide = layoutTable(model, {24, 200}, 0);
    EXPECT_EQ(wide.places, 42) << "two side by side";
    EXPECT_TRUE(textOf(wide.rows[2]).contains(QRegularExpression(nameOf(0) + ".*" + nameOf(21))))
        << "down";
    EXPECT_EQ(layoutTable(modelOf(3), {24, 200}, 9).places, 21) << "one column where all fit";
}

TEST_F(TableText, SaysHowValuesLinesAndStationsAre) {
    TableModel model = modelOf(3);
    model.lines.push_back(
        {"east", "/dev/ttyS1", "9600 none 2", 0, {}, 0, "/dev/ttyS1: gone for 12 s", ""});
    model.values[1].quality = Quality::Old;
    model.values[1].age = seconds(75);
    model.values[2] = {"", 1, "unread", "", Quality::Never, {}};
    const QString cause =
        "a cause of " + QString(30, 'x') + ' ' + QString(70, 'y') + " that ends here";
    model.stations = {silentStation(2), wellStation(1)};
    model.stations[0].cause = cause;
    model.notes = QStringList{"log: /mnt/log.csv: No space left on device"};
    const QString text = textOf(layoutTable(model, {24, 80}, 0));
    for (const char *part :
         {"/dev/ttyS0  19200 even 1  84 % in use, pass 120 ms, late bytes 12",
          "east  /dev/ttyS1: gone", "? 1001 ", " old ", "75 s", " never ",
          "\n    no answer for 2 min, next try", "\n    a cause of xxx", "\n    ends here ",
          "log: /mnt/log.csv: No space", "12000         0      4 ms      9 ms     12 ms  0 s "}) {
        EXPECT_TRUE(text.contains(part)) << part << '\n' << qPrintable(text);
    }
    EXPECT_TRUE(textOf(layoutTable(model, {24, 200}, 0))
                    .contains("  3 s ago, read holding 100: no reply       no reply 3  "));
}

// A terminal at whose far end a person would sit.
class Pty : public ::testing::Test {
protected:
    void SetUp() override {
        if (!HAS_TABLE)
            GTEST_SKIP() << "built without ncurses";
        ::setenv("TERM", "xterm", 1);
        winsize size{24, 80, 0, 0};
        ASSERT_EQ(::openpty(&m_person, &m_program, nullptr, nullptr, &size), 0);
        ASSERT_EQ(::tcgetattr(m_program, &m_before), 0);
        m_reader = std::thread([this] { read(); });
    }
    void TearDown() override {
        ::close(m_program);
        if (m_reader.joinable())
            m_reader.join();
        ::close(m_person);
    }
    void press(const QByteArray &keys) {
        EXPECT_EQ(::write(m_person, keys.constData(), static_cast<std::size_t>(keys.size())),
                  keys.size());
    }
    // Everything shown up to then is forgotten.
    void expectShown(const QByteArray &text) {
        for (bool isShown = false; !isShown; std::this_thread::sleep_for(milliseconds(1))) {
            const std::lock_guard lock(m_mutex);
            const int at = m_shown.indexOf(text);
            isShown = at >= 0;
            m_shown.remove(0, isShown ? at : 0);
        }
    }
    bool isAsBefore() const {
        termios now{};
        ::tcgetattr(m_program, &now);
        return now.c_lflag == m_before.c_lflag && now.c_iflag == m_before.c_iflag;
    }

    int m_program = -1;

private:
    void read() {
        char bytes[4096];
        for (auto got = ::read(m_person, bytes, sizeof bytes); got > 0;
             got = ::read(m_person, bytes, sizeof bytes)) {
            const std::lock_guard lock(m_mutex);
            m_shown.append(bytes, static_cast<int>(got));
        }
    }
    int m_person = -1;
    termios m_before{};
    std::mutex m_mutex;
    QByteArray m_shown;
    std::thread m_reader;
};

const QByteArray AlternateScreen = "\x1b[?1049h";
const QByteArray HideCursor = "\x1b[?25l";
const QByteArray OwnScreen = "\x1b[?1049l";

TEST_F(Pty, PagesWithTheKeysAndIsGivenBackAsItWas) {
    std::atomic<bool> isQuit{false};
    TerminalTable table({[] { return modelOf(100); },
                         [&isQuit] {
                             isQuit = true;
                         }},
                        m_program, m_program);
    ASSERT_TRUE(table.start());
    expectShown(AlternateScreen);
    expectShown(HideCursor);
    expectShown(nameOf(0).toLatin1());
    EXPECT_FALSE(isAsBefore());
    press(" ");
    expectShown(nameOf(21).toLatin1());
    press("\x1bOF"); // End
    expectShown(nameOf(99).toLatin1());
    press("\x1bOA"); // up
    expectShown(nameOf(78).toLatin1());
    press("\x1bOH"); // Home
    expectShown(nameOf(0).toLatin1());
    winsize larger{40, 80, 0, 0};
    ASSERT_EQ(::ioctl(m_program, TIOCSWINSZ, &larger), 0);
    expectShown(nameOf(36).toLatin1());
    press("s");
    expectShown("longest");
    EXPECT_FALSE(isQuit);
    press("q");
    while (!isQuit)
        std::this_thread::sleep_for(milliseconds(1));
    table.stop();
    expectShown(OwnScreen);
    EXPECT_TRUE(isAsBefore());
}

TEST_F(Pty, IsGivenBackThoughItsOutputIsHalted) {
    TerminalTable table({[] { return modelOf(100); },
                         [] {
                         }},
                        m_program, m_program);
    ASSERT_TRUE(table.start());
    expectShown(nameOf(0).toLatin1());
    press("\x13"); // Ctrl-S
    press(" ");
    table.stop();
    EXPECT_TRUE(isAsBefore());
}

TEST_F(Pty, IsGivenBackByAHandlerThatEndsTheProcess) {
    TerminalTable table({[] { return modelOf(1); },
                         [] {
                         }},
                        m_program, m_program);
    ASSERT_TRUE(table.start());
    expectShown(nameOf(0).toLatin1());
    TerminalTable::giveBackAtOnce();
    EXPECT_TRUE(isAsBefore());
    expectShown(OwnScreen);
}

TEST_F(Pty, IsNotTakenWhereThereIsNoneOrItCannotMove) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    TerminalTable none({[] { return modelOf(1); },
                        [] {
                        }},
                       m_program, ends[1]);
    EXPECT_FALSE(none.start());
    ::setenv("TERM", "no such terminal", 1);
    TerminalTable unknown({[] { return modelOf(1); },
                           [] {
                           }},
                          m_program, m_program);
    EXPECT_FALSE(unknown.start());
    EXPECT_TRUE(isAsBefore());
}

} // namespace
