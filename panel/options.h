// The command line of the panel.
#pragma once

#include "comm_loop.h"

#include <QString>
#include <QStringList>

#include <optional>

struct Options {
    QString library;
    QString device; // empty: the one of the panel file
    QString panelFile;
    RunLimit limit;
};

// The options, or nothing with one line in `error`. Ends the program for --help.
std::optional<Options> readOptions(const QStringList &arguments, QString *error);
