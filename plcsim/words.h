// What is typed, on the command line and as commands: numbers out of it, and complaints about it.
#pragma once

#include "clock.h"

#include <QString>
#include <QTextStream>

#include <optional>

// One line on standard error.
inline void complain(const QString &error) {
    QTextStream(stderr) << "plcsim: " << error << '\n';
}

inline bool readNumber(const QString &text, int low, int high, int *number) {
    bool isNumber = false;
    *number = text.toInt(&isNumber);
    return isNumber && *number >= low && *number <= high;
}

// "3s", "500ms", "3"; at most a day.
std::optional<Nanoseconds> readDuration(QString text);
