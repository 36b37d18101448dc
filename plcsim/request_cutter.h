// Cuts the bytes on the line into request frames, by the lengths that their headers tell.
#pragma once

#include <QByteArray>

class RequestCutter {
public:
    void append(const QByteArray &bytes) { m_pending += bytes; }

    // The next whole request, empty when there is none yet. What cannot be a request is thrown away
    // with all that follows it: where the next one begins is known only after a silence.
    QByteArray next();

    bool hasPart() const { return !m_pending.isEmpty(); }
    // The line fell silent: what is left is no request.
    void clear() { m_pending.clear(); }

private:
    QByteArray m_pending;
};
