// Which requests read a line's variables: the driver's own, the fastest, and both around what a
// station refuses.
#include "driver/Communication_Protocol.h"
#include "panel/line/driver_copy.h"
#include "panel/line/plan.h"
#include "plc_driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <tuple>
#include <utility>

namespace {

using Spans = std::vector<RegisterSpan>;
using Words = std::vector<std::pair<int, int>>; // first register, count

constexpr LineTime Never = LineTime::max();

Spans holding(const Words &words) {
    Spans spans;
    for (const auto &[first, count] : words)
        spans.push_back({1, 7, first, count});
    return spans;
}

Words wordsOf(const Spans &spans) {
    Words words;
    for (const RegisterSpan &span : spans)
        words.emplace_back(span.first, span.count);
    return words;
}

PanelFile panelWith(const Words &words, PlanChoice plan, int blockLimit = 100) {
    PanelFile panel;
    panel.lines.resize(1);
    panel.lines[0].plan = plan;
    panel.lines[0].blockLimit = blockLimit;
    panel.lines[0].silenceUs = 2005;
    for (const auto &[first, count] : words) {
        Variable variable;
        variable.station = 1;
        variable.regType = 7;
        variable.address = first;
        variable.addressText = QString::number(first);
        variable.count = count;
        panel.variables.push_back(variable);
    }
    return panel;
}

Blocks ownBlocks(const PanelFile &panel) {
    Driver driver;
    EXPECT_EQ(loadDriverCopy(DRIVER_LIBRARY, &driver).toStdString(), "");
    return driverBlocks(driver, panel, 0);
}

RegisterSpan hullOf(const Spans &spans) {
    int first = spans.front().first;
    int end = endOf(spans.front());
    for (const RegisterSpan &span : spans) {
        first = std::min(first, span.first);
        end = std::max(end, endOf(span));
    }
    return {spans.front().station, spans.front().area, first, end - first};
}

bool isIn(const Spans &blocks, const RegisterSpan &span) {
    return std::any_of(blocks.begin(), blocks.end(),
                       [&span](const auto &block) { return contains(block, span); });
}

struct Puzzle {
    Spans wanted;
    int limit;
    LineCost cost;
    RefusedBlocks refused;
    LineTime replyTime;
};

LineTime timeOfGroup(const Puzzle &puzzle, const Spans &group) {
    const RegisterSpan block = hullOf(group);
    const bool sameBlock =
        std::all_of(group.begin(), group.end(),
                    [&block](const RegisterSpan &span) { return sameArea(span, block); });
    const bool isOneSpan = isIn(group, block);
    const bool fits = puzzle.limit > 1 && block.count <= puzzle.limit;
    if (!sameBlock || (!isOneSpan && (!fits || puzzle.refused.forbids(block))))
        return Never;
    return puzzle.cost.read(block.count, puzzle.replyTime);
}

// Of each way to part the spans into groups that share a block. A set is a number, a span a bit.
LineTime leastTime(const Puzzle &puzzle) {
    const unsigned all = (1U << puzzle.wanted.size()) - 1;
    std::vector<LineTime> least(all + 1, Never);
    least[0] = LineTime{0};
    for (unsigned set = 1; set <= all; ++set) {
        for (unsigned last = set; last != 0; last = (last - 1) & set) {
            Spans group;
            for (std::size_t i = 0; i < puzzle.wanted.size(); ++i) {
                if ((last >> i & 1U) != 0)
                    group.push_back(puzzle.wanted[i]);
            }
            const LineTime time = timeOfGroup(puzzle, group);
            if (time != Never && least[set ^ last] != Never)
                least[set] = std::min(least[set], least[set ^ last] + time);
        }
    }
    return least[all];
}

TEST(FastestBlocks, TakeNoMoreTimeThanAnyOtherWay) {
    std::mt19937 dice(7); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same puzzles every time
    const auto roll = [&dice](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(dice);
    };
    for (int round = 0; round < 400; ++round) {
        LineSettings settings;
        settings.baudRate = roll(0, 1) == 0 ? 19200 : 1200;
        settings.silenceUs = roll(0, 40'000);
        Puzzle puzzle{
            {}, roll(1, 40), LineCost(settings), {}, std::chrono::milliseconds(roll(1, 9))};
        for (int i = roll(1, 7); i > 0; --i)
            puzzle.wanted.push_back({roll(1, 4) / 4 + 1, 7, roll(0, 60), roll(1, 12)});
        if (roll(0, 1) == 0) {
            const int first = roll(0, 50);
            puzzle.refused.add({1, 7, first, 10}, holding({{first, 1}, {first + 9, 1}}));
        }
        const Blocks blocks =
            fastestBlocks(puzzle.wanted, puzzle.limit, puzzle.cost,
                          {{1, puzzle.replyTime}, {2, puzzle.replyTime}}, puzzle.refused);
        LineTime time{0};
        for (const RegisterSpan &block : blocks)
            time += puzzle.cost.read(block.count, puzzle.replyTime);
        for (const RegisterSpan &span : puzzle.wanted)
            EXPECT_TRUE(isIn(blocks, span)) << "round " << round;
        EXPECT_EQ(time.count(), leastTime(puzzle).count()) << "round " << round;
    }
}

LineTime timeOf(const Blocks &blocks, const PanelFile &panel) {
    const LineCost cost(panel.lines[0]);
    LineTime time{0};
    for (const RegisterSpan &block : blocks)
        time += cost.read(block.count, cost.replyTime(AssumedStationTime));
    return time;
}

TEST(Plan, TakesNoMoreTimeThanTheDriversOwnBlocks) {
    const Words wanted[] = {
        {{0, 60}, {60, 60}, {120, 60}, {180, 60}, {240, 60}}, // two do not fit whole, one and a bit
        {{0, 60}, {90, 110}, {95, 3}, {190, 20}},             // a hole, overlaps, a long one
    };
    for (const Words &words : wanted) {
        const PanelFile panel = panelWith(words, PlanChoice::Fastest);
        EXPECT_LE(timeOf(Plan(panel, 0, {}).blocks(), panel).count(),
                  timeOf(ownBlocks(panel), panel).count());
    }
}

TEST(Plan, CutsBetweenValuesOnly) {
    PanelFile panel = panelWith({{50, 3}}, PlanChoice::Fastest, 5);
    panel.variables[0].regType = 10; // 32-bit values: registers 100 to 105
    EXPECT_EQ(wordsOf(Plan(panel, 0, {}).blocks()), (Words{{100, 4}, {104, 2}}));
    panel = panelWith({{7, 3}}, PlanChoice::Fastest, 3);
    panel.variables[0].words = 2; // over single words: registers 7 to 12
    EXPECT_EQ(wordsOf(Plan(panel, 0, {}).blocks()), (Words{{7, 2}, {9, 2}, {11, 2}}));
}

TEST(Plan, BridgesAHoleOnlyWhereThatIsFaster) {
    // At 19200 baud a request costs as much as some 12 registers.
    const Words words{{0, 1}, {5, 1}, {60, 1}};
    PanelFile panel = panelWith(words, PlanChoice::Fastest);
    Plan plan(panel, 0, {});
    EXPECT_EQ(wordsOf(plan.blocks()), (Words{{0, 6}, {60, 1}}));
    plan.setReplyTimes({{1, std::chrono::milliseconds(100)}});
    EXPECT_EQ(wordsOf(plan.blocks()), (Words{{0, 61}})) << "a slow station";
}

TEST(DriverBlocks, AreThoseThatTheDriverBuilds) {
    PanelFile panel = panelWith({{0, 1}, {50, 1}, {99, 60}, {300, 1}, {7, 2}}, PlanChoice::Driver);
    panel.variables[3].station = 9;
    panel.variables[4].regType = 11;
    static ComInfo port{};
    port.blockLimit = panel.lines[0].blockLimit;
    port.useVarStation = 1;
    SetComInfo(&port);
    QList<VARDEF> definitions = definitionsOf(panel, 0);
    ReCreatReadVarList(&definitions);
    const Blocks blocks = ownBlocks(panel);
    ASSERT_EQ(static_cast<int>(blocks.size()), PLC_driver.readList.size());
    for (int i = 0; i < PLC_driver.readList.size(); ++i) {
        const RW_VAR &built = PLC_driver.readList[i];
        const RegisterSpan &block = blocks[static_cast<std::size_t>(i)];
        EXPECT_EQ(std::tie(block.station, block.area, block.first, block.count),
                  std::tie(built.station, built.regType, built.address, built.count));
    }
}

// A station that lacks some registers, and answers no long request.
struct Station {
    std::set<int> missing;
    int mostRegisters = 125;

    bool has(const RegisterSpan &block) const {
        const auto found = missing.lower_bound(block.first);
        return block.count <= mostRegisters && (found == missing.end() || *found >= endOf(block));
    }
};

// Polls until nothing is refused any more; returns how many refusals that took.
int poll(Plan *plan, const Station &station) {
    for (int refusals = 0; refusals < 1000; ++refusals) {
        const Blocks blocks = plan->blocks();
        const auto refused =
            std::find_if_not(blocks.begin(), blocks.end(),
                             [&station](const RegisterSpan &block) { return station.has(block); });
        if (refused == blocks.end())
            return refusals;
        plan->refuse(*refused);
    }
    return 1000;
}

// In one block or in several.
bool isRead(const RegisterSpan &span, const Blocks &blocks) {
    RegisterSpan one{span.station, span.area, span.first, 1};
    while (one.first < endOf(span) && isIn(blocks, one))
        ++one.first;
    return one.first == endOf(span);
}

// What the station has is read, and what it lacks is named.
void expectReadOrRefused(const PanelFile &panel, const Station &station, const Plan &plan) {
    std::vector<std::size_t> refused;
    for (std::size_t i = 0; i < panel.variables.size(); ++i) {
        const RegisterSpan span = panel.variables[i].span();
        if (station.has(span)) {
            EXPECT_TRUE(isRead(span, plan.blocks())) << i;
        } else {
            refused.push_back(i);
        }
    }
    EXPECT_EQ(plan.refusedVariables(), refused);
    for (const RegisterSpan &block : plan.refusedAlone())
        EXPECT_FALSE(station.has(block)) << "asked again, it would be had";
}

Words everyNth(int n, int count) {
    Words words;
    for (int i = 0; i < count; ++i)
        words.emplace_back(100 + n * i, 1 + i % std::min(n, 3));
    return words;
}

TEST(Plan, FindsWhatAStationRefusesAndReadsAllElse) {
    const Words wanted[] = {
        {{100, 5}, {110, 10}},                               // both sides of a hole
        everyNth(1, 100),                                    // side by side
        everyNth(7, 40),                                     // with gaps
        {{90, 40}, {102, 1}, {120, 4}, {126, 8}, {95, 120}}, // one within another, and a long one
    };
    const std::set<int> holes[] = {{105, 106, 107, 108, 109}, {100}, {133}, {105, 151, 152, 199}};
    for (const Words &words : wanted) {
        for (const std::set<int> &missing : holes) {
            for (const PlanChoice choice : {PlanChoice::Driver, PlanChoice::Fastest}) {
                const PanelFile panel = panelWith(words, choice);
                Plan plan(panel, 0, ownBlocks(panel));
                const Station station{missing};
                EXPECT_LT(poll(&plan, station), 50) << "halving takes few steps";
                expectReadOrRefused(panel, station, plan);
            }
        }
    }
}

TEST(Plan, ReadsNothingOfAVariableThatIsRefusedInPart) {
    const PanelFile panel = panelWith({{0, 150}, {200, 1}}, PlanChoice::Fastest);
    Plan plan(panel, 0, {});
    poll(&plan, {{3}});
    EXPECT_EQ(wordsOf(plan.blocks()), (Words{{200, 1}}));
}

TEST(Plan, KeepsToTheLongestRequestThatAStationTakes) {
    const PanelFile panel = panelWith(everyNth(1, 100), PlanChoice::Fastest);
    Plan plan(panel, 0, {});
    EXPECT_LT(poll(&plan, {{}, 32}), 10);
    EXPECT_EQ(plan.blocks().size(), 4U);
    EXPECT_TRUE(plan.refusedVariables().empty());
    plan.forgetRefusals(1);
    EXPECT_EQ(plan.blocks().size(), 1U);
}

} // namespace
