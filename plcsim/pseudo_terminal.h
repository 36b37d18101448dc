// The PLC's end of the line: a pseudo-terminal that a master opens like any serial port.
#pragma once

#include <QByteArray>
#include <QString>

#include <termios.h>

class PseudoTerminal {
public:
    PseudoTerminal() = default;
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    // Opens the pair in raw mode and makes the link, if one is wanted. One line on failure.
    QString open(const QString &link);

    const QString &devicePath() const { return m_devicePath; }
    int descriptor() const { return m_master; }

    // A master that was killed leaves its claim and its settings on the device, and the next one
    // cannot open it: a pseudo-terminal refuses parity unless another setting changes too. Puts
    // both back; harmless to a master that is only idle.
    void makeReady() const;

    // What has arrived by now; never waits.
    QByteArray read() const;
    // Bytes that no one takes off the line in time are lost, as on a wire.
    void write(const QByteArray &bytes) const;

private:
    QString openDevice();
    QString makeLink(const QString &link);

    int m_master = -1;
    // Kept open: with the last device side gone, the master side reports a hang-up for ever.
    int m_device = -1;
    termios m_settings{};
    QString m_devicePath;
    QString m_link;
};
