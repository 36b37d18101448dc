// The cyclic list: definitions grouped, sorted, merged and cut into requests.
#include "driver_fixture.h"

#include "lists/cyclic_list.h"

#include <algorithm>
#include <climits>
#include <map>
#include <random>

namespace {

using Spans = std::vector<std::pair<int, int>>; // the first register and their number

class CyclicList : public Driver {
protected:
    // The spans of one group; the item of each is its place.
    static QList<RW_VAR> groupOf(const Spans &spans) {
        QList<RW_VAR> group;
        for (const auto &[first, count] : spans) {
            group << variable({1, 7, first, count});
            group.last().itemId = group.size() - 1;
        }
        return group;
    }

    static Spans spansOf(const QList<RW_VAR> &list) {
        Spans spans;
        for (const RW_VAR &var : list) {
            spans.emplace_back(var.address, var.count);
        }
        return spans;
    }

    int rebuild(QList<VARDEF> definitions) {
        PLC_driver.passCount = 5;
        info.scanDone = 1;
        return ReCreatReadVarList(&definitions);
    }
};

TEST_F(CyclicList, SpansAreMergedWithinTheBlockLimit) {
    struct Row {
        const char *why;
        int blockLimit;
        Spans spans, requests;
    };
    const Row rows[] = {
        {"a gap is read along", 100, {{0, 2}, {10, 2}, {99, 1}}, {{0, 100}}},
        {"the rest beyond the limit", 100, {{0, 2}, {99, 5}}, {{0, 100}, {100, 4}}},
        {"a start at the limit opens a block", 100, {{0, 2}, {100, 2}}, {{0, 2}, {100, 2}}},
        {"a span inside another", 100, {{0, 10}, {2, 3}}, {{0, 10}}},
        {"a long span is cut", 10, {{3, 25}, {24, 5}}, {{3, 10}, {13, 10}, {23, 6}}},
        {"an empty span opens no block", 100, {{0, 0}, {2, 3}}, {{2, 3}}},
        {"a span of too many requests is left out", 2, {{0, 131073}, {7, 1}}, {{7, 1}}},
        {"so is what would make a block so long", 2, {{0, 1}, {1, INT_MAX}}, {{0, 1}}},
        {"a limit of 1 joins equal starts", 1, {{0, 2}, {0, 4}, {0, 3}, {9, 5}}, {{0, 4}, {9, 5}}},
        {"without a limit nothing is read", 0, {{5, 2}}, {}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        PLC_driver.readList = groupOf({{0, 3}}); // another group's last request
        QList<RW_VAR> group = groupOf(row.spans);
        BitVarReCreat(&group, row.blockLimit);
        EXPECT_EQ(spansOf(PLC_driver.readList.mid(1)), row.requests);
        EXPECT_EQ(spansOf(PLC_driver.readList.mid(0, 1)), (Spans{{0, 3}}));
    }
}

TEST_F(CyclicList, ASpanIsCutIntoAsManyRequestsAsAllowed) {
    QList<RW_VAR> group = groupOf({{0, 131072}});
    BitVarReCreat(&group, 2);
    EXPECT_EQ(PLC_driver.readList.size(), 65536);
}

TEST_F(CyclicList, TheRestOfABlockIsACopyOfItsFirstSpan) {
    QList<RW_VAR> group = groupOf({{0, 2}, {99, 5}});
    BitVarReCreat(&group, 100);
    EXPECT_EQ(PLC_driver.readList.last().itemId, 0);
}

TEST_F(CyclicList, SortingKeepsTheOrderOfEqualAddresses) {
    QList<RW_VAR> list = groupOf({{9, 0}, {5, 1}, {-3, 2}, {9, 3}, {5, 4}});
    Bubble_Sort(&list);
    EXPECT_EQ(spansOf(list), (Spans{{-3, 2}, {5, 1}, {5, 4}, {9, 0}, {9, 3}}));
}

TEST_F(CyclicList, AVariableIsSplitIntoPiecesAndLeftAsTheLast) {
    RW_VAR var = variable({1, 7, 50, 9});
    QList<RW_VAR> pieces;
    WhetherGroup(9, 0, &var, &pieces);      // no limit
    WhetherGroup(196609, 3, &var, &pieces); // a piece too many
    WhetherGroup(10, 10, &var, &pieces);    // as it is
    WhetherGroup(21, 10, &var, &pieces);
    EXPECT_EQ(spansOf(pieces), (Spans{{50, 9}, {50, 10}, {60, 10}, {70, 1}}));
    EXPECT_EQ(pieceOf(var), (Piece{1, 7, 70, 1}));
}

TEST_F(CyclicList, IsOrderedByStationAreaAndRegister) {
    info.remoteMode = 3;
    const QList<VARDEF> definitions{
        definition(3, 8, "5", 1),  definition(1, 8, "7", 2),     definition(1, 6, "9", 1),
        definition(3, 6, "5", 1),  definition(200, 1, "0.0", 1), definition(200, 1, "0.9", 1),
        definition(1, 15, "4", 2), definition(1, 6, "0", 1),     definition(1, 7, "x", 1),
        definition(0, 7, "5", 1),  definition(1, 7, "-5", 1),    definition(1, 7, "400", 0),
    };
    EXPECT_EQ(rebuild(definitions), 6);
    const Pieces expected{{1, 6, 0, 10}, {1, 8, 7, 2}, {1, 15, 4, 2},
                          {3, 6, 5, 1},  {3, 8, 5, 1}, {200, 7, 0, 1}};
    EXPECT_EQ(piecesOf(PLC_driver.readList), expected);
    const RW_VAR first{0, -1, 0, 3, 1, 0, "text of 0", "0", 6, 0, 1, 10, 0, 0, ""};
    EXPECT_EQ(fieldsOf(PLC_driver.readList.first()), fieldsOf(first));
}

TEST_F(CyclicList, TheDefaultStationReplacesThatOfEveryDefinition) {
    info.useVarStation = 0;
    EXPECT_EQ(rebuild({definition(3, 7, "5", 1), definition(0, 7, "6", 1)}), 1);
    EXPECT_EQ(piecesOf(PLC_driver.readList), (Pieces{{9, 7, 5, 2}}));
    info.defaultStation = 0; // a broadcast is never read
    EXPECT_EQ(rebuild({definition(3, 7, "5", 1)}), 0);
}

TEST_F(CyclicList, ARebuildRestartsThePassUnlessThereAreNoDefinitions) {
    EXPECT_EQ(rebuild({definition(1, 7, "0", 50)}), 1);
    EXPECT_EQ(std::tie(PLC_driver.passCount, info.scanDone), std::tuple(0, 0));
    info.blockLimit = 0;
    EXPECT_EQ(rebuild({definition(1, 7, "0", 50)}), 0);
    EXPECT_EQ(std::tie(PLC_driver.passCount, info.scanDone), std::tuple(0, 0));
    EXPECT_EQ(rebuild({}), 0);
    EXPECT_EQ(std::tie(PLC_driver.passCount, info.scanDone), std::tuple(5, 1));
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
}

// The requests of one group, thought of as chains: a span joins the chain when it starts before the
// end of the chain's last block at full length; a chain is cut into blocks from its start.
Spans requestsOf(Spans spans, int limit) {
    Spans chains;
    std::sort(spans.begin(), spans.end());
    for (const auto &[start, count] : spans) {
        const int blocks = chains.empty() ? 0 : (chains.back().second + limit - 1) / limit;
        if (chains.empty() || start >= chains.back().first + blocks * limit) {
            chains.emplace_back(start, count);
        } else {
            auto &[first, length] = chains.back();
            length = std::max(length, start + count - first);
        }
    }
    Spans requests;
    for (const auto &[first, length] : chains) {
        for (int done = 0; done < length; done += limit) {
            requests.emplace_back(first + done, std::min(limit, length - done));
        }
    }
    return requests;
}

TEST_F(CyclicList, MatchesTheOracleForAnyDefinitions) {
    std::mt19937 random(20240607); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same lists each time
    const auto upTo = [&random](int most) {
        return static_cast<int>(random() % 1000003) % (most + 1);
    };
    for (int round = 0; round < 1000; ++round) {
        QList<VARDEF> definitions;
        std::map<std::pair<int, int>, Spans> groups; // by station and area
        for (int n = upTo(20); n > 0; --n) {
            const std::pair<int, int> group{1 + upTo(1), 6 + upTo(2)};
            const std::pair<int, int> span{upTo(10 << round % 6), 1 + upTo(30)};
            const QString address = QString::number(span.first);
            definitions << definition(group.first, group.second, address, span.second);
            groups[group].push_back(span);
        }
        info.blockLimit = 2 + upTo(20);
        Pieces expected;
        for (const auto &[group, spans] : groups) {
            for (const auto &[first, count] : requestsOf(spans, info.blockLimit)) {
                expected.push_back({group.first, group.second, first, count});
            }
        }
        rebuild(definitions);
        ASSERT_EQ(piecesOf(PLC_driver.readList), expected) << "round " << round;
    }
}

} // namespace
