// The table of switched-off stations, as the scheduler asks it.
#pragma once

#include <QtGlobal>

// True when the station is switched off. Takes stationMutex; the scheduler calls it with listMutex
// held.
Q_DECL_EXPORT bool Ethernetcontains(int station);
