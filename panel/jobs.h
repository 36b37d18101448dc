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

    // After run(): how many writes held, and a line for each that did not.
    int writesHeld() const { return m_writesHeld; }
    const QStringList &failures() const { return m_failures; }

private:
    bool readOnce(const Variable &variable);
    bool write(const Variable &variable, const QByteArray &data);
    void carryOut(const WriteJob &job);
    QString compare(const Variable &variable, const QByteArray &written) const;

    const Driver &m_driver;
    const ComInfo &m_port;
    const PanelFile &m_panel;
    RequestLedger &m_ledger;
    int m_writesHeld = 0;
    QStringList m_failures;
    std::atomic<bool> m_done{false};
};
