// The one road of every write to a line, whether it comes from the panel file, the command line,
// the page or the broker: checked, queued with SetRegisterData, its end awaited, read back.
#pragma once

#include "panel/file/panel_file.h"
#include "panel/line/one_shot.h"

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

struct WriteOrder {
    std::size_t variable = 0; // index in PanelFile::variables
    QByteArray data;          // as SetRegisterData takes it; encodeValue makes and checks it
    QString origin;           // who wants it, for the log: "panel file", "page 127.0.0.1", ...
};

struct WriteResult {
    QString error;       // empty: the PLC has it; otherwise one sentence why not
    bool isKnown = true; // false for a broadcast, which nobody acknowledges
    QByteArray before;   // what the PLC held, empty when it could not be read
    QByteArray readBack; // what it holds now, empty when it could not be read
};

// Called once for each order: on the writer's thread of that line, or, for an order that is not
// taken, on the thread that gave it, before write() returns.
using WriteDone = std::function<void(const WriteResult &)>;

// One thread for each line, so that a dead station of one does not hold up the other's writes. The
// orders of a line are carried out one after the other, as they came.
class Writer {
public:
    static constexpr std::size_t MostWaiting = 256; // orders of a line

    // `lines` as in PanelFile::lines. The panel outlives the writer.
    Writer(const PanelFile &panel, const std::vector<OneShot> &lines);
    // As stop() does.
    ~Writer();
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

    // Any thread; returns at once. Not taken is what nobody can write, what is too much at a time,
    // and what comes after stop(). Who takes orders from outside the panel file asks
    // Variable::writable first.
    void write(WriteOrder order, const WriteDone &done);

    // Once the ledgers are closed: what waits still is done with an error, then the threads end.
    void stop();

private:
    class Lane;

    const PanelFile &m_panel;
    std::vector<std::unique_ptr<Lane>> m_lanes; // by line
};

// One line about a write for a log: who wrote what, and what became of it.
QString writeText(const PanelFile &panel, const WriteOrder &order, const WriteResult &result);
