// Addresses, spans, the cyclic list against an oracle, the two queues, and the host's writes.
#include "driver_fixture.h"

#include "lists/address.h"
#include "lists/cyclic_list.h"

#include <algorithm>
#include <climits>
#include <random>

namespace {

using Spans = std::vector<std::pair<int, int>>; // (start register, count)

QList<RW_VAR> group(const Spans &spans) {
    QList<RW_VAR> vars;
    for (const auto &[start, count] : spans) {
        RW_VAR var;
        var.address = start;
        var.count = count;
        var.itemId = vars.size();
        vars << var;
    }
    return vars;
}

// "start+count/itemId" of each entry: the item tells of which span an entry is a copy.
std::string spansOf(const QList<RW_VAR> &vars) {
    QStringList entries;
    for (const RW_VAR &var : vars) {
        entries << QString("%1+%2/%3").arg(var.address).arg(var.count).arg(var.itemId);
    }
    return entries.join(' ').toStdString();
}

TEST_F(Driver, AddressTexts) {
    const struct {
        int type;
        const char *text;
        int address;
    } rows[] = {{0, "12.3", 99},
                {1, "10.3", 83},
                {2, "10.9", 89},
                {0, "12", -1},
                {0, "1.2.3", -1},
                {0, "", -1},
                {0, ".", 0},
                {0, "x.5", 5},
                {1, "3.x", 24},
                {6, "100", 100},
                {6, "abc", -1},
                {6, "", -1},
                {6, "-3", -3},
                {6, "0x10", -1},
                {3, "12.3", -1},
                {15, "12", 12},
                {-1, "12", 12},
                {-1, "1.2", -1},
                {14, "7", 7},
                {7, "2147483648", -1},
                {1, "-1.3", -5},
                {0, "268435455.7", INT_MAX},
                {0, "268435456.0", INT_MIN}};
    for (const auto &row : rows) {
        QString text = row.text;
        EXPECT_EQ(StringAddressToInt(row.type, text), row.address) << row.type << " " << row.text;
        EXPECT_EQ(PLCAddressChangeIntef(row.type, text), row.address)
            << row.type << " " << row.text;
    }
}

TEST_F(Driver, HostFormToSpanForm) {
    const struct {
        RW_VAR host;
        const char *span;
    } rows[] = {{var(1, 1, 83, 1), "1/7:5+1"},  {var(1, 0, 15, 2), "1/6:0+2"},
                {var(1, 2, 5, 0), "1/8:0+1"},   {var(1, 1, 15, 1), "1/7:0+1"},
                {var(1, 1, 16, 17), "1/7:1+2"}, {var(1, 1, 0, 16), "1/7:0+1"},
                {var(1, 1, -5, 1), "1/7:0+0"},  {var(1, 4, 3, 2), "1/7:1+2"},
                {var(1, 3, 4, 1), "1/6:2+1"},   {var(1, 5, 4, 2), "1/8:2+1"},
                {var(1, 4, 3, 1), "1/7:1+1"},   {var(1, 7, 9, 3), "1/7:9+3"},
                {var(1, 10, 5, 3), "1/7:10+4"}, {var(1, 9, 5, 2), "1/6:10+2"},
                {var(1, 13, 2, 1), "1/7:8+4"},  {var(1, 14, 2, 5), "1/8:8+8"},
                {var(1, 12, 2, 0), "1/6:8+0"},  {var(1, 13, 2, 4), "1/7:8+4"},
                {var(1, 15, 9, 3), "1/15:9+3"}, {var(1, -1, 9, 3), "1/-1:9+3"}};
    for (const auto &row : rows) {
        RW_VAR var = row.host;
        EXPECT_EQ(updateRwVar(&var), 0);
        EXPECT_EQ(text(var), row.span) << text(row.host);
    }
}

TEST_F(Driver, SortKeepsTheOrderOfEqualAddresses) {
    QList<RW_VAR> vars = group({{9, 0}, {5, 0}, {-3, 0}, {9, 1}, {5, 1}, {0, 0}});
    const QList<RW_VAR> before = vars;
    Bubble_Sort(&vars);
    EXPECT_EQ(spansOf(vars), "-3+0/2 0+0/5 5+0/1 5+1/4 9+0/0 9+1/3");
    EXPECT_EQ(spansOf(before), "9+0/0 5+0/1 -3+0/2 9+1/3 5+1/4 0+0/5");
    for (const auto &[spans, sorted] :
         {std::pair(Spans{}, ""), std::pair(Spans{{7, 1}}, "7+1/0")}) {
        vars = group(spans);
        Bubble_Sort(&vars);
        EXPECT_EQ(spansOf(vars), sorted);
    }
}

TEST_F(Driver, OneGroupMerges) {
    const struct {
        int limit;
        Spans spans;
        const char *requests;
    } rows[] = {{100, {{0, 2}, {10, 2}, {50, 1}}, "0+51/0"},
                {100, {{0, 2}, {99, 5}}, "0+100/0 100+4/0"},
                {100, {{0, 2}, {99, 1}}, "0+100/0"},
                {100, {{0, 2}, {100, 2}}, "0+2/0 100+2/1"},
                {10, {{3, 25}}, "3+10/0 13+10/0 23+5/0"},
                {10, {{3, 20}}, "3+10/0 13+10/0"},
                {10, {{3, 25}, {24, 12}, {33, 1}}, "3+10/0 13+10/0 23+10/0 33+3/0"},
                {100, {{0, 10}, {2, 3}}, "0+10/0"},
                {100, {{0, 10}, {2, 8}, {3, 8}}, "0+11/0"},
                {100, {{0, 0}, {2, 3}}, "2+3/1"},
                {100, {{0, 2}, {5, -9}, {6, 1}}, "0+7/0"},
                {2, {{0, 1}, {1, 3}, {4, 1}}, "0+2/0 2+2/0 4+1/2"},
                {1, {{5, 2}, {5, 4}, {5, 3}, {9, 50}}, "5+4/0 9+50/3"},
                {1, {{5, 0}, {7, -1}, {7, -1}}, "5+0/0 7+-1/1"},
                {0, {{5, 2}}, ""},
                {-1, {{5, 2}}, ""},
                {INT_MAX, {{0, 2}, {2147483000, 5}}, "0+2147483005/0"},
                {2, {{0, 1}, {1, INT_MAX}}, "0+1/0"},
                {2, {{0, INT_MAX}, {7, 1}}, "7+1/1"},
                {2, {{0, 2 * MaxPieces + 1}}, ""}};
    for (const auto &row : rows) {
        PLC_driver.readList = {var(1, 6, 0, 3)}; // another group's last request
        QList<RW_VAR> spans = group(row.spans);
        BitVarReCreat(&spans, row.limit);
        EXPECT_EQ(text(PLC_driver.readList.takeFirst()), "1/6:0+3");
        EXPECT_EQ(spansOf(PLC_driver.readList), row.requests);
    }
    QList<RW_VAR> longest = group({{0, 2 * MaxPieces}});
    BitVarReCreat(&longest, 2);
    EXPECT_EQ(PLC_driver.readList.size(), MaxPieces);
    QList<RW_VAR> last = group({{2147483640, 25}}); // ends beyond the numbers
    PLC_driver.readList.clear();
    BitVarReCreat(&last, 10);
    EXPECT_EQ(PLC_driver.readList.size(), 3);
}

// The cyclic list, thought of as chains: a span joins the chain when it starts before the end of
// the chain's last block at full length, and a finished chain is cut into blocks from its origin.
struct Oracle {
    int limit;
    QStringList requests;

    void finish(const QString &key, int origin, int end, const QString &host) {
        for (int at = origin; at < end; at += limit) {
            requests << QString("%1:%2+%3%4").arg(key).arg(at).arg(qMin(limit, end - at)).arg(host);
        }
    }

    void add(const QString &key, std::vector<std::tuple<int, int, QString>> spans) {
        std::stable_sort(spans.begin(), spans.end(), [](const auto &a, const auto &b) {
            return std::get<0>(a) < std::get<0>(b);
        });
        int origin = 0;
        int chainEnd = INT_MIN; // none yet
        QString host;
        for (const auto &[start, end, text] : spans) {
            const int blocks = (chainEnd - origin + limit - 1) / limit;
            if (chainEnd != INT_MIN && start < origin + blocks * limit) {
                chainEnd = qMax(chainEnd, end);
            } else if (end > start) {
                finish(key, origin, chainEnd, host);
                origin = start;
                chainEnd = end;
                host = text;
            }
        }
        finish(key, origin, chainEnd, host);
    }
};

TEST_F(Driver, TheCyclicListMatchesTheOracle) {
    std::mt19937 random(20240607);
    const auto upTo = [&random](int most) {
        return static_cast<int>(random() % (most + 1U));
    };
    const int elementBits[] = {1, 8, 16, 32, 64};
    const int unitBits[] = {1, 8, 16, 16, 16}; // the host's count
    for (int round = 0; round < 1500; ++round) {
        const int limits[] = {2, 3, 7, 20, 100};
        Oracle oracle{limits[upTo(4)], {}};
        const int reach = 10 << upTo(5);
        QList<VARDEF> definitions;
        std::map<std::pair<int, int>, std::vector<std::tuple<int, int, QString>>> groups;
        for (int n = upTo(20); n > 0; --n) {
            const int station = upTo(2);
            const int type = upTo(14);
            const int width = elementBits[type / 3];
            const int address = upTo(reach * 16) / width;
            const int count = type / 3 == 2 ? upTo(30) : 1 + upTo(40);
            const QString text = type < 3 ? QString("%1.%2").arg(address / 8).arg(address % 8)
                                          : QString::number(address);
            definitions << definition(station, type, text, count);
            const int size = (count * unitBits[type / 3] + width - 1) / width * width;
            const int end = (address * width + size + 15) / 16;
            if (station != 0) {
                groups[{station, type % 3 + 6}].emplace_back(address * width / 16, end, text + "!");
            }
        }
        for (const auto &[key, spans] : groups) {
            oracle.add(QString("%1/%2").arg(key.first).arg(key.second), spans);
        }
        info.blockLimit = oracle.limit;
        EXPECT_EQ(ReCreatReadVarList(&definitions), oracle.requests.size());
        QStringList requests;
        for (const RW_VAR &var : PLC_driver.readList) {
            requests << QString::fromStdString(::text(var)) + var.hostText;
        }
        ASSERT_EQ(requests.join(' ').toStdString(), oracle.requests.join(' ').toStdString());
    }
}

TEST_F(Driver, TheCyclicListIsOrderedAndFiltered) {
    info.portId = 4;
    info.remoteMode = 3;
    QList<VARDEF> definitions{
        definition(3, 8, "5", 1),   definition(1, 8, "7", 2),     definition(1, 6, "9", 1),
        definition(3, 6, "5", 1),   definition(200, 1, "0.0", 1), definition(200, 1, "0.9", 1),
        definition(1, 7, "x", 1),   definition(1, 1, "5", 1),     definition(0, 7, "5", 1),
        definition(1, 7, "-5", 1),  definition(1, 15, "4", 2),    definition(1, 15, "5", 2),
        definition(1, 7, "400", 0), definition(1, 7, "300", -1)};
    EXPECT_EQ(ReCreatReadVarList(&definitions), 6);
    EXPECT_EQ(text(PLC_driver.readList), "1/6:9+1 1/8:7+2 1/15:4+3 3/6:5+1 3/8:5+1 200/7:0+1");
    const RW_VAR &first = PLC_driver.readList.first();
    EXPECT_TRUE(first.ownerId == 0 && first.itemId == -1 && first.isWrite == 0);
    EXPECT_TRUE(first.remoteMode == 3 && first.portId == 4 && first.result == 0);
    EXPECT_TRUE(first.saveMode == 0 && first.spare == 0);
    EXPECT_TRUE(first.hostText == "9!" && first.addressText == "9");
    info.useVarStation = 0;
    EXPECT_EQ(ReCreatReadVarList(&definitions), 4);
    EXPECT_EQ(text(PLC_driver.readList), "9/6:5+5 9/7:0+6 9/8:5+4 9/15:4+3");
    info.defaultStation = 0;
    EXPECT_EQ(ReCreatReadVarList(&definitions), 0);
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
}

TEST_F(Driver, ARebuildRestartsThePass) {
    const struct {
        int limit;
        QList<VARDEF> definitions;
        int length, passCount, scanDone;
    } rows[] = {{100, {definition(1, 7, "5", 1)}, 1, 0, 0},
                {100, {definition(1, 7, "x", 1)}, 0, 0, 0},
                {100, {}, 0, 5, 1},
                {0, {definition(1, 7, "5", 1)}, 0, 0, 0},
                {-1, {definition(1, 7, "5", 1)}, 0, 0, 0},
                {1, {definition(1, 7, "5", 50)}, 1, 0, 0}};
    for (auto row : rows) {
        info.blockLimit = row.limit;
        info.scanDone = 1;
        PLC_driver.passCount = 5;
        PLC_driver.readList = {var(2, 7, 0, 1)};
        EXPECT_EQ(ReCreatReadVarList(&row.definitions), row.length);
        EXPECT_EQ(PLC_driver.readList.size(), row.length);
        EXPECT_EQ(PLC_driver.passCount, row.passCount);
        EXPECT_EQ(info.scanDone, row.scanDone);
    }
}

TEST_F(Driver, WhetherGroupCuts) {
    const struct {
        int count, limit;
        const char *pieces, *left;
    } rows[] = {{10, 10, "1/7:50+9", "1/7:50+9"},
                {-3, 10, "1/7:50+9", "1/7:50+9"},
                {11, 10, "1/7:50+10 1/7:60+1", "1/7:60+1"},
                {30, 10, "1/7:50+10 1/7:60+10 1/7:70+10", "1/7:70+10"},
                {9, 0, "", "1/7:50+9"},
                {9, -1, "", "1/7:50+9"},
                {INT_MAX, 1, "", "1/7:50+9"}};
    for (const auto &row : rows) {
        RW_VAR span = var(1, 7, 50, 9);
        QList<RW_VAR> pieces;
        WhetherGroup(row.count, row.limit, &span, &pieces);
        EXPECT_EQ(text(pieces), row.pieces);
        EXPECT_EQ(text(span), row.left);
    }
    RW_VAR span = var(1, 7, 0, 0);
    QList<RW_VAR> pieces;
    WhetherGroup(3 * MaxPieces, 3, &span, &pieces);
    EXPECT_EQ(pieces.size(), MaxPieces);
    WhetherGroup(3 * MaxPieces + 1, 3, &span, &pieces);
    EXPECT_EQ(pieces.size(), MaxPieces);
}

TEST_F(Driver, AddListReadVarAppendsAnything) {
    RW_VAR any = var(0, 99, -4, 7, "01");
    EXPECT_EQ(AddListReadVar(&any), 1);
    EXPECT_EQ(AddListReadVar(&any), 2);
    EXPECT_EQ(text(PLC_driver.readList), "0/99:-4+7=01 0/99:-4+7=01");
}

TEST_F(Driver, OneShotReadsAreParsedAndCut) {
    const struct {
        int useVarStation, defaultStation, limit;
        RW_VAR record;
        const char *addressText;
        int result;
        const char *queue, *record_after;
    } rows[] = {
        {1, 9, 100, var(1, 7, 0, 250), "200", 3, "1/7:200+100 1/7:300+100 1/7:400+50",
         "1/7:400+50"},
        {1, 9, 100, var(1, 7, 0, 100), "200", 1, "1/7:200+100", "1/7:200+100"},
        {1, 9, 100, var(1, 7, 0, 101), "200", 2, "1/7:200+100 1/7:300+1", "1/7:300+1"},
        {1, 9, 1, var(1, 7, 0, 2), "200", 2, "1/7:200+1 1/7:201+1", "1/7:201+1"},
        {0, 5, 100, var(1, 1, 0, 1), "3.4", 1, "5/7:1+1", "5/7:1+1"},
        {1, 9, 100, var(1, 14, 0, 1), "2", 1, "1/8:8+4", "1/8:8+4"},
        {1, 9, 100, var(1, 15, 0, 1), "2", 1, "1/15:2+1", "1/15:2+1"},
        {0, 0, 100, var(1, 7, 3, 1), "200", 0, "", "0/7:200+1"},
        {1, 9, 100, var(0, 1, 3, 1), "3.4", 0, "", "0/1:28+1"},
        {1, 9, 100, var(1, 7, 3, 1), "x", 0, "", "1/7:3+1"},
        {1, 9, 100, var(1, 7, 3, 0), "5", 0, "", "1/7:5+0"},
        {1, 9, 100, var(1, 7, 3, -7), "5", 1, "1/7:5+-7", "1/7:5+-7"},
        {1, 9, 100, var(1, 7, 3, -100), "5", 0, "", "1/7:5+-100"},
        {1, 9, 0, var(1, 7, 3, 1), "5", 0, "", "1/7:3+1"},
        {1, 9, -1, var(1, 7, 3, 1), "5", 0, "", "1/7:3+1"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.addressText + (" " + text(row.record)));
        reset();
        info.useVarStation = row.useVarStation;
        info.defaultStation = row.defaultStation;
        info.blockLimit = row.limit;
        RW_VAR record = row.record;
        record.addressText = row.addressText;
        record.saveMode = record.spare = 8;
        EXPECT_EQ(AddListOnceReadVar(&record, 0), row.result);
        EXPECT_EQ(text(PLC_driver.onceReadList), row.queue);
        EXPECT_EQ(text(record), row.record_after);
        const bool touched = record.address != 3;
        EXPECT_TRUE(record.saveMode == (touched ? 0 : 8) && record.spare == (touched ? 0 : 8));
    }
}

TEST_F(Driver, AQueueKnowsItsDuplicates) {
    const struct {
        int RW_VAR::*field;
        int readsWith, writesWith; // queue lengths after a record that differs in that field
    } rows[] = {{&RW_VAR::ownerId, 2, 2}, {&RW_VAR::itemId, 2, 2}, {&RW_VAR::station, 2, 3},
                {&RW_VAR::regType, 2, 3}, {&RW_VAR::count, 2, 3},  {&RW_VAR::address, 1, 3},
                {&RW_VAR::isWrite, 1, 2}, {&RW_VAR::portId, 1, 2}, {&RW_VAR::remoteMode, 1, 2}};
    for (const auto &row : rows) {
        reset();
        RW_VAR record = var(1, 7, 10, 1);
        record.value = "old";
        RW_VAR other = record;
        other.*row.field += 1;
        other.value = "new";
        RW_VAR read = other;
        AddListOnceReadVar(&record, 0);
        EXPECT_EQ(AddListOnceReadVar(&read, 0), row.readsWith);
        record = var(1, 7, 10, 1);
        EXPECT_EQ(AddListWriteVar(&record, 0), 1);
        EXPECT_EQ(AddListWriteVar(&record, 0), 2); // the one in flight is never replaced
        EXPECT_EQ(AddListWriteVar(&other, 0), row.writesWith);
        EXPECT_EQ(PLC_driver.writeList.first().value, "");
        EXPECT_EQ(PLC_driver.writeList.last().value, "new");
        EXPECT_EQ(PLC_driver.writeList.last().*row.field, other.*row.field);
    }
    RW_VAR moved = var(1, 7, 10, 1);
    reset();
    AddListOnceReadVar(&moved, 0);
    moved = var(1, 7, 11, 1); // another address text
    EXPECT_EQ(AddListOnceReadVar(&moved, 0), 2);
}

TEST_F(Driver, AReplacedWriteKeepsItsPlaceAndItsNeighbours) {
    for (const int address : {1, 2, 3, 2}) {
        RW_VAR write = var(1, 7, address, 1, "11");
        AddListWriteVar(&write, 1);
    }
    const QList<RW_VAR> snapshot = PLC_driver.writeList;
    RW_VAR write = var(1, 7, 2, 1, "22");
    EXPECT_EQ(AddListWriteVar(&write, 0), 4);
    EXPECT_EQ(text(PLC_driver.writeList), "1/7:1+1=11 1/7:2+1=22 1/7:3+1=11 1/7:2+1=11");
    EXPECT_EQ(text(snapshot), "1/7:1+1=11 1/7:2+1=11 1/7:3+1=11 1/7:2+1=11");
}

TEST_F(Driver, QueuesHold1024) {
    for (int i = 0; i < 1023; ++i) {
        RW_VAR record = var(1, 7, i, 1, "11");
        AddListWriteVar(&record, 0);
        AddListOnceReadVar(&record, 0);
    }
    const RW_VAR *head = &PLC_driver.writeList.at(0);
    for (int i = 1023; i < 1026; ++i) {
        RW_VAR record = var(1, 7, i, 1, "11");
        EXPECT_EQ(AddListWriteVar(&record, 0), 1024);
        EXPECT_EQ(AddListOnceReadVar(&record, 0), 1024);
    }
    EXPECT_EQ(PLC_driver.writeList.last().address, 1023);
    EXPECT_EQ(PLC_driver.onceReadList.last().address, 1023);
    RW_VAR again = var(1, 7, 1023, 1, "22");
    EXPECT_EQ(AddListWriteVar(&again, 0), 1024);
    EXPECT_EQ(hex(PLC_driver.writeList.last().value), "22");
    EXPECT_EQ(AddListWriteVar(&again, 1), 1025);
    EXPECT_EQ(AddListOnceReadVar(&again, 1), 1025);
    EXPECT_EQ(text(PLC_driver.onceReadList.last()), text(again));
    EXPECT_EQ(&PLC_driver.writeList.at(0), head); // stays where it is while the queue grows
}

TEST_F(Driver, HugeCountsEndAtTheQueuesBound) {
    info.blockLimit = 1;
    RW_VAR read = var(1, 7, 0, INT_MAX);
    EXPECT_EQ(AddListOnceReadVar(&read, 0), 1024);
    EXPECT_EQ(text(PLC_driver.onceReadList.last()), "1/7:1023+1");
    EXPECT_EQ(text(read), "1/7:2147483646+1");
    EXPECT_EQ(write(1, "0.0", 1, QByteArray(2000000, '\1'), 2000000), 1024);
    EXPECT_EQ(text(PLC_driver.writeList.last()), "1/1:1023+1=01");
}

TEST_F(Driver, HostWritesAreCutIntoRecords) {
    const char *const ten = "00 01 02 03 04 05 06 07 08 09";
    const struct {
        int type;
        const char *address;
        int count, limit;
        const char *data;
        int result;
        const char *queue;
    } rows[] = {
        {7, "10", 5, 2, ten, 3, "4/7:10+2=00010203 4/7:12+2=04050607 4/7:14+1=0809"},
        {8, "10", 4, 2, ten, 2, "4/8:10+2=00010203 4/8:12+2=04050607"},
        {7, "10", 2, 2, ten, 1, "4/7:10+2=00010203"},
        {7, "10", 3, 2, ten, 2, "4/7:10+2=00010203 4/7:12+1=0405"},
        {7, "10", 3, 9, "11 22", 1, "4/7:10+3=112200000000"},
        {1, "2.6", 3, 1, "00 05 00", 3, "4/1:22+1=00 4/1:23+1=01 4/1:24+1=00"},
        {2, "2.6", 3, 9, "80", 3, "4/2:22+1=01 4/2:23+1=00 4/2:24+1=00"},
        {4, "7", 2, 1, "11 22 33 44", 2, "4/4:7+1=11 4/4:8+1=33"},
        {5, "7", 3, 0, "11 22 33", 3, "4/5:7+1=11 4/5:8+1=33 4/5:9+1=00"},
        {1, "0.0", 1, -1, "FF", 1, "4/1:0+1=01"},
        {10, "3", 3, 10, ten, 1, "4/10:3+2=0001020304050607"},
        {11, "3", 6, 2, ten, 2, "4/11:3+2=0001020304050607 4/11:5+1=08090000"},
        {10, "3", 3, 1, ten, 2, "4/10:3+1=00010203 4/10:4+1=04050607"},
        {13, "3", 1, 10, ten, 1, "4/13:3+1=0001020304050607"},
        {14, "3", 5, 1, ten, 2, "4/14:3+1=0001020304050607 4/14:4+1=0809000000000000"},
        {13, "3", 4, 1, ten, 1, "4/13:3+1=0001020304050607"},
        {0, "0.0", 1, 9, ten, 0, ""},
        {3, "0", 1, 9, ten, 0, ""},
        {6, "0", 1, 9, ten, 0, ""},
        {9, "0", 2, 9, ten, 0, ""},
        {12, "0", 4, 9, ten, 0, ""},
        {15, "0", 1, 9, ten, 0, ""},
        {-1, "0", 1, 9, ten, 0, ""},
        {7, "x", 1, 9, ten, 0, ""},
        {7, "0", 0, 9, ten, 0, ""},
        {1, "0.0", -1, 9, ten, 0, ""},
        {4, "0", -1, 9, ten, 0, ""},
        {10, "0", -1, 9, ten, 0, ""},
        {7, "0", 1, 0, ten, 0, ""},
        {10, "0", 2, -1, ten, 0, ""},
        {13, "0", 4, 0, ten, 0, ""},
        {7, "0", 8388609, INT_MAX, ten, 0, ""}, // more than 16 MiB of data
        {1, "0.0", 16777217, 9, ten, 0, ""},
        {4, "0", 8388609, 9, ten, 0, ""},
        {10, "0", 8388609, INT_MAX, ten, 0, ""},
        {13, "0", INT_MAX, INT_MAX, ten, 0, ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.queue + std::to_string(row.type) + ":" + std::to_string(row.count));
        reset();
        info.blockLimit = row.limit;
        const QByteArray data = bytes(row.data);
        EXPECT_EQ(write(row.type, row.address, 4, data, row.count), row.result);
        EXPECT_EQ(text(PLC_driver.writeList), row.queue);
        EXPECT_EQ(hex(data), row.data);
        EXPECT_TRUE(DataStorage.isEmpty());
    }
    info.blockLimit = INT_MAX;
    EXPECT_EQ(write(7, "0", 4, bytes("12"), 8388608), 1);
}

TEST_F(Driver, AHostWriteRecord) {
    QString host = "tank";
    QString address = "3";
    QByteArray data = bytes("11 22");
    info.remoteMode = 6;
    SetRegisterData(&host, 7, &address, 4, &data, 1, 7, 8);
    info.useVarStation = 0;
    SetRegisterData(&host, 7, &address, 4, &data, 1, 9, 8);
    SetRegisterData(&host, 7, &address, 5, &data, 1, 9, 9); // the same default station: replaced
    EXPECT_EQ(text(PLC_driver.writeList), "4/7:3+1=1122 9/7:3+1=1122");
    const RW_VAR &write = PLC_driver.writeList.first();
    EXPECT_TRUE(write.ownerId == 7 && write.itemId == 8 && write.isWrite == 1);
    EXPECT_TRUE(write.remoteMode == 6 && write.portId == 1 && write.result == 0);
    EXPECT_TRUE(write.saveMode == 0 && write.spare == 0);
    EXPECT_TRUE(write.hostText == "tank" && write.addressText == "3");
    EXPECT_EQ(PLC_driver.writeList.last().itemId, 9);
    info.defaultStation = 0; // to all stations
    EXPECT_EQ(SetRegisterData(&host, 7, &address, 4, &data, 1, 7, 8), 3);
}

TEST_F(Driver, HostWritesReachTheImageWhenNothingElseWill) {
    const struct {
        int commMode;
        bool failed;
        int type, count;
        const char *data, *image; // of area 7
    } rows[] = {{2, false, 7, 2, "11 22 33 44", ""},
                {2, true, 7, 2, "11 22 33 44", "11 22 33 44"},
                {2, true, 4, 2, "11 22 33 44", "11 33"}, // the first byte of each item
                {2, true, 1, 9, "01 01 00 01 00 00 00 00 01", "0B 01"},
                {2, true, 13, 1, "11", "11 00 00 00 00 00 00 00"},
                {1, false, 7, 2, "11 22 33 44 55", "11 22 33 44"},
                {1, false, 4, 2, "11 22 33 44", "11 22"}, // consecutive bytes
                {1, false, 10, 2, "11 22 33 44", "11 22 33 44"},
                {0, true, 13, 5, "11", "11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
                {3, false, 1, 2, "01 80", "03"}};
    for (const auto &row : rows) {
        reset();
        info.commMode = row.commMode;
        info.blockLimit = 1;
        PLC_driver.commFailed = row.failed;
        const char *const address = row.type == 1 ? "0.0" : "0";
        const int result = write(row.type, address, 4, bytes(row.data), row.count);
        EXPECT_EQ(result, row.commMode == 2 ? PLC_driver.writeList.size() : 1);
        EXPECT_EQ(PLC_driver.writeList.isEmpty(), row.commMode != 2);
        EXPECT_EQ(image(4, 7), row.image) << row.type;
    }
    info.commMode = 1;
    const std::pair<const char *, int> readOnly[] = {{"x", 0}, {"0", 1}}; // area 6: room only
    for (const auto &[address, result] : readOnly) {
        EXPECT_EQ(write(6, address, 4, bytes("11 22"), 1), result);
        EXPECT_EQ(image(4, 6), result == 0 ? "" : "00 00");
    }
}

} // namespace
