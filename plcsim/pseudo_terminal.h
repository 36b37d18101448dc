// A pseudo-terminal that a master opens like any serial port.
#pragma once

#include <QString>

class PseudoTerminal {
public:
    PseudoTerminal() = default;
    ~PseudoTerminal() { close(); }
    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    // Opens the pair in raw mode and makes the link, if one is wanted. One line on failure.
    QString open(const QString &link);
    // Device and link are gone, like an adapter that is pulled out: whoever has it open gets a
    // hang-up.
    void close();

    const QString &devicePath() const { return m_devicePath; }
    int descriptor() const { return m_master; }
    // Becomes readable when a host has closed the device; negative where the system cannot tell.
    int watchDescriptor() const { return m_watch; }

    // A host has closed the device since the last time it was made ready. It may have been killed.
    void noteClosing();
    // Unless the host set a speed of its own, the speed is this one: no real line has it.
    static constexpr int NoBaud = 50;
    // A master that was killed leaves its claim and its settings on the device, and the next one
    // cannot open it: a pseudo-terminal refuses parity unless another setting changes too. Puts
    // both back if a host has closed the device.
    void makeReady();

private:
    QString openDevice();
    QString makeLink(const QString &link);

    int m_master = -1;
    // Kept open: with the last device side gone, the master side reports a hang-up for ever.
    int m_device = -1;
    int m_watch = -1;
    bool m_wasClosed = false;
    QString m_devicePath;
    QString m_link;
};
