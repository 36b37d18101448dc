// The serial device of a line: opened for this panel alone, one request out, what was heard back.
#pragma once

#include "panel/file/line_settings.h"
#include "panel/line/exchange.h"
#include "panel/line/line_time.h"
#include "panel/line/reception.h"
#include "panel/line/reply_check.h"

#include <QByteArray>
#include <QSerialPort>
#include <QString>
#include <QStringList>

#include <atomic>
#include <chrono>
#include <memory>

// All calls on one thread; the constructor may run on another. Every wait ends within 50 ms once
// `stopRequested`, which outlives the port, is set; bytes and deadlines are seen at once.
// "ttyUSB0" is "/dev/ttyUSB0", as QSerialPort has it.
QString devicePath(const QString &device);

class SerialPort {
public:
    using Clock = std::chrono::steady_clock;

    SerialPort(const LineSettings &settings, const std::atomic<bool> &stopRequested);
    ~SerialPort();
    SerialPort(const SerialPort &) = delete;
    SerialPort &operator=(const SerialPort &) = delete;

    // Empty, or one line: "/dev/ttyUSB0: in use by another program". A device that is missing or
    // not permitted is told at once, one that is in use after a second: its user may just be
    // ending. May be called again after close() and when the device is gone.
    QString open();
    // One line for each thing that the settings ask for and that the device cannot do. From open().
    const QStringList &remarks() const { return m_remarks; }
    // Gives up the device and its lock.
    void close();
    bool isOpen() const { return m_device >= 0; }
    // The device failed other than by silence: nothing more comes from it until it is closed and
    // opened again. False before open().
    bool isGone() const { return m_isGone; }
    const QString &device() const { return m_settings.device; }

    // Keeps the silence, sends the request, and listens until the reply is there or the time is
    // over. `replyLength` as in Protocol: 0 waits what a broadcast needs, -1 takes whatever comes.
    // The response time-out counts from the end of the request on the line.
    //
    // Everything of the result is set but `line`, `purpose`, `attempt` and `gaveUp`; station,
    // function and registers only where the request is one of Modbus. `received` begins with what
    // was heard since the exchange before: pieces with `at` before `began` are late bytes or
    // somebody else's. With `localEcho` our own echo is not in it. Once a stop was requested the
    // outcome means nothing, and perhaps nothing was sent. There is no replyTime where this process
    // was stopped meanwhile: when the reply came is not known then.
    Exchange exchange(const QByteArray &request, int replyLength,
                      std::chrono::microseconds responseTimeout);

    // Listens until bytes come; false when none did in that time.
    bool listen(std::chrono::microseconds time);
    // Listens until no byte has come for that long, counted anew from each. False when the line did
    // not fall quiet within that time and ten seconds.
    bool waitUntilQuiet(std::chrono::microseconds time);
    // What listen and waitUntilQuiet heard and no exchange has reported yet, for the end of a run.
    std::vector<ReceivedBytes> takeReceived() { return m_reception.take(); }

private:
    QString claim();
    QString configure();

    LineTime pauseBefore() const;
    void keepSilence();
    bool send(const QByteArray &request);
    void waitForStations(Clock::time_point requestEnd, Exchange *exchange);
    ReplyVerdict receive(const ReplyCheck &check, Clock::time_point responseEnd);
    Clock::time_point deadline(ListenUntil listen, Clock::time_point responseEnd) const;
    void report(const ReplyVerdict &verdict, Clock::time_point requestEnd, Exchange *exchange);

    bool hear(Clock::time_point until);
    bool wait(short event, Clock::time_point until, short *happened);
    Clock::time_point look();
    bool readPending(short happened);

    LineSettings m_settings;
    const std::atomic<bool> &m_stopRequested;
    std::unique_ptr<QSerialPort> m_port; // holds the settings of the device
    int m_device = -1;                   // ours, locked; reads and writes go here
    bool m_isGone = false;
    QStringList m_remarks;
    Clock::time_point m_lastByte; // on the line, whoever sent it
    Clock::time_point m_lastLook; // at the clock
    bool m_wasStopped = false;    // since the exchange began
    Reception m_reception;
};

// Tells a port that is not open yet how the line talks.
void applySettings(const LineSettings &settings, QSerialPort *port);
