// Text in the columns of a terminal, where a character takes one, two or none of them.
#pragma once

#include <QString>
#include <QStringList>

enum class Align { Left, Right };

// What may go to a terminal: a dot in the place of each character that moves the cursor, reverses
// the direction or that the terminal cannot show.
QString printable(const QString &text);

// Columns that a printable text takes.
int columnsOf(const QString &text);

// As wide as asked for: filled with spaces, or cut behind a whole character and marked with "…".
QString fitted(const QString &text, int columns, Align align = Align::Left);

// Broken between words into lines of so many columns, at most so many lines; the last one is cut.
QStringList wrapped(const QString &text, int columns, int lines);
