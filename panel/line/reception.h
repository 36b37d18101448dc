// Collects what is heard on a line, with the times of its coming, from one exchange to the next.
#pragma once

#include "panel/line/exchange.h"

class Reception {
public:
    using Clock = std::chrono::steady_clock;

    void add(const QByteArray &bytes, Clock::time_point at);

    // A request goes out: what comes from now on may be the reply to it.
    void beginReply();
    const QByteArray &sinceRequest() const { return m_sinceRequest; }
    // When the byte came that stands there in sinceRequest.
    Clock::time_point timeOf(int offset) const;

    // Takes bytes of sinceRequest out of what take() returns.
    void leaveOut(int begin, int length);
    // All that came since the last call; begins anew.
    std::vector<ReceivedBytes> take();

private:
    std::vector<ReceivedBytes> m_pieces;
    std::size_t m_piecesBefore = 0; // the request
    int m_bytesBefore = 0;
    bool m_isReply = false; // a request has gone out
    QByteArray m_sinceRequest;
};
