#include "panel/line/reception.h"

#include <algorithm>
#include <utility>

namespace {

// A line that babbles while nothing is asked must not fill the memory.
constexpr int MostBytesBefore = 4096;

} // namespace

void Reception::add(const QByteArray &bytes, Clock::time_point at) {
    if (m_isReply) {
        m_sinceRequest += bytes;
    } else if (m_bytesBefore < MostBytesBefore) {
        m_bytesBefore += bytes.size();
    } else {
        return;
    }
    m_pieces.push_back({at, bytes});
}

void Reception::beginReply() {
    m_isReply = true;
    m_piecesBefore = m_pieces.size();
    m_sinceRequest.clear();
}

Reception::Clock::time_point Reception::timeOf(int offset) const {
    Clock::time_point at;
    int begin = 0;
    for (std::size_t i = m_piecesBefore; i < m_pieces.size() && begin <= offset; ++i) {
        at = m_pieces[i].at;
        begin += m_pieces[i].bytes.size();
    }
    return at;
}

void Reception::leaveOut(int begin, int length) {
    int left = length;
    for (std::size_t i = m_piecesBefore; i < m_pieces.size() && left > 0; ++i) {
        QByteArray &bytes = m_pieces[i].bytes;
        const int here = std::min(left, std::max(0, bytes.size() - begin));
        const int size = bytes.size();
        bytes.remove(begin, here);
        begin = std::max(0, begin - size);
        left -= here;
    }
}

std::vector<ReceivedBytes> Reception::take() {
    std::vector<ReceivedBytes> taken;
    for (ReceivedBytes &piece : m_pieces) {
        if (!piece.bytes.isEmpty())
            taken.push_back(std::move(piece));
    }
    *this = Reception();
    return taken;
}
