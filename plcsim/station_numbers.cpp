#include "station_numbers.h"

#include "words.h"

#include <QStringList>

namespace {

// "5" or "20-40", added to `numbers`.
bool readRange(const QString &text, StationNumbers *numbers) {
    const QStringList ends = text.split('-');
    int first = 0;
    int last = 0;
    if (ends.size() > 2 || !readNumber(ends.first(), 1, MaxStation, &first) ||
        !readNumber(ends.last(), first, MaxStation, &last)) {
        return false;
    }
    for (int number = first; number <= last; ++number)
        numbers->insert(number);
    return true;
}

} // namespace

std::optional<StationNumbers> readStationNumbers(const QString &text, char separator) {
    StationNumbers numbers;
    for (const QString &range : text.split(separator)) {
        if (!readRange(range, &numbers))
            return std::nullopt;
    }
    return numbers;
}
