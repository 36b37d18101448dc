#include "panel/line/poll_list.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr int CyclicItem = -1;

bool isSame(const RegisterSpan &a, const RegisterSpan &b) {
    return contains(a, b) && contains(b, a);
}

bool has(const Blocks &blocks, const RegisterSpan &block) {
    return std::any_of(blocks.begin(), blocks.end(),
                       [&block](const RegisterSpan &each) { return isSame(each, block); });
}

} // namespace

RW_VAR PollList::request(const RegisterSpan &block, int itemId) const {
    RW_VAR request;
    request.itemId = itemId;
    request.portId = m_portId;
    request.regType = block.area;
    request.address = block.first;
    request.station = block.station;
    request.count = block.count;
    return request;
}

void PollList::empty() {
    QList<VARDEF> nothing;
    m_driver.ReCreatReadVarList(&nothing);
}

void PollList::install(const Blocks &blocks) {
    empty();
    for (const RegisterSpan &block : blocks) {
        RW_VAR entry = request(block, CyclicItem);
        m_driver.AddListReadVar(&entry);
    }
}

// What is new counts as not asked yet.
void PollList::setBlocks(const Blocks &blocks) {
    Blocks left;
    Blocks done;
    for (const RegisterSpan &block : blocks) {
        const bool isDone = has(m_blocks, block) && !has(m_left, block);
        (isDone ? done : left).push_back(block);
    }
    m_blocks = blocks;
    m_left = left;
    if (m_isPausing)
        return;
    left.insert(left.end(), done.begin(), done.end());
    install(left);
}

void PollList::finished(const RegisterSpan &block) {
    const auto isBlock = [&block](const RegisterSpan &each) {
        return isSame(each, block);
    };
    m_left.erase(std::remove_if(m_left.begin(), m_left.end(), isBlock), m_left.end());
}

void PollList::turn(bool isWhole, Clock::time_point now) {
    if (!m_isPausing && m_left.empty() && isWhole) {
        ++m_passes;
        m_lastPass = std::chrono::duration_cast<std::chrono::microseconds>(now - m_began);
        m_isPausing = true;
        if (now < m_began + m_scanInterval)
            empty();
    }
    if (!m_isPausing || now < m_began + m_scanInterval)
        return;
    m_isPausing = false;
    m_left = m_blocks;
    m_began = now;
    if (m_scanInterval.count() > 0)
        install(m_blocks);
}
