// What stations have refused to give, and what follows for the blocks that may be asked for.
#pragma once

#include "panel/file/variable.h"

#include <vector>

inline int endOf(const RegisterSpan &span) {
    return span.first + span.count;
}
inline bool sameArea(const RegisterSpan &a, const RegisterSpan &b) {
    return a.station == b.station && a.area == b.area;
}
inline bool contains(const RegisterSpan &outer, const RegisterSpan &inner) {
    return sameArea(outer, inner) && outer.first <= inner.first && endOf(inner) <= endOf(outer);
}

// Each refused block is to be cut at one place, so that halving finds the cause in few steps: a
// hole between two spans, or a span that is refused when it is asked for alone. With the cause
// known the larger blocks around it need no cut any more. Where there is none, because the station
// takes no requests of that length, the cuts stay.
class RefusedBlocks {
public:
    // `parts` are the spans that the block was to read, sorted, none within another.
    void add(const RegisterSpan &block, const std::vector<RegisterSpan> &parts);
    void forget(int station);

    // Whether a block would be refused, by itself or because it has not been cut yet.
    bool forbids(const RegisterSpan &block) const;
    // Whether a span cannot be had: it was refused when nothing else was asked for with it.
    bool hasAlone(const RegisterSpan &span) const;
    // The blocks in which they were refused.
    std::vector<RegisterSpan> alone() const;
    bool isEmpty() const { return m_refusals.empty(); }

private:
    struct Refusal {
        RegisterSpan block;
        RegisterSpan bridge; // no block may contain it
        bool isAlone;
    };
    void forgetBlocksAround(const RegisterSpan &cause);

    std::vector<Refusal> m_refusals;
};
