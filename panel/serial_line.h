// The serial line as the panel owns it: one request out, one reply in, never out of step.
#pragma once

#include "panel_file.h"

#include <QByteArray>
#include <QSerialPort>
#include <QString>

#include <atomic>
#include <chrono>

// Used on one thread, the one that opened it.
class SerialLine {
public:
    // Every wait ends soon once `stopRequested`, which outlives the line, is set.
    SerialLine(const PortSettings &settings, const std::atomic<bool> &stopRequested);

    // One line on failure.
    QString open();

    // Sends a request and returns the bytes of its reply: replyLength of them, fewer when the line
    // stays or falls silent, none after a broadcast. With a negative replyLength whatever comes.
    QByteArray exchange(const QByteArray &request, int replyLength);

    // After a failed exchange: lets late bytes pass, so that they are not taken for the next reply.
    void waitUntilQuiet();

    // Lets that many answers pass that are still owed; the wait ends with the first that does not
    // begin in time.
    void dropAnswers(int count, std::chrono::milliseconds each);

    // Bytes that came when no reply was waited for.
    quint64 lateBytes() const { return m_lateBytes; }

    // The device failed other than by a timeout: nothing more comes from it.
    bool isGone() const { return m_gone; }
    const QString &device() const { return m_settings.device; }

private:
    using Clock = std::chrono::steady_clock;

    void keepSilence();
    void send(const QByteArray &request);
    QByteArray receive(int requestLength, int replyLength);
    bool waitForBytes(int timeoutMs);
    bool dropPending();
    void dropUntilSilent(int silenceMs);
    void waitForStations() const;
    void noteFailure();

    PortSettings m_settings;
    const std::atomic<bool> &m_stopRequested;
    std::chrono::microseconds m_characterTime;
    std::chrono::microseconds m_silence; // between the end of a frame and the next one
    Clock::time_point m_lastByte;
    QSerialPort m_port;
    quint64 m_lateBytes = 0;
    bool m_gone = false;
};
