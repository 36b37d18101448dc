// What stands where a recorder is to write. A wrong name on the command line must not cost anybody
// a file.
#pragma once

#include <QByteArray>
#include <QString>

// Whether a file that begins so was written by an earlier run.
using IsEarlier = bool (*)(const QByteArray &beginning);

// Empty when a file of that kind ("trace") may be written there: nothing is there yet, an empty
// file, a device or a pipe, or an earlier file of the kind. One line otherwise.
QString whyNotReplaced(const QString &path, const char *kind, IsEarlier isEarlier);
