// Lines on standard input, as they come.
#pragma once

#include "clock.h"

#include <QByteArray>
#include <QStringList>

class CommandInput {
public:
    // What to wait for; negative when there is nothing to wait for now.
    int descriptor(TimePoint now) const;
    // The whole lines that have come. Never waits where the descriptor is readable.
    QStringList read(TimePoint now);

private:
    QByteArray m_begun;
    bool m_isOpen = true;
    TimePoint m_quietUntil;
};
