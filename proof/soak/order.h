// The order in which requests go out: writes first, then one-shot reads, then cyclic ones, with at
// most five of a queue before the cyclic list has its turn.
#pragma once

#include "promises.h"

enum class Kind { Write, OnceRead, Cyclic, Nothing };

// What could go out when the driver was asked.
struct Waiting {
    bool write = false;
    bool onceRead = false;
    bool cyclic = false;
};

class Order {
public:
    void goesOut(Kind kind, const Waiting &waiting, Promises &promises) {
        const bool writeIsDue = waiting.write && writes < MostInARow;
        const bool readIsDue = waiting.onceRead && onceReads < MostInARow;
        promises.require(kind == Kind::Write || !writeIsDue, "a write waits while this goes out");
        promises.require(kind == Kind::Write || kind == Kind::OnceRead || !readIsDue,
                         "a one-shot read waits while this goes out");
        promises.require(kind != Kind::Nothing || !waiting.cyclic,
                         "a cyclic read waits while nothing goes out");
        const bool startsOver = kind == Kind::Cyclic || kind == Kind::Nothing;
        writes = startsOver ? 0 : writes + (kind == Kind::Write ? 1 : 0);
        onceReads = startsOver ? 0 : onceReads + (kind == Kind::OnceRead ? 1 : 0);
        promises.require(writes <= MostInARow && onceReads <= MostInARow,
                         "more than five of a queue go out in a row");
    }

private:
    static constexpr int MostInARow = 5;
    int writes = 0; // since a cyclic read or nothing went out
    int onceReads = 0;
};
