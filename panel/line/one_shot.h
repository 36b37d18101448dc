// Requests of a line that are made once, each awaited by the thread that makes it.
#pragma once

#include "panel/file/variable.h"
#include "panel/line/driver_library.h"
#include "panel/line/request_ledger.h"

#include <QByteArray>

// A handle to one line's driver; copies are the same line.
class OneShot {
public:
    enum class End {
        Answered,
        Failed,   // given up
        Resting,  // not sent: the station does not answer and is left alone
        Gone,     // the device is, whether it was sent or not
        NotTaken, // the driver has no such request
        RunOver,  // the run ended first
    };

    // `portId` as the driver was set up with: a reply for another port would not be stored. Both
    // others outlive the handle; a thread that closes the ledger ends all waiting.
    OneShot(const Driver &driver, int portId, RequestLedger &ledger)
        : m_driver(&driver), m_portId(portId), m_ledger(&ledger) {}

    // Any thread but the communication thread, which does the work; blocks until the end.
    End read(const Variable &variable) const;
    // `data` as SetRegisterData takes them.
    End write(const Variable &variable, const QByteArray &data) const;

    // What the driver holds of the variable, after a read what it brought.
    QByteArray value(const Variable &variable) const;
    // Blocks until the device is there, or the run is over.
    void waitForDevice() const { m_ledger->waitForDevice(); }
    bool isRunOver() const { return m_ledger->isClosed(); }

private:
    template <typename Queue>
    End await(int station, const Queue &queue) const;

    const Driver *m_driver;
    int m_portId;
    RequestLedger *m_ledger;
};
