// The file of the history: how it is made, checked, filled and kept small.
#pragma once

#include "panel/feed/sqlite.h"
#include "panel/feed/value_change.h"

#include <QString>
#include <QStringList>

#include <map>
#include <optional>
#include <vector>

// docs/history.md describes the tables.
constexpr DatabaseMark HistoryMark{"history", 0x50484953, 1}; // "PHIS"

// One value became another, or its quality did. Times are milliseconds since 1970, UTC.
struct HistoryRow {
    qint64 variable = 0; // as idOf gave it
    qint64 at = 0;
    Quality quality = Quality::Never;
    std::optional<double> number; // none: a text, or a float that is no number
    QString text;                 // null when there is none
};

struct HistoryName {
    QString line;
    QString name;
    int element = 0;
    QString unit;
};

struct HistoryLimits {
    int days = 30;
    int megabytes = 1024;
};

// For one thread at a time. Times are handed in, so that a test need not wait for them.
class HistoryStore {
public:
    // One line when the file cannot be opened, or is damaged or not a history; it is left as it is.
    QString open(const QString &path, const HistoryLimits &limits, qint64 now);

    // By what the rows name each value: the same for the same name and element, in every run. Fewer
    // than asked for on a failure.
    std::vector<qint64> idsOf(const std::vector<HistoryName> &names);

    // All rows or none: false when the disk does not take them, or when a reader's open transaction
    // keeps the log from being emptied; they may be handed in again. To be called at least every
    // AliveMs, also without rows: a value holds as long as the panel lives.
    static constexpr qint64 AliveMs = 10'000;
    bool write(const std::vector<HistoryRow> &rows, qint64 now);

    // Of the last failure; one that no second try mends is a damaged file.
    QString takeError();
    bool isBroken() const { return m_db.isBroken(); }

private:
    // The rows of the latest block stay in the order of their coming until it is full.
    struct Block {
        qint64 id = 0;
        qint64 began = 0;
        qint64 ended = 0;
        qint64 rows = 0;
    };

    bool create();
    bool isLogFull();
    bool resume(qint64 now);
    bool transaction(const std::vector<HistoryRow> &rows, qint64 now);
    bool insertRow(const HistoryRow &row);
    bool isFull(qint64 now) const;
    bool beginBlock(qint64 began, bool goesOn);
    bool writeStates();
    bool closeBlock(qint64 ended);
    void prune(qint64 now);
    bool dropOldestBlock();
    void giveBack(qint64 most);
    qint64 bytes(const char *pages);

    Database m_db;
    QString m_path;
    HistoryLimits m_limits;
    bool m_isHeldOpen = false; // by a reader, so that the last rows were not written
    bool m_wasHeldUp = false;  // the last rows wait: the panel was alive all the time
    qint64 m_blockRows = 0;    // in a full block
    Block m_block;
    bool m_mayBePruned = true;
    std::map<qint64, HistoryRow> m_states; // the latest row of each variable
    std::optional<Statement> m_insert;
};
