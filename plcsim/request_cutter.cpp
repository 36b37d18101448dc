#include "request_cutter.h"

#include "frame.h"

namespace {

bool isSound(const QByteArray &bytes, int length) {
    return length > 0 && length <= bytes.size() && length <= MaxFrame &&
           hasGoodChecksum(bytes.left(length));
}

// More bytes may make a request of these.
bool isBegun(const QByteArray &bytes) {
    const int length = requestLength(bytes);
    return length == MoreBytes || (length > bytes.size() && length <= MaxFrame);
}

} // namespace

QByteArray RequestCutter::next() {
    const int length = requestLength(m_pending);
    if (isSound(m_pending, length))
        return cut(0, length);
    // A request of an unknown function ends where its checksum fits.
    if (length == UnknownLength && isSound(m_pending, m_pending.size()))
        return cut(0, m_pending.size());
    return isBegun(m_pending) ? QByteArray() : searchBehind();
}

QByteArray RequestCutter::nextAfterSilence() {
    QByteArray request = searchBehind();
    if (request.isEmpty())
        clear();
    return request;
}

void RequestCutter::clear() {
    m_strayBytes += m_pending.size();
    m_pending.clear();
}

QByteArray RequestCutter::cut(int start, int length) {
    QByteArray request = m_pending.mid(start, length);
    m_strayBytes += start;
    m_pending.remove(0, start + length);
    return request;
}

QByteArray RequestCutter::searchBehind() {
    for (int start = 1; start < m_pending.size(); ++start) {
        const QByteArray rest = m_pending.mid(start, MaxFrame);
        if (isSound(rest, requestLength(rest)))
            return cut(start, requestLength(rest));
    }
    // No request is longer, so what stands before that is in no later one either.
    if (m_pending.size() > MaxFrame)
        cut(m_pending.size() - MaxFrame, 0);
    return {};
}
