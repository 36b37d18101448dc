// Values as plain lines, one for each change: "name = value", "name = ? value" of a value that is
// no longer known to hold. For what is no terminal: a file, a pipe, a journal.
#pragma once

#include "panel/feed/value_change.h"
#include "panel/file/panel_file.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

enum class Stamp { None, Utc }; // what stands before a line

// The line of a change, with its end, in UTF-8: without the unit, so that programs read
// the value alone; the time in front where it is wanted. Empty for a value that was never read.
QByteArray plainLine(const Variable &variable, const ValueChange &change, Stamp stamp);

// Writes the lines on a thread of its own. When the reader of a pipe is slow, changes wait in their
// order up to a number; beyond it the latest of each variable alone.
class PlainLines {
public:
    static constexpr std::size_t Capacity = 4096;

    // `descriptor` is standard output's or a file's; SIGPIPE is ignored in the process. The panel
    // outlives it.
    PlainLines(const PanelFile &panel, int descriptor, Stamp stamp);
    ~PlainLines() { close(); }
    PlainLines(const PlainLines &) = delete;
    PlainLines &operator=(const PlainLines &) = delete;

    // A ValueListener.
    void observe(const ValueChange &change);
    // Writes what waits; gives up on a reader that takes nothing for a second.
    void close();

    // The reader has gone (`| head -1`): nothing more is written, which is no failure.
    bool isClosed() const;
    // One line once something could not be written; nothing more is written then.
    QString error() const;
    bool failed() const { return !error().isEmpty(); }
    // Changes that later ones of their variables took the place of.
    quint64 dropped() const;

private:
    using Queue = std::deque<ValueChange>;
    using Clock = std::chrono::steady_clock;

    void run();
    // Waits for changes, a while, and takes them all.
    Queue takeAll();
    void write(const QByteArray &text);
    // Whether the reader takes more.
    bool waitUntilWritable() const;
    bool isReaderGone() const;
    bool isOver() const;
    void fail(int error);

    const PanelFile &m_panel;
    const int m_descriptor;
    const Stamp m_stamp;

    mutable std::mutex m_mutex; // guards all below
    std::condition_variable m_wake;
    Queue m_queue;
    std::map<std::size_t, ValueChange> m_latest; // by variable, once the queue is full
    bool m_isEnding = false;
    bool m_isClosed = false;
    QString m_error;
    quint64 m_dropped = 0;
    std::thread m_thread; // the last member: it begins with all others in place
};
