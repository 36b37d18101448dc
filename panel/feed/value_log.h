// A file with a row for each change of a value, or with all values at equal times. A thread of its
// own writes; what a slow or full disk cannot take waits, and beyond a number of rows is dropped
// and counted.
#pragma once

#include "panel/feed/log_file.h"
#include "panel/feed/value_change.h"
#include "panel/file/panel_file.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

class ValueLog {
public:
    static constexpr std::size_t Capacity = 65536; // rows that wait for the disk

    // `every`: all values at whole multiples of it, instead of the changes. The panel outlives it.
    explicit ValueLog(const PanelFile &panel, std::optional<std::chrono::seconds> every = {});
    ~ValueLog() { close(); }
    ValueLog(const ValueLog &) = delete;
    ValueLog &operator=(const ValueLog &) = delete;

    // Starts writing. Empty, or one line that names the path and says why not.
    QString open(const QString &path);
    // A ValueListener.
    void observe(const ValueChange &change);
    // Writes what waits, then ends. Rows that no disk took are dropped.
    void close();

    // Any thread. The first failure of the disk, one line; the log goes on when there is space
    // again, this stays.
    QString error() const;
    bool failed() const { return !error().isEmpty(); }
    quint64 dropped() const; // rows

private:
    using Clock = std::chrono::system_clock;
    using Rows = std::vector<ValueChange>;

    void run();
    // Until there is something to do; whether it was the last time.
    bool waitForWork();
    std::chrono::milliseconds longestWait() const;
    void takeTick();
    void push(const ValueChange &row);
    void write();

    const PanelFile &m_panel;
    const std::optional<std::chrono::seconds> m_every;
    LogFormat m_format = LogFormat::Csv;

    // The writing thread's own.
    LogFile m_file;
    QByteArray m_text; // rows that the disk did not take yet
    qint64 m_lastTick = 0;

    mutable std::mutex m_mutex; // guards all below
    std::condition_variable m_wake;
    Rows m_rows;              // that wait
    std::size_t m_inText = 0; // rows in m_text
    Rows m_values;            // by variable, how each stands; for whole multiples alone
    bool m_isEnding = false;
    QString m_error;
    quint64 m_dropped = 0;
    std::thread m_thread;
};
