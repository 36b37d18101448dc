// What the faults make of an answer, and what else they put on the line.
#pragma once

#include "clock.h"
#include "dice.h"
#include "faults.h"

#include <QByteArray>

struct Answer {
    QByteArray bytes; // none: nothing is sent
    Nanoseconds late = Nanoseconds(0);
};

// Whether the kind has something to act on: some are for answers to reads or to writes alone.
bool canSpoil(FaultKind kind, const QByteArray &answer);
// Acts on an answer that is not empty; faults of the line leave it as it is.
void spoil(const Fault &fault, Dice *dice, Answer *answer);

struct Exchange {
    QByteArray request;
    QByteArray answer;
};
// A read of another master, with its answer: good frames both.
Exchange otherMastersExchange(Dice *dice);
