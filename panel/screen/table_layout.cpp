#include "panel/screen/table_layout.h"

#include "panel/health/exchange_text.h"
#include "panel/screen/cell_text.h"

#include <algorithm>
#include <array>

namespace {

using Rows = std::vector<TextRow>;

constexpr int Gap = 2; // between columns
constexpr int StationWidth = 7;
constexpr int QualityWidth = 7;
constexpr int AgeWidth = 10;
constexpr int UsualName = 32; // of values side by side
constexpr int UsualValue = 16;
constexpr int LeastRows = 4; // of values, before there is room for stations
constexpr int CauseIndent = 4;
constexpr int FullCauseRows = 4;
constexpr int CauseRows = 2;     // where not all stations fit otherwise
constexpr int WideColumns = 120; // from there on failures stand by kind
constexpr int UsualFailures = 60;

TextRow plain(const QString &text, int columns, TextStyle style = TextStyle::Plain) {
    return {{fitted(text, columns), style}};
}

template <typename Entry>
int widest(const std::vector<Entry> &entries, QString Entry::*text) {
    int width = 0;
    for (const Entry &entry : entries)
        width = std::max(width, columnsOf(printable(entry.*text)));
    return width;
}

// --- Lines ---

QString lineText(const TableLine &line) {
    const QString name = line.name.isEmpty() ? QString() : line.name + "  ";
    if (!line.deviceGone.isEmpty())
        return printable(name + line.deviceGone);
    const QString use = QString::number(line.share * 100, 'f', 0) + " % in use";
    const QString pass = line.pass.count() > 0 ? ", pass " + durationText(line.pass) : QString();
    return printable(name + line.device + "  " + line.setting + "  " + use + pass);
}

void addWrapped(const QString &text, int indent, const TableSize &size, TextStyle style,
                Rows *rows) {
    for (const QString &part : wrapped(printable(text), size.columns - indent, size.rows / 6))
        rows->push_back(plain(QString(indent, ' ') + part, size.columns, style));
}

Rows lineRows(const TableModel &model, const TableSize &size) {
    const auto most = static_cast<std::size_t>(std::max(1, size.rows / 4));
    Rows rows;
    for (const QString &note : model.notes)
        addWrapped(note, 0, size, TextStyle::Bad, &rows);
    for (const TableLine &line : model.lines) {
        rows.push_back(plain(lineText(line), size.columns,
                             line.deviceGone.isEmpty() ? TextStyle::Title : TextStyle::Bad));
        if (!line.cause.isEmpty())
            addWrapped(line.cause, 2, size, TextStyle::Bad, &rows);
    }
    rows.resize(std::min(rows.size(), most));
    return rows;
}

// --- Values ---

// What stands beside each other in a row of one value.
struct ValueColumns {
    int line = 0; // 0: there is only one
    int name = 0;
    int value = 0;
};

int fixedWidth(int line) {
    return (line > 0 ? line + Gap : 0) + StationWidth + QualityWidth + AgeWidth + 4 * Gap;
}

ValueColumns columnsWithin(const TableModel &model, int width) {
    ValueColumns columns;
    columns.line = widest(model.lines, &TableLine::name);
    const int rest = width - fixedWidth(columns.line);
    const int longest = std::max(widest(model.values, &TableValue::name), 4);
    columns.name = std::clamp(longest, 4, std::max(4, rest / 2));
    // In steps, so that the columns behind it stand still while values come and go.
    constexpr int Step = 8;
    const int needed = (widest(model.values, &TableValue::text) / Step + 1) * Step;
    columns.value = std::clamp(std::max(needed, UsualValue), 4, std::max(4, rest - columns.name));
    return columns;
}

const char *qualityText(Quality quality) {
    constexpr std::array<const char *, 3> Names{"never", "good", "old"};
    return Names.at(static_cast<std::size_t>(quality));
}

TextRow cells(const ValueColumns &columns, const std::array<QString, 6> &texts, TextStyle style) {
    const QString gap(Gap, ' ');
    const QString line = columns.line > 0 ? fitted(texts[0], columns.line) + gap : QString();
    return {{line + fitted(texts[1], StationWidth, Align::Right) + gap +
                 fitted(texts[2], columns.name) + gap,
             style == TextStyle::Heading ? style : TextStyle::Plain},
            {fitted(texts[3], columns.value) + gap + fitted(texts[4], QualityWidth) + gap +
                 fitted(texts[5], AgeWidth),
             style}};
}

TextRow valueCells(const ValueColumns &columns, const TableValue &value) {
    const bool isOld = value.quality == Quality::Old;
    return cells(columns,
                 {printable(value.line), QString::number(value.station), printable(value.name),
                  (isOld ? "? " : "") + printable(value.text), qualityText(value.quality),
                  value.age ? spanText(*value.age) : QString()},
                 isOld ? TextStyle::Old : TextStyle::Plain);
}

// How many values stand side by side.
int abreast(const TableModel &model, int width, int rows) {
    const int name = std::min(widest(model.values, &TableValue::name), UsualName);
    const int usual = fixedWidth(widest(model.lines, &TableLine::name)) + name + UsualValue;
    const int needed = (static_cast<int>(model.values.size()) + rows - 1) / rows;
    return std::clamp((width + Gap) / (usual + Gap), 1, std::max(1, needed));
}

void append(const TextRow &cells, TextRow *row) {
    if (!row->empty())
        row->push_back({QString(Gap, ' '), TextStyle::Plain});
    row->insert(row->end(), cells.begin(), cells.end());
}

// A heading and `rows` rows, read down and then to the right.
Rows valueRows(const TableModel &model, const TableSize &size, int rows, TablePage *page) {
    const int blocks = abreast(model, size.columns, rows);
    const ValueColumns columns = columnsWithin(model, (size.columns - (blocks - 1) * Gap) / blocks);
    const int all = static_cast<int>(model.values.size());
    page->places = rows * blocks;
    page->first = std::clamp(page->first, 0, std::max(0, all - page->places));
    Rows result(static_cast<std::size_t>(rows) + 1);
    for (int block = 0; block < blocks; ++block) {
        append(cells(columns, {"line", "station", "name", "value", "quality", "age"},
                     TextStyle::Heading),
               &result[0]);
    }
    const int shown = std::min(page->places, all - page->first);
    for (int place = 0; place < shown; ++place) {
        const auto value = static_cast<std::size_t>(page->first) + static_cast<std::size_t>(place);
        const auto row = static_cast<std::size_t>(place % rows) + 1;
        append(valueCells(columns, model.values[value]), &result[row]);
    }
    return result;
}

// --- Stations ---

// What stands beside each other in a row of one station.
struct StationColumns {
    int line = 0;     // 0: there is only one
    int failures = 0; // by kind; 0: none, or no room
};

StationColumns stationColumns(const TableModel &model, const TableSize &size) {
    StationColumns columns;
    columns.line = widest(model.lines, &TableLine::name);
    const int failures = widest(model.stations, &TableStation::failures);
    if (size.columns >= WideColumns && failures > 0)
        columns.failures = std::clamp(failures, 8, UsualFailures);
    return columns;
}

struct StationTexts {
    QString line;
    std::array<QString, 5> figures;
    QString failures;
    QString remark;
};

// The same columns for the heading and the stations.
QString stationCells(const StationTexts &texts, const StationColumns &columns) {
    constexpr std::array Widths{StationWidth, 10, 8, 8, 8};
    const QString gap(Gap, ' ');
    QString row = columns.line > 0 ? fitted(texts.line, columns.line) + gap : QString();
    for (std::size_t i = 0; i < Widths.size(); ++i)
        row += fitted(texts.figures.at(i), Widths.at(i), Align::Right) + gap;
    if (columns.failures > 0)
        row += fitted(texts.failures, columns.failures) + gap;
    return row + texts.remark;
}

QString timeOrNone(std::chrono::microseconds time) {
    return time.count() > 0 ? durationText(time) : "-";
}

// What ails a station stands below it, unless it rests and the width has room for that.
Rows rowsOf(const TableStation &station, const StationColumns &columns, const TableSize &size,
            int causeRows) {
    const QString number = station.station == 0 ? "all" : QString::number(station.station);
    const auto cellsWith = [&](const QString &remark) {
        return stationCells(
            {printable(station.line),
             {number, QString::number(station.exchanges), QString::number(station.failed),
              timeOrNone(station.median), timeOrNone(station.longest)},
             printable(station.failures),
             remark},
            columns);
    };
    const QString resting = printable(station.resting);
    const bool hasRoom = columnsOf(cellsWith(resting)) <= size.columns;
    Rows rows{plain(cellsWith(hasRoom ? resting : QString()), size.columns,
                    station.isWell() ? TextStyle::Plain : TextStyle::Bad)};
    QStringList remarks;
    if (!hasRoom)
        remarks += resting;
    if (!station.cause.isEmpty())
        remarks += wrapped(printable(station.cause), size.columns - CauseIndent, causeRows);
    const QString indent(CauseIndent, ' ');
    for (const QString &remark : remarks)
        rows.push_back(plain(indent + remark, size.columns));
    return rows;
}

QString restText(const TableModel &model, std::size_t from) {
    const auto begin = model.stations.begin() + static_cast<std::ptrdiff_t>(from);
    const bool isWell = std::all_of(begin, model.stations.end(),
                                    [](const TableStation &station) { return station.isWell(); });
    return QString("  ... and %1 more%2")
        .arg(model.stations.size() - from)
        .arg(isWell ? ", all well" : "");
}

// As many as `most` rows hold, of which the last says how many are left out.
Rows stationRows(const TableModel &model, const TableSize &size, std::size_t most, int causeRows) {
    const StationColumns columns = stationColumns(model, size);
    const StationTexts heading{
        "line", {"station", "exchanges", "failed", "median", "longest"}, "failures", ""};
    Rows rows{plain(stationCells(heading, columns), size.columns, TextStyle::Heading)};
    for (std::size_t i = 0; i < model.stations.size(); ++i) {
        const Rows next = rowsOf(model.stations[i], columns, size, causeRows);
        const std::size_t needed = next.size() + (i + 1 < model.stations.size() ? 1 : 0);
        if (rows.size() + needed > most && causeRows > CauseRows)
            return stationRows(model, size, most, CauseRows);
        if (rows.size() + needed > most) {
            rows.push_back(plain(restText(model, i), size.columns));
            break;
        }
        rows.insert(rows.end(), next.begin(), next.end());
    }
    return rows;
}

// A third of the height, or what values in one column leave.
Rows stationRows(const TableModel &model, const TableSize &size, int taken) {
    if (size.rows < 3 * LeastRows || model.stations.empty())
        return {};
    const int left = size.rows - taken - static_cast<int>(model.values.size());
    const auto most = static_cast<std::size_t>(std::max(size.rows / 3, left));
    return stationRows(model, size, most, FullCauseRows);
}

// --- Keys ---

TextRow footer(const TableModel &model, const TablePage &page, int columns) {
    const int all = static_cast<int>(model.values.size());
    const int last = std::min(all, page.first + page.places);
    const QString text =
        all <= page.places ? QString("q ends the run")
                           : QString("values %1 to %2 of %3; arrows, page keys, space, Home, End; "
                                     "q ends the run")
                                 .arg(page.first + 1)
                                 .arg(last)
                                 .arg(all);
    return plain(text, columns, TextStyle::Title);
}

// The columns of values have a least width, a terminal has none.
void clip(int columns, TextRow *row) {
    for (TextPiece &piece : *row) {
        if (columnsOf(piece.text) > columns)
            piece.text = fitted(piece.text, columns);
        columns -= columnsOf(piece.text);
    }
}

void add(const Rows &more, Rows *rows) {
    rows->insert(rows->end(), more.begin(), more.end());
}

} // namespace

TablePage layoutTable(const TableModel &model, TableSize size, int first) {
    constexpr int HeadingAndFooter = 2;
    TablePage page;
    page.first = first;
    page.rows = lineRows(model, size);
    const int above = static_cast<int>(page.rows.size()) + HeadingAndFooter;
    const Rows stations = stationRows(model, size, above);
    const int taken = above + static_cast<int>(stations.size());
    add(valueRows(model, size, std::max(1, size.rows - taken), &page), &page.rows);
    add(stations, &page.rows);
    page.rows.push_back(footer(model, page, size.columns));
    for (TextRow &row : page.rows)
        clip(size.columns, &row);
    page.rows.resize(static_cast<std::size_t>(size.rows));
    return page;
}
