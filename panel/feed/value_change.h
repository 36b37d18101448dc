// A value that changed, or how far it can be trusted: the record that everything which shows,
// stores or passes on values listens to.
#pragma once

#include "panel/health/quality.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <cstddef>
#include <functional>

struct ValueChange {
    std::size_t variable = 0; // index in PanelFile::variables, which knows line, name and unit
    QByteArray data;          // as GetRegisterData answers it; empty while never read
    QString text;             // the same as people read it, without the unit
    Quality quality = Quality::Never;
    std::chrono::system_clock::time_point at; // of the reply that brought it, or of its ageing
};

// Called on the feed's thread, once for each change, in the order of changes of a variable. Never
// waits for a disk, a socket or a terminal: a bounded queue stands between.
using ValueListener = std::function<void(const ValueChange &)>;
