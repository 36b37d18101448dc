#include "panel/feed/trend.h"

#include <algorithm>

namespace {

bool isEarlier(const TrendPoint &left, const TrendPoint &right) {
    return left.at < right.at;
}

bool isSame(const TrendPoint &left, const TrendPoint &right) {
    return left.at == right.at && left.value == right.value;
}

} // namespace

Thinner::Thinner(qint64 from, qint64 to, int points)
    : m_from(from), m_most(static_cast<std::size_t>(std::max(points, KeptOfEach))),
      m_parts(m_most / KeptOfEach) {
    // As doubles: the span between any two times fits.
    m_partLength = (static_cast<double>(to) - static_cast<double>(from) + 1) /
                   static_cast<double>(m_parts.size());
}

void Thinner::add(const TrendPoint &point) {
    if (m_isThinned) {
        addToPart(point);
        return;
    }
    m_all.push_back(point);
    if (m_all.size() <= m_most)
        return;
    m_isThinned = true;
    for (const TrendPoint &each : m_all)
        addToPart(each);
    m_all.clear();
}

void Thinner::addToPart(const TrendPoint &point) {
    const double parts =
        (static_cast<double>(point.at) - static_cast<double>(m_from)) / m_partLength;
    // Before it becomes an index: it may be beyond all of them, or no number.
    const double index = std::min(std::max(0.0, parts), static_cast<double>(m_parts.size() - 1));
    Part &part = m_parts[static_cast<std::size_t>(index)];
    part.last = point;
    if (!point.value) {
        if (!part.gap)
            part.gap = point;
        return;
    }
    if (!part.least || *point.value < *part.least->value)
        part.least = point;
    if (!part.greatest || *point.value > *part.greatest->value)
        part.greatest = point;
}

std::vector<TrendPoint> Thinner::points() const {
    std::vector<TrendPoint> points = m_all;
    for (const Part &part : m_parts) {
        for (const auto &kept : {part.least, part.greatest, part.gap, part.last}) {
            if (kept)
                points.push_back(*kept);
        }
    }
    // A clock that was set back brings points out of order.
    std::stable_sort(points.begin(), points.end(), isEarlier);
    points.erase(std::unique(points.begin(), points.end(), isSame), points.end());
    return points;
}
