#include "panel/line/refused_blocks.h"

#include <algorithm>
#include <cstddef>

namespace {

using Parts = std::vector<RegisterSpan>;

bool isGapAfter(const Parts &parts, std::size_t part) {
    return endOf(parts[part]) < parts[part + 1].first;
}

// The part after which to cut: at the middle one of the holes that nobody asked for, which are the
// likeliest to be refused, or else in the middle.
std::size_t cutAfter(const Parts &parts) {
    std::vector<std::size_t> gaps;
    for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
        if (isGapAfter(parts, i))
            gaps.push_back(i);
    }
    return gaps.empty() ? parts.size() / 2 - 1 : gaps[gaps.size() / 2];
}

// The shortest span that a block has which reads two neighbours together, and none that reads only
// one of them.
RegisterSpan bridgeBetween(const RegisterSpan &left, const RegisterSpan &right) {
    const bool overlap = endOf(left) > right.first;
    const int first = overlap ? left.first : endOf(left) - 1;
    const int end = overlap ? endOf(right) : right.first + 1;
    return {left.station, left.area, first, end - first};
}

} // namespace

void RefusedBlocks::add(const RegisterSpan &block, const std::vector<RegisterSpan> &parts) {
    const bool isAlone = parts.size() < 2;
    const bool isHole = parts.size() == 2 && isGapAfter(parts, 0);
    if (isAlone || isHole)
        forgetBlocksAround(block);
    const std::size_t cut = isAlone ? 0 : cutAfter(parts);
    m_refusals.push_back(
        {block, isAlone ? block : bridgeBetween(parts[cut], parts[cut + 1]), isAlone});
}

void RefusedBlocks::forgetBlocksAround(const RegisterSpan &cause) {
    const auto isExplained = [&cause](const Refusal &known) {
        return contains(known.block, cause);
    };
    m_refusals.erase(std::remove_if(m_refusals.begin(), m_refusals.end(), isExplained),
                     m_refusals.end());
}

void RefusedBlocks::forget(int station) {
    const auto isOfStation = [station](const Refusal &known) {
        return known.block.station == station;
    };
    m_refusals.erase(std::remove_if(m_refusals.begin(), m_refusals.end(), isOfStation),
                     m_refusals.end());
}

bool RefusedBlocks::forbids(const RegisterSpan &block) const {
    return std::any_of(m_refusals.begin(), m_refusals.end(),
                       [&block](const Refusal &known) { return contains(block, known.bridge); });
}

std::vector<RegisterSpan> RefusedBlocks::alone() const {
    std::vector<RegisterSpan> blocks;
    for (const Refusal &known : m_refusals) {
        if (known.isAlone)
            blocks.push_back(known.block);
    }
    return blocks;
}

bool RefusedBlocks::hasAlone(const RegisterSpan &span) const {
    return std::any_of(m_refusals.begin(), m_refusals.end(), [&span](const Refusal &known) {
        return known.isAlone && contains(span, known.block);
    });
}
