// Why a station does not answer as it should: the likely cause and what to try, read from what was
// seen on the line.
#pragma once

#include "panel/health/evidence.h"

#include <QString>
#include <QStringList>

#include <functional>

// Nothing is told from fewer.
constexpr int FewestExchanges = 5;

// What the rules go by.
struct Facts {
    int station = 0;
    Evidence evidence;
    Strangers strangers;
    bool doOthersAnswer = false; // other stations of the line, lately
    int responseTimeoutMs = 0;   // 0: not known
    // The names of the variables that a refusal is about; may be left out.
    std::function<QStringList(const Refusal &)> variables;
};

// A sentence for each rule that fits, the likeliest first; none when the station is well or was
// asked too little to tell.
QStringList likelyCauses(const Facts &facts);

// What ails the line as a whole: another master on it. Empty when nothing does. It is among the
// likely causes of each of its stations.
QString lineCause(const Strangers &strangers);
