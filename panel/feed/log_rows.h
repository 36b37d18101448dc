// The rows of a log of values: time (UTC, milliseconds), line, variable, value, unit, quality.
#pragma once

#include "panel/feed/value_change.h"
#include "panel/file/panel_file.h"

#include <QByteArray>
#include <QString>

#include <optional>

enum class LogFormat {
    Csv,  // a heading, then fields parted by commas; quoted where they hold commas, quotes, line
          // ends
    Json, // an object on each line; its value as valueJson has it, null while there is none
};

// By the ending of a file's name, ".csv" or ".jsonl".
std::optional<LogFormat> logFormatOf(const QString &path);

// What a log begins with: the heading of a CSV file with its line end, the brace of the first row.
QByteArray logBeginning(LogFormat format);

// How a variable stands at a time, with the line's end, in UTF-8.
QByteArray logRow(LogFormat format, const PanelFile &panel, const ValueChange &change);
