#include "panel/feed/history_store.h"

#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr qint64 Megabyte = 1'000'000;
constexpr qint64 HourMs = 3'600'000;
constexpr qint64 DayMs = 24 * HourMs;
constexpr qint64 MostBlockRows = 50'000;
constexpr qint64 RowBytes = 32; // about, with what the pages leave empty
constexpr qint64 PageBytes = 4096;
// A clock that went back by more, or forward by more than the panel was quiet, has been set.
constexpr qint64 ClockStepMs = 2000;
// A file up to this size is read whole when it is opened, of a larger one its small tables.
constexpr qint64 CheckedBytes = 64 * Megabyte;

constexpr const char *Schema = R"sql(
CREATE TABLE variable (
  id INTEGER PRIMARY KEY, line TEXT NOT NULL, name TEXT NOT NULL, element INTEGER NOT NULL,
  unit TEXT NOT NULL, UNIQUE (name, element));
CREATE TABLE block (
  id INTEGER PRIMARY KEY, began INTEGER NOT NULL, ended INTEGER NOT NULL,
  goes_on INTEGER NOT NULL);
CREATE TABLE state (
  block INTEGER NOT NULL, variable INTEGER NOT NULL, time INTEGER NOT NULL,
  quality INTEGER NOT NULL, value, PRIMARY KEY (block, variable)) WITHOUT ROWID;
CREATE TABLE change (
  block INTEGER NOT NULL, variable INTEGER NOT NULL, time INTEGER NOT NULL,
  quality INTEGER NOT NULL, value, PRIMARY KEY (block, variable, time)) WITHOUT ROWID;
CREATE TABLE recent (
  id INTEGER PRIMARY KEY, variable INTEGER NOT NULL, time INTEGER NOT NULL,
  quality INTEGER NOT NULL, value);
CREATE VIEW history AS
  SELECT strftime('%Y-%m-%dT%H:%M:%fZ', c.time / 1000.0, 'unixepoch') AS time, v.line, v.name,
         v.element, c.value, v.unit,
         CASE c.quality WHEN 0 THEN 'never' WHEN 1 THEN 'good' ELSE 'old' END AS quality
  FROM (SELECT variable, time, quality, value FROM change
        UNION ALL SELECT variable, time, quality, value FROM recent) AS c
  JOIN variable AS v ON v.id = c.variable;
)sql";

bool isWhole(double number) {
    return std::abs(number) < 1e15 && std::floor(number) == number;
}

// Whole numbers take less room as such.
void bindValue(Statement *statement, int parameter, const HistoryRow &row) {
    if (row.number && isWhole(*row.number)) {
        statement->bind(parameter, static_cast<qint64>(*row.number));
    } else if (row.number) {
        statement->bind(parameter, *row.number);
    } else if (row.text.isNull()) {
        statement->bindNull(parameter);
    } else {
        statement->bind(parameter, row.text);
    }
}

// Why an existing file is not written to; empty when it may be. Looks without changing anything.
QString refusal(const QString &path) {
    QString reason = refuseForeign(path, HistoryMark);
    const qint64 size = QFileInfo(path).size();
    if (!reason.isEmpty() || size == 0)
        return reason;
    Database db;
    db.open(path, Database::Access::ReadOnly);
    const auto tablesToCheck = size <= CheckedBytes ? QStringList{"PRAGMA quick_check(1)"}
                                                    : QStringList{"PRAGMA quick_check('variable')",
                                                                  "PRAGMA quick_check('block')",
                                                                  "PRAGMA quick_check('recent')"};
    for (const QString &check : tablesToCheck) {
        const QString found = db.text(check.toLatin1().constData());
        if (found != "ok")
            return "damaged, left as it is: " + (db.hasFailed() ? db.takeError() : found);
    }
    return {};
}

} // namespace

QString HistoryStore::open(const QString &path, const HistoryLimits &limits, qint64 now) {
    const QString reason = refusal(path);
    if (!reason.isEmpty())
        return path + ": " + reason.simplified();
    m_path = path;
    m_limits = limits;
    m_blockRows = std::min(MostBlockRows, limits.megabytes * Megabyte / RowBytes / 64);
    if (m_db.open(path, Database::Access::ReadWrite) && create() && resume(now)) {
        m_insert.emplace(&m_db, "INSERT INTO recent (variable, time, quality, value) "
                                "VALUES (?1, ?2, ?3, ?4)");
    }
    return m_db.hasFailed() ? path + ": " + m_db.takeError() : QString();
}

bool HistoryStore::create() {
    if (QFileInfo(m_path).size() == 0)
        m_db.mark(HistoryMark, "PRAGMA auto_vacuum = INCREMENTAL");
    // The log beside the file is counted in: a sixteenth of what the file may have, 4 MB at most.
    const qint64 logPages = std::min(1000LL, m_limits.megabytes * Megabyte / PageBytes / 16);
    m_db.run("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA temp_store = MEMORY;"
             "PRAGMA cache_size = -8000;");
    m_db.run(QString("PRAGMA wal_autocheckpoint = %1; PRAGMA journal_size_limit = %2")
                 .arg(logPages)
                 .arg(logPages * PageBytes)
                 .toLatin1());
    if (m_db.number("SELECT count(*) FROM sqlite_master") > 0)
        return !m_db.hasFailed();
    m_db.run("BEGIN IMMEDIATE");
    m_db.run(Schema);
    return !m_db.hasFailed() && m_db.run("COMMIT");
}

// What the last run left open is closed where that run was last alive; a run begins with a block of
// its own.
bool HistoryStore::resume(qint64 now) {
    m_db.run("BEGIN IMMEDIATE");
    m_block.id = m_db.number("SELECT max(id) FROM block");
    m_block.ended = m_db.number("SELECT ended FROM block ORDER BY id DESC LIMIT 1");
    if (m_block.id != 0)
        closeBlock(std::max(m_block.ended, m_db.number("SELECT max(time) FROM recent")));
    beginBlock(now, false);
    return !m_db.hasFailed() && m_db.run("COMMIT");
}

std::vector<qint64> HistoryStore::idsOf(const std::vector<HistoryName> &names) {
    std::vector<qint64> ids;
    m_db.run("BEGIN IMMEDIATE");
    Statement insert(&m_db, "INSERT INTO variable (line, name, element, unit) "
                            "VALUES (?1, ?2, ?3, ?4) "
                            "ON CONFLICT DO UPDATE SET line = ?1, unit = ?4 RETURNING id");
    for (const HistoryName &each : names) {
        insert.bind(1, each.line).bind(2, each.name);
        insert.bind(3, static_cast<qint64>(each.element)).bind(4, each.unit);
        if (insert.step())
            ids.push_back(insert.whole(0));
        insert.finish();
    }
    m_db.run("COMMIT");
    return ids;
}

QString HistoryStore::takeError() {
    if (std::exchange(m_isHeldOpen, false))
        return "a reader has held it open for too long: it would grow beyond its size";
    return m_db.takeError();
}

// What an open transaction still sees cannot leave the log.
bool HistoryStore::isLogFull() {
    const qint64 most = m_limits.megabytes * Megabyte / 8;
    if (QFileInfo(m_path + "-wal").size() <= most)
        return false;
    const qint64 isBusy = m_db.number("PRAGMA wal_checkpoint(TRUNCATE)");
    return isBusy != 0;
}

bool HistoryStore::write(const std::vector<HistoryRow> &rows, qint64 now) {
    m_isHeldOpen = isLogFull();
    if (m_isHeldOpen) {
        m_wasHeldUp = true;
        return false;
    }
    const Block before = m_block;
    if (!m_db.run("BEGIN IMMEDIATE") || !transaction(rows, now) || !m_db.run("COMMIT")) {
        m_db.run("ROLLBACK");
        m_block = before;
        m_wasHeldUp = true;
        return false;
    }
    m_wasHeldUp = false;
    if (m_mayBePruned || m_block.id != before.id)
        prune(now);
    m_mayBePruned = false;
    return true;
}

bool HistoryStore::transaction(const std::vector<HistoryRow> &rows, qint64 now) {
    const qint64 sinceAlive = now - m_block.ended;
    const bool wasQuiet = sinceAlive > AliveMs + ClockStepMs && !m_wasHeldUp;
    if (sinceAlive < -ClockStepMs || wasQuiet) {
        closeBlock(m_block.ended);
        beginBlock(now, false);
    }
    for (const HistoryRow &row : rows) {
        insertRow(row);
        m_states[row.variable] = row;
    }
    m_block.rows += static_cast<qint64>(rows.size());
    m_block.ended = std::max(m_block.ended, now);
    Statement alive(&m_db, "UPDATE block SET ended = ?2 WHERE id = ?1");
    alive.bind(1, m_block.id).bind(2, m_block.ended).finish();
    if (isFull(now)) {
        closeBlock(m_block.ended);
        beginBlock(m_block.ended, true);
    }
    return !m_db.hasFailed();
}

bool HistoryStore::insertRow(const HistoryRow &row) {
    m_insert->bind(1, row.variable).bind(2, row.at).bind(3, static_cast<qint64>(row.quality));
    bindValue(&*m_insert, 4, row);
    return m_insert->finish();
}

bool HistoryStore::isFull(qint64 now) const {
    return m_block.rows >= m_blockRows || now - m_block.began >= HourMs;
}

bool HistoryStore::beginBlock(qint64 began, bool goesOn) {
    m_block = {m_block.id + 1, began, began, 0};
    Statement insert(&m_db,
                     "INSERT INTO block (id, began, ended, goes_on) VALUES (?1, ?2, ?2, ?3)");
    insert.bind(1, m_block.id).bind(2, began).bind(3, static_cast<qint64>(goesOn)).finish();
    return writeStates();
}

bool HistoryStore::writeStates() {
    Statement insert(&m_db, "INSERT INTO state (block, variable, time, quality, value) "
                            "VALUES (?1, ?2, ?3, ?4, ?5)");
    for (const auto &[id, row] : m_states) {
        insert.bind(1, m_block.id)
            .bind(2, id)
            .bind(3, row.at)
            .bind(4, static_cast<qint64>(row.quality));
        bindValue(&insert, 5, row);
        insert.finish();
    }
    return !m_db.hasFailed();
}

// Its rows are sorted by variable, so that a trend finds them side by side.
bool HistoryStore::closeBlock(qint64 ended) {
    Statement sort(&m_db, "INSERT OR REPLACE INTO change (block, variable, time, quality, value) "
                          "SELECT ?1, variable, time, quality, value FROM recent "
                          "ORDER BY variable, time, id");
    sort.bind(1, m_block.id).finish();
    m_db.run("DELETE FROM recent");
    Statement close(&m_db, "UPDATE block SET ended = ?2 WHERE id = ?1");
    return close.bind(1, m_block.id).bind(2, ended).finish();
}

qint64 HistoryStore::bytes(const char *pages) {
    return m_db.number(pages) * PageBytes;
}

// Whole blocks go, the oldest first. A quarter of the size is for the log and for the block that
// fills up.
void HistoryStore::prune(qint64 now) {
    const qint64 most = m_limits.megabytes * Megabyte / 4 * 3;
    const qint64 oldest = now - m_limits.days * DayMs;
    const auto isTooLarge = [&] {
        return bytes("PRAGMA page_count") - bytes("PRAGMA freelist_count") > most;
    };
    while (m_db.number("SELECT count(*) FROM block") > 1) {
        const qint64 ended = m_db.number("SELECT ended FROM block ORDER BY id LIMIT 1");
        if ((ended >= oldest && !isTooLarge()) || !dropOldestBlock())
            break;
    }
    giveBack(most);
}

bool HistoryStore::dropOldestBlock() {
    m_db.run("BEGIN IMMEDIATE");
    const qint64 id = m_db.number("SELECT min(id) FROM block");
    for (const char *sql :
         {"DELETE FROM change WHERE block = ?1", "DELETE FROM state WHERE block = ?1",
          "DELETE FROM block WHERE id = ?1"}) {
        Statement(&m_db, sql).bind(1, id).finish();
    }
    if (!m_db.hasFailed() && m_db.run("COMMIT"))
        return true;
    m_db.run("ROLLBACK");
    return false;
}

// Where the limit is lower than it was: in small steps, or the log would grow instead.
void HistoryStore::giveBack(qint64 most) {
    while (!m_db.hasFailed() && bytes("PRAGMA page_count") > most &&
           bytes("PRAGMA freelist_count") > 0)
        m_db.run("PRAGMA incremental_vacuum(200)");
}
