#include "panel/screen/cell_text.h"

#include <QVector>

#include <algorithm>

#include <wchar.h>

namespace {

const QString Cut = QStringLiteral("…");

bool canShow(uint character) {
    const QChar::Category category = QChar::category(character);
    return category != QChar::Other_Format && ::wcwidth(static_cast<wchar_t>(character)) >= 0;
}

// As much of the beginning as the columns hold.
QString beginning(const QString &text, int columns) {
    QString begin;
    for (const uint character : text.toUcs4()) {
        const QString next = begin + QString::fromUcs4(&character, 1);
        if (columnsOf(next) > columns)
            break;
        begin = next;
    }
    return begin;
}

} // namespace

QString printable(const QString &text) {
    QVector<uint> characters = text.toUcs4();
    for (uint &character : characters) {
        if (!canShow(character))
            character = '.';
    }
    return QString::fromUcs4(characters.constData(), characters.size());
}

int columnsOf(const QString &text) {
    int columns = 0;
    for (const uint character : text.toUcs4())
        columns += std::max(0, ::wcwidth(static_cast<wchar_t>(character)));
    return columns;
}

QString fitted(const QString &text, int columns, Align align) {
    const bool isCut = columnsOf(text) > columns;
    const QString shown = isCut ? beginning(text, columns - 1) + (columns > 0 ? Cut : "") : text;
    const QString fill(std::max(0, columns - columnsOf(shown)), ' ');
    return align == Align::Left ? shown + fill : fill + shown;
}

QStringList wrapped(const QString &text, int columns, int lines) {
    QStringList result;
    QStringList words = text.split(' ');
    while (!words.isEmpty() && result.size() < lines) {
        QString line = words.takeFirst();
        while (!words.isEmpty() && columnsOf(line + ' ' + words.constFirst()) <= columns)
            line += ' ' + words.takeFirst();
        result += line;
    }
    if (!words.isEmpty() && !result.isEmpty())
        result.last() += ' ' + words.join(' ');
    for (QString &line : result) {
        if (columnsOf(line) > columns)
            line = fitted(line, columns);
    }
    return result;
}
