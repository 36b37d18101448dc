// Which requests read the polled variables of a line. A request, here a block, is a RegisterSpan of
// at most `blockLimit` registers; its address on the wire is `first`, 5000 more in area 8.
#pragma once

#include "panel/file/panel_file.h"
#include "panel/line/driver_library.h"
#include "panel/line/line_cost.h"
#include "panel/line/refused_blocks.h"

#include <QList>

#include <cstddef>
#include <map>
#include <vector>

using Blocks = std::vector<RegisterSpan>;
using StationReplyTimes = std::map<int, LineTime>; // by station; see LineCost::read

// The polled variables of a line as the driver takes them.
QList<VARDEF> definitionsOf(const PanelFile &panel, std::size_t line);

// The blocks that the driver itself makes of a line's variables, in its order. `driver` is a copy
// that nothing else uses, before or after: it is asked for each request once, and told that nobody
// answers.
Blocks driverBlocks(const Driver &driver, const PanelFile &panel, std::size_t line);

// The cover of all spans of `wanted` (any order) that takes the least line time: each lies whole in
// one block, no block crosses what was refused, and what was refused by itself is left out. A span
// longer than the limit gets a block of its own; a limit of 1 merges nothing. Ordered by station,
// area and register. Stations without a reply time get the assumed one.
Blocks fastestBlocks(const std::vector<RegisterSpan> &wanted, int blockLimit, const LineCost &cost,
                     const StationReplyTimes &replyTimes, const RefusedBlocks &refused);

// The plan of one line while it runs: starts as the line's settings say, and changes as stations
// refuse blocks and answer faster or slower than assumed. On the line's thread.
class Plan {
public:
    // `driversOwn` is what driverBlocks() gave. The panel outlives the plan.
    Plan(const PanelFile &panel, std::size_t line, Blocks driversOwn);

    const Blocks &blocks() const { return m_blocks; }

    // A station has refused a block with an exception of 1, 2 or 3. Makes the plan anew without it:
    // cut in two where that explains most, at a hole nobody asked for if there is one, until what
    // is refused is found. Of a block that is not in the plan any more nothing is learnt.
    void refuse(const RegisterSpan &block);
    // Starts afresh with a station, because it came back or time has passed.
    void forgetRefusals(int station);
    // Indices in PanelFile::variables of those that are refused by themselves: no block reads them.
    std::vector<std::size_t> refusedVariables() const;
    // The requests in which they were refused.
    Blocks refusedAlone() const { return m_refused.alone(); }

    // Measured reply times; the plan is made anew only where the fastest blocks are wanted.
    void setReplyTimes(const StationReplyTimes &replyTimes);

private:
    bool isDriversOwn() const;
    void makeBlocks();
    std::vector<RegisterSpan> partsOf(const RegisterSpan &block) const;
    Blocks cover(const std::vector<RegisterSpan> &spans) const;

    const PanelFile &m_panel;
    std::size_t m_line;
    LineCost m_cost;
    Blocks m_driversOwn;
    // What is had or refused as one: the variables, as the driver's own blocks cut them.
    std::vector<RegisterSpan> m_parts;
    StationReplyTimes m_replyTimes;
    RefusedBlocks m_refused;
    Blocks m_blocks;
};
