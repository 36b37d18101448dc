// The live table as text of a given size: what stands where, without a terminal.
#pragma once

#include "panel/screen/table_model.h"

#include <QString>

#include <vector>

enum class TextStyle { Plain, Title, Heading, Old, Bad };

struct TextPiece {
    QString text;
    TextStyle style = TextStyle::Plain;
};
using TextRow = std::vector<TextPiece>;

struct TableSize {
    int rows = 24;
    int columns = 80;
};

// Who has the room: the values, with the stations below them, or the stations alone.
enum class TableView { Values, Stations };

struct TablePage {
    std::vector<TextRow> rows; // as many as asked for, none wider
    int first = 0;  // the value or station that stands first: what was asked for, within bounds
    int places = 1; // values or stations that a page has room for
};

// From the top: a row for each line, the values (side by side where they would not fit below each
// other and the width allows), the stations with what ails them, which keys page.
TablePage layoutTable(const TableModel &model, TableSize size, int first,
                      TableView view = TableView::Values);
