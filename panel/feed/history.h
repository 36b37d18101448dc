// The history: every change of a value or of its quality, kept in an SQLite file that other
// programs may read meanwhile. docs/history.md describes the file.
#pragma once

#include "panel/feed/trend.h"
#include "panel/feed/value_change.h"
#include "panel/file/panel_file.h"

#include <memory>

// Where the program was built without SQLite, open() says so.
class History {
public:
    // Changes that wait for the disk at most; what comes beyond is lost and counted.
    static constexpr std::size_t Capacity = 200'000;

    History();
    // As close() does.
    ~History();
    History(const History &) = delete;
    History &operator=(const History &) = delete;

    // Makes the file, or goes on with it. One line when it cannot be, or is damaged or not a
    // history: it is left as it was found.
    QString open(const QString &path, const PanelFile &panel);

    // A ValueListener, once it is open: never waits for the disk.
    void observe(const ValueChange &change);

    // Returns when all that was observed is written, or cannot be. Nothing is observed after it.
    void close();

    // Any thread; waits for the disk. What was observed in the last second may be missing.
    Trend trend(const TrendRequest &request) const;

    // Changes that could not be kept, and why the disk takes nothing now: a file that is found
    // damaged gets nothing more. Once closed, why changes were lost. Any thread.
    quint64 lost() const;
    QString error() const;

private:
    struct Work;
    std::unique_ptr<Work> m_work;
};
