// Cuts the bytes on the line into request frames.
#pragma once

#include <QByteArray>

class RequestCutter {
public:
    void append(const QByteArray &bytes) { m_pending += bytes; }

    // The next whole request with a good checksum, empty when there is none yet. What stands before
    // it is thrown away: the rest of something else.
    QByteArray next();
    // The line fell silent: a request that a broken one has hidden, or empty, and nothing is left.
    QByteArray nextAfterSilence();

    bool hasPart() const { return !m_pending.isEmpty(); }
    void clear();
    // Bytes thrown away so far, part of no request.
    qint64 strayBytes() const { return m_strayBytes; }

private:
    QByteArray cut(int start, int length);
    QByteArray searchBehind();

    QByteArray m_pending;
    qint64 m_strayBytes = 0;
};
