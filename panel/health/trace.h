// A line of text for each exchange.
#pragma once

#include "panel/health/exchange_queue.h"
#include "panel/health/output_file.h"

#include <QStringList>

#include <optional>

// "2026-11-23T07:15:04.123Z main station 2: read holding 100..101: good, 10 11, in 4.2 ms"; of what
// does not fit, the bytes in hexadecimal, "besides 07 03 ..." where the exchange was good all the
// same; of a write, the values: "write holding 100 = 77". Without the name when it is empty.
QString traceLine(const Exchange &exchange, const QString &lineName);

// The exchange failed, or something came that did not fit.
bool hasTrouble(const Exchange &exchange);

class Trace {
public:
    enum class Which { All, FailuresOnly }; // as hasTrouble() says

    // The names of the lines, by Exchange::line.
    Trace(const QStringList &lineNames, Which which);
    ~Trace() { close(); }
    Trace(const Trace &) = delete;
    Trace &operator=(const Trace &) = delete;

    // "-" is standard output; an earlier trace is written anew, any other file is left as it is.
    // One line on failure.
    QString open(const QString &path);
    // An ExchangeListener, once it is open.
    void observe(const Exchange &exchange);
    // Nobody is left to trace for.
    bool isReaderGone() const { return m_file.isReaderGone(); }
    // Writes what waits; gives up on a reader that takes nothing for a second.
    void close();
    // Exchanges that the disk could not take, final once closed, and its first failure.
    quint64 dropped() const { return m_queue ? m_queue->dropped() : 0; }
    QString error() const { return m_queue ? m_queue->error() : QString(); }

private:
    QStringList m_lineNames;
    Which m_which;
    OutputFile m_file;
    std::optional<ExchangeQueue> m_queue; // ends before the file does
};
