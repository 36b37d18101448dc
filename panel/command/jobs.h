// What the panel file asks for once: the one-shot reads, then the writes, each written, read back
// from the PLC and compared. One after the other on each line, the lines beside each other.
#pragma once

#include "panel/file/panel_file.h"
#include "panel/line/one_shot.h"
#include "panel/line/writer.h"

#include <QString>
#include <QStringList>

#include <atomic>
#include <vector>

class Jobs {
public:
    // `lines` as in PanelFile::lines. Panel and writer outlive the jobs.
    Jobs(const PanelFile &panel, std::vector<OneShot> lines, Writer &writer);

    // The thread's work; ends early once the ledgers are closed.
    void run();
    const std::atomic<bool> &done() const { return m_done; }

    // After run().
    struct Results {
        int writesHeld = 0;
        int heldBefore = 0; // of these, how many wrote what the PLC had already
        int broadcasts = 0; // sent; whether a station took one is not known
        QStringList lines;  // one for each read and write, in the panel file's order
        bool allHeld = true;
    };
    const Results &results() const { return m_results; }

private:
    void runLine(std::size_t line);
    QString readOnce(const Variable &variable) const;
    WriteResult writeAndWait(const WriteJob &job) const;
    void account(const WriteJob &job, const WriteResult &result);

    const PanelFile &m_panel;
    std::vector<OneShot> m_lines;
    Writer &m_writer;
    // Each line's thread fills in its own.
    std::vector<QString> m_readLines;        // by variable; empty: not read once, or not read
    std::vector<WriteResult> m_writeResults; // by write
    Results m_results;
    std::atomic<bool> m_done{false};
};
