// The PLC's end of the line: a pseudo-terminal, or a real serial port.
#pragma once

#include "options.h"
#include "pseudo_terminal.h"

#include <QByteArray>

class Port {
public:
    // The options outlive the port.
    explicit Port(const Options &options) : m_options(options) {}
    ~Port() { close(); }
    Port(const Port &) = delete;
    Port &operator=(const Port &) = delete;

    // One line on failure.
    QString open();
    void close();

    bool isOpen() const { return descriptor() >= 0; }
    int descriptor() const { return isTerminal() ? m_terminal.descriptor() : m_device; }
    // What a master opens; the device itself where the port is a real one.
    const QString &path() const {
        return isTerminal() ? m_terminal.devicePath() : m_options.device;
    }
    bool isTerminal() const { return m_options.device.isEmpty(); }
    PseudoTerminal &terminal() { return m_terminal; }

    // What has arrived by now; never waits. Closes a real port that is not there any more.
    QByteArray read();
    // Bytes that no one takes off the line in time are lost, as on a wire.
    void write(const QByteArray &bytes) const;

    // The speed of a host whose settings are seen to differ from the line's; 0 when they do not, or
    // when nobody can tell.
    int wrongHostBaud() const;

private:
    const Options &m_options;
    PseudoTerminal m_terminal;
    int m_device = -1;
};
