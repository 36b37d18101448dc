#include "panel/line/plan.h"

#include "panel/file/registers.h"

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

namespace {

using Spans = std::vector<RegisterSpan>;

bool isPolled(const Variable &variable, std::size_t line) {
    return variable.line == line && !variable.once && !variable.isBroadcast();
}

// What belongs together: a text as far as a block holds it.
int registersOfValue(const Variable &variable, int blockLimit) {
    const int all = variable.span().count;
    if (blockLimit == 1 || (variable.display == Display::Text && all <= blockLimit))
        return all;
    return std::max(1, variable.valueBits() / RegisterBits);
}

Spans polledSpans(const PanelFile &panel, std::size_t line) {
    Spans spans;
    for (const Variable &variable : panel.variables) {
        if (isPolled(variable, line))
            spans.push_back(variable.span());
    }
    return spans;
}

// What has to lie in one block, so that no value is put together from two replies: each value of
// the variables that can be had. Nothing is merged with a limit of 1, nor cut.
Spans wantedSpans(const PanelFile &panel, std::size_t line, const RefusedBlocks &refused) {
    Spans wanted;
    for (const Variable &variable : panel.variables) {
        const RegisterSpan span = variable.span();
        if (!isPolled(variable, line) || refused.hasAlone(span))
            continue;
        const int step = registersOfValue(variable, panel.lines[line].blockLimit);
        for (int first = span.first; first < endOf(span); first += step)
            wanted.push_back({span.station, span.area, first, step});
    }
    return wanted;
}

// Sorted, without those that lie within another: starts and ends both ascend within an area.
Spans tidied(Spans spans) {
    std::sort(spans.begin(), spans.end(), [](const RegisterSpan &a, const RegisterSpan &b) {
        return std::make_tuple(a.station, a.area, a.first, -a.count) <
               std::make_tuple(b.station, b.area, b.first, -b.count);
    });
    Spans kept;
    for (const RegisterSpan &span : spans) {
        if (kept.empty() || !contains(kept.back(), span))
            kept.push_back(span);
    }
    return kept;
}

RegisterSpan hull(const RegisterSpan &first, const RegisterSpan &last) {
    return {first.station, first.area, first.first, endOf(last) - first.first};
}

// Whether one block may read the spans from `first` to `last`.
bool isPermitted(const RegisterSpan &first, const RegisterSpan &last, int blockLimit,
                 const RefusedBlocks &refused) {
    const RegisterSpan block = hull(first, last);
    return blockLimit > 1 && block.count <= blockLimit && !refused.forbids(block);
}

LineTime replyTimeOf(int station, const LineCost &cost, const StationReplyTimes &measured) {
    const auto found = measured.find(station);
    return found != measured.end() ? found->second : cost.replyTime(AssumedStationTime);
}

// The cheapest way to read the first so many spans of an area, and where its last block begins.
struct Cover {
    LineTime time{0};
    std::size_t lastFrom = 0;
};

// Spans of one area, tidied: an optimal block reads a run of neighbours, so the best cover of all
// is the best cover of some, and one block for the rest.
std::vector<Cover> bestCovers(const Spans &spans, int blockLimit, const LineCost &cost,
                              LineTime replyTime, const RefusedBlocks &refused) {
    std::vector<Cover> best(spans.size() + 1);
    for (std::size_t end = 1; end <= spans.size(); ++end) {
        const RegisterSpan &last = spans[end - 1];
        const auto timeFrom = [&](std::size_t from) {
            return best[from].time + cost.read(hull(spans[from], last).count, replyTime);
        };
        best[end] = {timeFrom(end - 1), end - 1};
        for (std::size_t from = end - 1;
             from > 0 && isPermitted(spans[from - 1], last, blockLimit, refused); --from) {
            if (timeFrom(from - 1) < best[end].time)
                best[end] = {timeFrom(from - 1), from - 1};
        }
    }
    return best;
}

// Appends the blocks of the best cover, in order.
void appendBlocks(const Spans &spans, const std::vector<Cover> &best, Blocks *blocks) {
    const auto before = static_cast<Blocks::difference_type>(blocks->size());
    for (std::size_t end = spans.size(); end > 0; end = best[end].lastFrom)
        blocks->push_back(hull(spans[best[end].lastFrom], spans[end - 1]));
    std::reverse(blocks->begin() + before, blocks->end());
}

// What is left of a span within a block.
RegisterSpan clipped(const RegisterSpan &span, const RegisterSpan &block) {
    const int first = std::max(span.first, block.first);
    return {span.station, span.area, first, std::min(endOf(span), endOf(block)) - first};
}

// The parts of spans that lie in blocks, which cut variables where they please.
Spans cutAt(const Spans &wanted, const Blocks &blocks) {
    Spans parts;
    for (const RegisterSpan &block : blocks) {
        for (const RegisterSpan &span : wanted) {
            const RegisterSpan part = clipped(span, block);
            if (sameArea(span, block) && part.count > 0)
                parts.push_back(part);
        }
    }
    return parts;
}

// Whether any of the spans, tidied, do.
bool doOverlap(const Spans &spans) {
    return std::adjacent_find(spans.begin(), spans.end(),
                              [](const RegisterSpan &a, const RegisterSpan &b) {
                                  return sameArea(a, b) && endOf(a) > b.first;
                              }) != spans.end();
}

// Those of the spans that lie within a block.
Spans within(const Spans &spans, const RegisterSpan &block) {
    Spans inside;
    for (const RegisterSpan &span : spans) {
        if (contains(block, span))
            inside.push_back(span);
    }
    return inside;
}

} // namespace

QList<VARDEF> definitionsOf(const PanelFile &panel, std::size_t line) {
    QList<VARDEF> definitions;
    for (const Variable &variable : panel.variables) {
        if (!isPolled(variable, line))
            continue;
        VARDEF definition;
        definition.regType = static_cast<unsigned char>(variable.regType);
        definition.station = static_cast<unsigned char>(variable.station);
        definition.addressText = variable.addressText;
        definition.hostText = variable.name;
        definition.count = variable.hostCount();
        definitions += definition;
    }
    return definitions;
}

Blocks driverBlocks(const Driver &driver, const PanelFile &panel, std::size_t line) {
    ComInfo port{};
    port.blockLimit = panel.lines[line].blockLimit;
    port.useVarStation = 1;
    driver.SetComInfo(&port);
    QList<VARDEF> definitions = definitionsOf(panel, line);
    const int count = driver.ReCreatReadVarList(&definitions);
    Blocks blocks;
    for (int i = 0; i < count; ++i) {
        const Protocol *request = driver.ComCommunication();
        if (request == nullptr)
            break;
        const RW_VAR &block = request->var;
        blocks.push_back({block.station, block.regType, block.address, block.count});
        driver.DataCom(nullptr,
                       0); // without retries that is the end of it, and the next one's turn
    }
    return blocks;
}

Blocks fastestBlocks(const std::vector<RegisterSpan> &wanted, int blockLimit, const LineCost &cost,
                     const StationReplyTimes &replyTimes, const RefusedBlocks &refused) {
    Spans readable;
    std::copy_if(wanted.begin(), wanted.end(), std::back_inserter(readable),
                 [&refused](const RegisterSpan &span) { return !refused.hasAlone(span); });
    readable = tidied(std::move(readable));
    Blocks blocks;
    for (auto begin = readable.begin(); begin != readable.end();) {
        const auto end =
            std::find_if_not(begin, readable.end(),
                             [&begin](const RegisterSpan &span) { return sameArea(*begin, span); });
        const Spans area(begin, end);
        const LineTime replyTime = replyTimeOf(begin->station, cost, replyTimes);
        appendBlocks(area, bestCovers(area, blockLimit, cost, replyTime, refused), &blocks);
        begin = end;
    }
    return blocks;
}

Plan::Plan(const PanelFile &panel, std::size_t line, Blocks driversOwn)
    : m_panel(panel), m_line(line), m_cost(panel.lines[line]), m_driversOwn(std::move(driversOwn)),
      m_parts(polledSpans(panel, line)) {
    if (isDriversOwn())
        m_parts = cutAt(m_parts, m_driversOwn);
    makeBlocks();
}

bool Plan::isDriversOwn() const {
    return m_panel.lines[m_line].plan == PlanChoice::Driver;
}

void Plan::makeBlocks() {
    if (!isDriversOwn()) {
        m_blocks = cover(wantedSpans(m_panel, m_line, m_refused));
        return;
    }
    m_blocks.clear();
    for (const RegisterSpan &block : m_driversOwn) {
        const Blocks pieces =
            m_refused.forbids(block) ? cover(within(m_parts, block)) : Blocks{block};
        m_blocks.insert(m_blocks.end(), pieces.begin(), pieces.end());
    }
}

Blocks Plan::cover(const std::vector<RegisterSpan> &spans) const {
    return fastestBlocks(spans, m_panel.lines[m_line].blockLimit, m_cost, m_replyTimes, m_refused);
}

// Whole variables, so that few refusals find the one that is missing; of those that overlap, the
// values.
Spans Plan::partsOf(const RegisterSpan &block) const {
    Spans parts;
    std::copy_if(m_parts.begin(), m_parts.end(), std::back_inserter(parts),
                 [this](const RegisterSpan &part) { return !m_refused.hasAlone(part); });
    parts = tidied(cutAt(parts, {block}));
    if (isDriversOwn() || !doOverlap(parts))
        return parts;
    return tidied(within(wantedSpans(m_panel, m_line, m_refused), block));
}

void Plan::refuse(const RegisterSpan &block) {
    const bool isPlanned =
        std::any_of(m_blocks.begin(), m_blocks.end(), [&block](const RegisterSpan &planned) {
            return contains(planned, block) && contains(block, planned);
        });
    if (!isPlanned)
        return;
    m_refused.add(block, partsOf(block));
    makeBlocks();
}

void Plan::forgetRefusals(int station) {
    m_refused.forget(station);
    makeBlocks();
}

std::vector<std::size_t> Plan::refusedVariables() const {
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < m_panel.variables.size(); ++i) {
        const Variable &variable = m_panel.variables[i];
        if (isPolled(variable, m_line) && m_refused.hasAlone(variable.span()))
            indices.push_back(i);
    }
    return indices;
}

void Plan::setReplyTimes(const StationReplyTimes &replyTimes) {
    m_replyTimes = replyTimes;
    if (!isDriversOwn())
        makeBlocks();
}
