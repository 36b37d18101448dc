// A driver of its own for each line. The driver keeps its state in the library, and two loads of
// one file share it; so each line loads a private copy of the file.
#pragma once

#include "panel/line/driver_library.h"

#include <QString>

// Loads a copy of the library at `path` (a file, or a name that the system's loader finds) whose
// state nobody else has, and fills `driver`. The copy stays loaded for the rest of the process, so
// that addresses the driver keeps, and threads that are still in it, never meet an unloaded
// library. It has no name in any folder: it lies in memory, or, where the system has no anonymous
// files, in a temporary file that is removed at once. Returns nothing, or one line that names the
// path and says why not. Any thread.
QString loadDriverCopy(const QString &path, Driver *driver);
