// The course of one value over a span of time, thinned to what a plot can show.
#pragma once

#include <QString>

#include <optional>
#include <vector>

// Times are milliseconds since 1970, UTC.
struct TrendRequest {
    QString variable;
    int element = 0; // of a variable with several values
    qint64 from = 0;
    qint64 to = 0;
    int points = 2000; // most of them in the answer
};

// A value holds from its point to the next; none: from here on it was not known.
struct TrendPoint {
    qint64 at = 0;
    std::optional<double> value;
};

struct Trend {
    QString error; // empty, or one line
    QString line;
    QString unit;
    std::vector<TrendPoint> points; // in the order of time
};

// Takes the points of a span in the order of time and leaves at most so many. When they are more,
// the span is cut into equal parts, of each of which the least, the greatest, the first gap and the
// last point stay: no peak and no gap is lost.
class Thinner {
public:
    static constexpr int KeptOfEach = 4;

    Thinner(qint64 from, qint64 to, int points);

    void add(const TrendPoint &point);
    std::vector<TrendPoint> points() const;

private:
    struct Part {
        std::optional<TrendPoint> least;
        std::optional<TrendPoint> greatest;
        std::optional<TrendPoint> gap;
        std::optional<TrendPoint> last;
    };
    void addToPart(const TrendPoint &point);

    qint64 m_from;
    double m_partLength;
    std::size_t m_most;
    std::vector<TrendPoint> m_all; // empty once they are too many
    std::vector<Part> m_parts;
    bool m_isThinned = false;
};
