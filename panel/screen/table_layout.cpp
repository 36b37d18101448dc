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
constexpr int CauseRows = 2; // where not all stations fit otherwise

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
    const QString late =
        line.lateBytes > 0 ? QString(", late bytes %1").arg(line.lateBytes) : QString();
    return printable(name + line.device + "  " + line.setting + "  " + use + pass + late);
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
                  (isOld ? "? " : "") + printable(value.text), qualityName(value.quality),
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
    int lastGood = 0; // these: 0 where there is none, or no room
    int lastBad = 0;
    int failures = 0; // by kind
};

constexpr std::array FigureWidths{StationWidth, 10, 8, 8, 8, 8};
constexpr std::size_t CountFigures = 3; // station, exchanges, failed; the others are times

// How much is said of each station.
enum class Detail {
    Row,    // one row, where what ails it stands in the place of its times
    Cause,  // below it what ails it
    Figures // and what the columns have no room for
};

struct ColumnLimits {
    int least; // fewer say nothing, unless the text is shorter
    int most;
};

constexpr ColumnLimits LastBadLimits{40, 48};
constexpr ColumnLimits FailureLimits{60, 60};

// Takes the width of a column from what is left; 0 where that is too little for it.
int columnOf(int widestText, ColumnLimits limits, int *left) {
    constexpr int Step = 8; // so that the columns stand still while texts change
    const int wanted = std::min((widestText / Step + 1) * Step, limits.most);
    const int width = std::min(wanted, *left - Gap);
    if (widestText == 0 || width < std::min(wanted, limits.least))
        return 0;
    *left -= width + Gap;
    return width;
}

StationColumns stationColumns(const TableModel &model, const TableSize &size) {
    StationColumns columns;
    columns.line = widest(model.lines, &TableLine::name);
    int left = size.columns - (columns.line > 0 ? columns.line + Gap : 0);
    for (const int width : FigureWidths)
        left -= width + Gap;
    columns.lastGood = columnOf(AgeWidth - 1, {AgeWidth, AgeWidth}, &left);
    columns.lastBad =
        columnOf(widest(model.stations, &TableStation::lastBad), LastBadLimits, &left);
    columns.failures =
        columnOf(widest(model.stations, &TableStation::failures), FailureLimits, &left);
    return columns;
}

struct StationTexts {
    QString line;
    std::array<QString, FigureWidths.size()> figures;
    QString lastGood;
    QString lastBad;
    QString failures;
};

QString figureCells(const StationTexts &texts, const StationColumns &columns, std::size_t figures) {
    const QString gap(Gap, ' ');
    QString row = columns.line > 0 ? fitted(texts.line, columns.line) + gap : QString();
    for (std::size_t i = 0; i < figures; ++i)
        row += fitted(texts.figures.at(i), FigureWidths.at(i), Align::Right) + gap;
    return row;
}

// The same columns for the heading and the stations.
QString stationCells(const StationTexts &texts, const StationColumns &columns) {
    const std::pair<int, QString> cells[] = {{columns.lastGood, texts.lastGood},
                                             {columns.lastBad, texts.lastBad},
                                             {columns.failures, texts.failures}};
    QString row = figureCells(texts, columns, FigureWidths.size());
    for (const auto &[width, text] : cells) {
        if (width > 0)
            row += fitted(text, width) + QString(Gap, ' ');
    }
    return row;
}

QString timeOrNone(std::chrono::microseconds time) {
    return time.count() > 0 ? durationText(time) : "-";
}

StationTexts textsOf(const TableStation &station) {
    const QString number = station.station == 0 ? "all" : QString::number(station.station);
    return {printable(station.line),
            {number, QString::number(station.exchanges), QString::number(station.failed),
             timeOrNone(station.median), timeOrNone(station.most), timeOrNone(station.longest)},
            station.lastGood.isEmpty() ? "never" : station.lastGood,
            printable(station.lastBad),
            printable(station.failures)};
}

QStringList notEmpty(QStringList texts) {
    texts.removeAll("");
    return texts;
}

// What has no column of its own.
QString figuresBelow(const StationTexts &texts, const StationColumns &columns) {
    const bool hasBad = columns.lastBad == 0 && !texts.lastBad.isEmpty();
    return notEmpty({columns.failures == 0 ? texts.failures : QString(),
                     hasBad ? "last bad " + texts.lastBad : QString()})
        .join("; ");
}

// What ails a station stands below it, unless it rests and the width has room for that.
Rows rowsOf(const TableStation &station, const StationColumns &columns, const TableSize &size,
            Detail detail) {
    const StationTexts texts = textsOf(station);
    const TextStyle style = station.isWell() ? TextStyle::Plain : TextStyle::Bad;
    const QString resting = printable(station.resting);
    const QString cause = printable(station.cause);
    const QString cells = stationCells(texts, columns);
    if (detail == Detail::Row && !station.isWell()) {
        const QString ailment = notEmpty({resting, cause}).join("; ");
        return {plain(figureCells(texts, columns, CountFigures) + ailment, size.columns, style)};
    }
    const bool hasRoom = columnsOf(cells + resting) <= size.columns;
    Rows rows{plain(hasRoom ? cells + resting : cells, size.columns, style)};
    if (detail == Detail::Row)
        return rows;
    QStringList below{hasRoom ? QString() : resting};
    below += wrapped(cause, size.columns - CauseIndent,
                     detail == Detail::Figures ? FullCauseRows : CauseRows);
    if (detail == Detail::Figures)
        below += figuresBelow(texts, columns);
    for (const QString &text : notEmpty(below))
        rows.push_back(plain(QString(CauseIndent, ' ') + text, size.columns));
    return rows;
}

QString restText(const TableModel &model, std::size_t from) {
    const auto begin = model.stations.begin() + static_cast<std::ptrdiff_t>(from);
    const auto troubled = std::count_if(
        begin, model.stations.end(), [](const TableStation &station) { return !station.isWell(); });
    const QString how = troubled == 0 ? "all well" : QString("%1 in trouble").arg(troubled);
    return QString("  ... and %1 more, %2").arg(model.stations.size() - from).arg(how);
}

void add(const Rows &more, Rows *rows) {
    rows->insert(rows->end(), more.begin(), more.end());
}

Rows headingRows(const StationColumns &columns, const TableSize &size) {
    const StationTexts heading{"line",
                               {"station", "exchanges", "failed", "median", "95 %", "longest"},
                               "last good",
                               "last bad",
                               "failures"};
    return {plain(stationCells(heading, columns), size.columns, TextStyle::Heading)};
}

// A row for each; what room is left goes to what ails the first ones.
Rows closeRows(const TableModel &model, const TableSize &size, int most) {
    const StationColumns columns = stationColumns(model, size);
    Rows rows = headingRows(columns, size);
    int spare = most - 1 - static_cast<int>(model.stations.size());
    for (std::size_t i = 0; i < model.stations.size(); ++i) {
        if (spare < 0 && static_cast<int>(rows.size()) + 1 >= most) {
            rows.push_back(plain(restText(model, i), size.columns));
            break;
        }
        const Rows full = rowsOf(model.stations[i], columns, size, Detail::Cause);
        const int needed = static_cast<int>(full.size()) - 1;
        const bool fits = needed <= spare;
        spare -= fits ? needed : 0;
        add(fits ? full : rowsOf(model.stations[i], columns, size, Detail::Row), &rows);
    }
    return rows;
}

// As many as `most` rows hold, of which the last says how many are left out.
Rows stationRows(const TableModel &model, const TableSize &size, int most) {
    const StationColumns columns = stationColumns(model, size);
    for (const Detail detail : {Detail::Figures, Detail::Cause}) {
        Rows rows = headingRows(columns, size);
        for (const TableStation &station : model.stations)
            add(rowsOf(station, columns, size, detail), &rows);
        if (static_cast<int>(rows.size()) <= most)
            return rows;
    }
    return closeRows(model, size, most);
}

// A third of the height, or what values in one column leave.
Rows stationsBelow(const TableModel &model, const TableSize &size, int taken) {
    if (size.rows < 3 * LeastRows || model.stations.empty())
        return {};
    const int left = size.rows - taken - static_cast<int>(model.values.size());
    return stationRows(model, size, std::max(size.rows / 3, left));
}

// `most` rows, the heading included.
Rows stationsAlone(const TableModel &model, const TableSize &size, int most, TablePage *page) {
    const int all = static_cast<int>(model.stations.size());
    page->places = std::max(1, most - 1);
    page->first = std::clamp(page->first, 0, std::max(0, all - page->places));
    if (all <= page->places)
        return stationRows(model, size, most);
    const StationColumns columns = stationColumns(model, size);
    Rows rows = headingRows(columns, size);
    for (int i = page->first; i < page->first + page->places; ++i) {
        const TableStation &station = model.stations[static_cast<std::size_t>(i)];
        add(rowsOf(station, columns, size, Detail::Row), &rows);
    }
    return rows;
}

// --- Keys ---

TextRow footer(const TableModel &model, const TablePage &page, TableView view, int columns) {
    const bool isValues = view == TableView::Values;
    const int all = static_cast<int>(isValues ? model.values.size() : model.stations.size());
    const QString paging = QString("%1 %2 to %3 of %4; arrows, page keys, Home; ")
                               .arg(isValues ? "values" : "stations")
                               .arg(page.first + 1)
                               .arg(std::min(all, page.first + page.places))
                               .arg(all);
    const QString keys = QString("s %1; q ends the run").arg(isValues ? "stations" : "values");
    return plain((all > page.places ? paging : "") + keys, columns, TextStyle::Title);
}

// The columns of values have a least width, a terminal has none.
void clip(int columns, TextRow *row) {
    for (TextPiece &piece : *row) {
        if (columnsOf(piece.text) > columns)
            piece.text = fitted(piece.text, columns);
        columns -= columnsOf(piece.text);
    }
}

} // namespace

TablePage layoutTable(const TableModel &model, TableSize size, int first, TableView view) {
    constexpr int HeadingAndFooter = 2;
    TablePage page;
    page.first = first;
    page.rows = lineRows(model, size);
    const int above = static_cast<int>(page.rows.size()) + HeadingAndFooter;
    if (view == TableView::Stations) {
        const int most = std::max(2, size.rows - above + 1);
        add(stationsAlone(model, size, most, &page), &page.rows);
        page.rows.resize(static_cast<std::size_t>(above + most - HeadingAndFooter));
    } else {
        const Rows stations = stationsBelow(model, size, above);
        const int taken = above + static_cast<int>(stations.size());
        add(valueRows(model, size, std::max(1, size.rows - taken), &page), &page.rows);
        add(stations, &page.rows);
    }
    page.rows.push_back(footer(model, page, view, size.columns));
    for (TextRow &row : page.rows)
        clip(size.columns, &row);
    page.rows.resize(static_cast<std::size_t>(size.rows));
    return page;
}
