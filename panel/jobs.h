// What the panel file asks for once: the one-shot reads, then the writes, each written, read back
// from the PLC and compared. One after the other, on a thread of their own.
#pragma once

#include "driver_library.h"
#include "panel_file.h"
#include "request_ledger.h"

#include <QString>
#include <QStringList>

#include <atomic>

class Jobs {
public:
    // All outlive the jobs.
    Jobs(const Driver &driver, const ComInfo &port, const PanelFile &panel, RequestLedger &ledger)
        : m_driver(driver), m_port(port), m_panel(panel), m_ledger(ledger) {}

    // The thread's work; ends early once the ledger is closed.
    void run();
    const std::atomic<bool> &done() const { return m_done; }

    // After run().
    struct Results {
        int writesHeld = 0;
        int heldBefore = 0; // of these, how many wrote what the PLC had already
        int broadcasts = 0; // sent; whether a station took one is not known
        QStringList lines;  // one for each read and write
        bool allHeld = true;
    };
    const Results &results() const { return m_results; }

private:
    using End = RequestLedger::End;

    End readOnce(const Variable &variable);
    End write(const Variable &variable, const QByteArray &data);
    void carryOut(const WriteJob &job);
    // Empty, or why the write does not hold.
    QString writeAndCheck(const Variable &variable, const QByteArray &data);

    const Driver &m_driver;
    const ComInfo &m_port;
    const PanelFile &m_panel;
    RequestLedger &m_ledger;
    Results m_results;
    std::atomic<bool> m_done{false};
};
