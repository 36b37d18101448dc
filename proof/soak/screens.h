// Screens as the seed plays them: one call at a time, made to the driver and to the ledger, whose
// answers must agree.
#pragma once

#include "ledger.h"
#include "random.h"
#include "round_setup.h"
#include "tally.h"

#include <string>

class Screens {
public:
    Screens(const RoundSetup &setup, Ledger &ledger, Random &random, Tally &tally)
        : setup(setup), ledger(ledger), random(random), tally(tally) {}

    // Makes one call; empty, or what is wrong with its answer.
    std::string act();

    std::string rebuild(const QList<VARDEF> &definitions);
    bool definitionsAnswerable() const { return answerable; }

private:
    std::string read();
    std::string setRegister();
    std::string addWrite();
    std::string addOnceRead();
    std::string switchStation();
    std::string rebuildAtRandom();
    std::string appendCyclic();
    std::string flood();

    int anyStation();
    int anyWritableType();
    RW_VAR drawRecord(int regType, int count);

    const RoundSetup &setup;
    Ledger &ledger;
    Random &random;
    Tally &tally;
    bool answerable = true; // the stations have every register of the cyclic list
};
