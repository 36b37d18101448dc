#include "panel/feed/history_query.h"

#include "panel/feed/history_store.h"

#include <algorithm>

namespace {

// The parameters are the same in all: block, variable, first and last time.
constexpr const char *StateAtBegin =
    "SELECT time, quality, value FROM state WHERE block = ?1 AND variable = ?2";
constexpr const char *LastBefore = "SELECT time, quality, value FROM change "
                                   "WHERE block = ?1 AND variable = ?2 AND time <= ?3 "
                                   "ORDER BY time DESC LIMIT 1";
constexpr const char *Within = "SELECT time, quality, value FROM change "
                               "WHERE block = ?1 AND variable = ?2 AND time > ?3 AND time <= ?4 "
                               "ORDER BY time";
constexpr const char *RecentLastBefore = "SELECT time, quality, value FROM recent "
                                         "WHERE variable = ?2 AND time <= ?3 "
                                         "ORDER BY id DESC LIMIT 1";
constexpr const char *RecentWithin = "SELECT time, quality, value FROM recent "
                                     "WHERE variable = ?2 AND time > ?3 AND time <= ?4 "
                                     "ORDER BY id";

struct Block {
    qint64 id = 0;
    qint64 began = 0;
    qint64 ended = 0;
    bool goesOn = false; // where the one before ended
    bool isFilling = false;
};

using Value = std::optional<double>;

Value valueOf(const Statement &row) {
    const bool isKnown = row.whole(1) == static_cast<qint64>(Quality::Good);
    return isKnown && row.isNumber(2) ? Value(row.real(2)) : std::nullopt;
}

class TrendReader {
public:
    TrendReader(Database *db, qint64 variable, const TrendRequest &request)
        : m_variable(variable), m_from(request.from), m_to(request.to), m_state(db, StateAtBegin),
          m_before(db, LastBefore), m_within(db, Within), m_recentBefore(db, RecentLastBefore),
          m_recentWithin(db, RecentWithin),
          m_thinner(request.from, request.to, request.points - 1) {}

    void readBlock(const Block &block) {
        const qint64 start = std::max(block.began, m_from);
        if (!m_hasBegun || !block.goesOn)
            beginAt(start, valueAt(start, block));
        Statement &rows = block.isFilling ? m_recentWithin : m_within;
        rows.bind(1, block.id).bind(2, m_variable).bind(3, start).bind(4, m_to);
        while (rows.step())
            add(rows.whole(0), valueOf(rows));
        m_knownTo = std::min(block.ended, m_to);
    }

    std::vector<TrendPoint> points() const {
        std::vector<TrendPoint> points = m_thinner.points();
        if (m_value && points.back().at < m_knownTo)
            points.push_back({m_knownTo, m_value});
        return points;
    }

private:
    // After a time in which nobody kept a history.
    void beginAt(qint64 at, Value value) {
        if (m_hasBegun)
            add(m_knownTo, {});
        if (!m_hasBegun || value)
            m_thinner.add({at, value});
        m_value = value;
        m_hasBegun = true;
    }

    Value valueAt(qint64 start, const Block &block) {
        Statement &before = block.isFilling ? m_recentBefore : m_before;
        for (Statement *rows : {&before, &m_state}) {
            rows->bind(1, block.id).bind(2, m_variable);
            if (rows == &before)
                rows->bind(3, start);
            if (rows->step())
                return valueOf(*rows);
        }
        return {};
    }

    void add(qint64 at, Value value) {
        if (value != m_value)
            m_thinner.add({at, value});
        m_value = value;
    }

    qint64 m_variable;
    qint64 m_from;
    qint64 m_to;
    Statement m_state;
    Statement m_before;
    Statement m_within;
    Statement m_recentBefore;
    Statement m_recentWithin;
    Thinner m_thinner;
    bool m_hasBegun = false;
    Value m_value;        // the latest
    qint64 m_knownTo = 0; // to where it holds
};

void readBlocks(Database *db, TrendReader *reader, const TrendRequest &request) {
    const qint64 latest = db->number("SELECT max(id) FROM block");
    Statement blocks(db, "SELECT id, began, ended, goes_on FROM block "
                         "WHERE ended >= ?1 AND began <= ?2 ORDER BY id");
    blocks.bind(1, request.from).bind(2, request.to);
    while (blocks.step()) {
        reader->readBlock({blocks.whole(0), blocks.whole(1), blocks.whole(2), blocks.whole(3) != 0,
                           blocks.whole(0) == latest});
    }
}

} // namespace

Trend readTrend(const QString &path, const TrendRequest &request) {
    Trend trend;
    Database db;
    db.open(path, Database::Access::ReadOnly);
    db.run("BEGIN"); // one state of the file, whatever is written meanwhile
    Statement named(&db, "SELECT id, line, unit FROM variable WHERE name = ?1 AND element = ?2");
    named.bind(1, request.variable).bind(2, static_cast<qint64>(request.element));
    if (!named.step()) {
        trend.error =
            db.hasFailed() ? db.takeError() : QString("no history of \"%1\"").arg(request.variable);
        return trend;
    }
    trend.line = named.text(1);
    trend.unit = named.text(2);
    TrendReader reader(&db, named.whole(0), request);
    readBlocks(&db, &reader, request);
    trend.points = reader.points();
    trend.error = db.takeError();
    return trend;
}
