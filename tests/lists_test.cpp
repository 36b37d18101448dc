// Addresses, spans, the cyclic list against an oracle, the two queues, and the host's writes.
#include "driver_fixture.h"

#include "lists/address.h"
#include "lists/cyclic_list.h"

#include <algorithm>
#include <climits>
#include <random>

namespace {

TEST_F(Driver, AddressTexts) {
    for (const Row &row :
         table(R"(0|12.3|99; 1|10.3|83; 2|10.9|89; 0|12|-1; 0|1.2.3|-1; 0||-1; 0|.|0
             0|x.5|5; 1|3.x|24; 6|100|100; 6|abc|-1; 6||-1; 6|-3|-3; 6|0x10|-1; 3|12.3|-1; 15|12|12
             -1|12|12; -1|1.2|-1; 14|7|7; 7|2147483648|-1; 1|-1.3|-5; 0|268435455.7|2147483647
             0|268435456.0|-2147483648)")) {
        QString text = row[1];
        EXPECT_EQ(StringAddressToInt(row.number(0), text), row.number(2)) << row.trace();
        EXPECT_EQ(PLCAddressChangeIntef(row.number(0), text), row.number(2)) << row.trace();
    }
}

TEST_F(Driver, HostFormToSpanForm) {
    for (const Row &row :
         table(R"(1/1:83+1 1/7:5+1; 1/0:15+2 1/6:0+2; 1/2:5+0 1/8:0+1; 1/1:15+1 1/7:0+1
             1/1:16+17 1/7:1+2; 1/1:0+16 1/7:0+1; 1/1:-5+1 1/7:0+0; 1/4:3+2 1/7:1+2; 1/3:4+1 1/6:2+1
             1/5:4+2 1/8:2+1; 1/4:3+1 1/7:1+1; 1/7:9+3 1/7:9+3; 1/10:5+3 1/7:10+4; 1/9:5+2 1/6:10+2
             1/11:5+1 1/8:10+2; 1/13:2+1 1/7:8+4; 1/14:2+5 1/8:8+8; 1/12:2+0 1/6:8+0; 1/13:2+4 1/7:8+4
             1/15:9+3 1/15:9+3; 1/-1:9+3 1/-1:9+3; 1/8:-9+0 1/8:-9+0)")) {
        RW_VAR changed = var(row[0]);
        EXPECT_EQ(updateRwVar(&changed), 0);
        EXPECT_EQ(text(changed), row.text(1)) << row.trace();
    }
}

// Spans "start+count" as one group; the n-th carries n as its itemId.
QList<RW_VAR> group(const QString &spans) {
    QList<RW_VAR> made;
    for (const QString &span : spans.split(' ', Qt::SkipEmptyParts)) {
        made << var(QString("1/7:%1@0/%2").arg(span).arg(made.size()));
    }
    return made;
}

// "start+count/itemId" of each entry: the item tells of which span an entry is a copy.
std::string spansOf(const QList<RW_VAR> &list) {
    QStringList spans;
    for (const RW_VAR &entry : list) {
        spans << QString("%1+%2/%3").arg(entry.address).arg(entry.count).arg(entry.itemId);
    }
    return spans.join(' ').toStdString();
}

TEST_F(Driver, SortKeepsTheOrderOfEqualAddresses) {
    QList<RW_VAR> list = group("9+0 5+0 -3+0 9+1 5+1 0+0");
    const QList<RW_VAR> before = list;
    Bubble_Sort(&list);
    EXPECT_EQ(spansOf(list), "-3+0/2 0+0/5 5+0/1 5+1/4 9+0/0 9+1/3");
    EXPECT_EQ(spansOf(before), "9+0/0 5+0/1 -3+0/2 9+1/3 5+1/4 0+0/5");
    for (QList<RW_VAR> few : {QList<RW_VAR>(), group("7+1")}) {
        Bubble_Sort(&few);
        EXPECT_EQ(spansOf(few), few.isEmpty() ? "" : "7+1/0");
    }
}

TEST_F(Driver, OneGroupMerges) {
    for (const Row &row : table(R"(100|0+2 10+2 50+1|0+51/0; 100|0+2 99+5|0+100/0 100+4/0
             100|0+2 99+1|0+100/0; 100|0+2 100+2|0+2/0 100+2/1; 10|3+25|3+10/0 13+10/0 23+5/0
             10|3+20|3+10/0 13+10/0; 10|3+25 24+12 33+1|3+10/0 13+10/0 23+10/0 33+3/0
             100|0+10 2+3|0+10/0; 100|0+10 2+8 3+8|0+11/0; 100|0+0 2+3|2+3/1; 100|0+2 5+-9 6+1|0+7/0
             2|0+1 1+3 4+1|0+2/0 2+2/0 4+1/2; 1|5+2 5+4 5+3 9+50|5+4/0 9+50/3; 1|0+1 0+1|0+1/0
             1|5+0 7+-1 7+-1|5+0/0 7+-1/1; 0|5+2|; -1|5+2|; 2147483647|0+2 2147483000+5|0+2147483005/0
             2|0+1 1+2147483647|0+1/0; 2|0+2147483647 7+1|7+1/1; 2|0+131073|)")) {
        PLC_driver.readList = {var("1/7:0+3")}; // another group's last request
        QList<RW_VAR> spans = group(row[1]);
        BitVarReCreat(&spans, row.number(0));
        EXPECT_EQ(text(PLC_driver.readList.takeFirst()), "1/7:0+3");
        EXPECT_EQ(spansOf(PLC_driver.readList), row.text(2)) << row.trace();
    }
    for (const Row &row : table("2 0+131072 65536; 10 2147483640+25 3")) { // 3: beyond the numbers
        QList<RW_VAR> spans = group(row[1]);
        PLC_driver.readList.clear();
        BitVarReCreat(&spans, row.number(0));
        EXPECT_EQ(PLC_driver.readList.size(), row.number(2));
    }
}

// The cyclic list, thought of as chains: a span joins the chain when it starts before the end of
// the chain's last block at full length, and a finished chain is cut into blocks from its origin.
struct Oracle {
    int limit;
    QStringList requests;
    struct Span {
        int start, end;
        QString text;
    };
    std::map<std::pair<int, int>, std::vector<Span>> groups; // by station and area

    void finish(const std::pair<int, int> &key, const Span &chain) {
        for (int at = chain.start; at < chain.end; at += limit) {
            requests << QString("%1/%2:%3+").arg(key.first).arg(key.second).arg(at) +
                            QString::number(std::min(limit, chain.end - at)) + chain.text;
        }
    }

    void finishAll() {
        for (auto &[key, spans] : groups) {
            std::stable_sort(spans.begin(), spans.end(),
                             [](const Span &a, const Span &b) { return a.start < b.start; });
            Span chain{0, 0, ""};
            for (const Span &span : spans) {
                const int blocks = (chain.end - chain.start + limit - 1) / limit;
                if (span.start < chain.start + blocks * limit) {
                    chain.end = std::max(chain.end, span.end);
                } else if (span.end > span.start) {
                    finish(key, chain);
                    chain = span;
                }
            }
            finish(key, chain);
        }
    }
};

TEST_F(Driver, TheCyclicListMatchesTheOracle) {
    std::mt19937 random(20240607);
    const auto upTo = [&random](int most) {
        return static_cast<int>(random() % (most + 1U));
    };
    const int elementBits[] = {1, 8, 16, 32, 64};
    const int unitBits[] = {1, 8, 16, 16, 16}; // the host's count
    const int limits[] = {2, 3, 7, 20, 100};
    for (int round = 0; round < 1000; ++round) {
        Oracle oracle{limits[upTo(4)], {}, {}};
        const int reach = 10 << upTo(5);
        QList<VARDEF> definitions;
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
            if (station != 0) { // never polled
                oracle.groups[{station, type % 3 + 6}].push_back({address * width / 16, end, text});
            }
        }
        oracle.finishAll();
        info.blockLimit = oracle.limit;
        EXPECT_EQ(ReCreatReadVarList(&definitions), oracle.requests.size());
        QStringList requests;
        for (const RW_VAR &entry : PLC_driver.readList) {
            requests << QString::fromStdString(text(entry)) + entry.addressText;
        }
        ASSERT_EQ(requests.join(' ').toStdString(), oracle.requests.join(' ').toStdString());
    }
}

TEST_F(Driver, TheCyclicListIsOrderedAndFiltered) {
    QList<VARDEF> definitions; // station, type, address, count
    for (const Row &row : table(R"(3 8 5 1; 1 8 7 2; 1 6 9 1; 3 6 5 1; 200 1 0.0 1; 200 1 0.9 1
             1 7 x 1; 1 1 5 1; 0 7 5 1; 1 7 -5 1; 1 15 4 2; 1 15 5 2; 1 7 400 0; 1 7 300 -1)")) {
        definitions << definition(row.number(0), row.number(1), row[2], row.number(3));
    }
    info.portId = 4;
    info.remoteMode = 3;
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
}

TEST_F(Driver, ARebuildRestartsThePass) {
    // blockLimit, address of the one definition ("-": none), then length, passCount, scanDone
    for (const Row &row :
         table("100 0 1 0 0; 100 x 0 0 0; 100 - 0 5 1; 0 5 0 0 0; -1 5 0 0 0; 1 5 1 0 0")) {
        info.blockLimit = row.number(0);
        info.scanDone = 1;
        PLC_driver.passCount = 5;
        PLC_driver.readList = {var("2/7:0+1")};
        QList<VARDEF> definitions{definition(1, 7, row[1], 50)};
        if (row[1] == "-") {
            definitions.clear();
        }
        EXPECT_EQ(ReCreatReadVarList(&definitions), row.number(2)) << row.trace();
        EXPECT_EQ(PLC_driver.readList.size(), row.number(2));
        EXPECT_TRUE(PLC_driver.passCount == row.number(3) && info.scanDone == row.number(4));
    }
}

TEST_F(Driver, WhetherGroupCuts) {
    for (const Row &row : table(R"(10|10|1/7:50+9|1/7:50+9; -3|10|1/7:50+9|1/7:50+9; 9|0||1/7:50+9
             11|10|1/7:50+10 1/7:60+1|1/7:60+1; 30|10|1/7:50+10 1/7:60+10 1/7:70+10|1/7:70+10
             9|-1||1/7:50+9; 2147483647|1||1/7:50+9; 196609|3||1/7:50+9)")) {
        RW_VAR span = var("1/7:50+9");
        QList<RW_VAR> pieces;
        WhetherGroup(row.number(0), row.number(1), &span, &pieces);
        EXPECT_EQ(text(pieces), row.text(2)) << row.trace();
        EXPECT_EQ(text(span), row.text(3)) << row.trace();
    }
    RW_VAR span = var("1/7:50+9");
    QList<RW_VAR> pieces;
    WhetherGroup(3 * MaxPieces, 3, &span, &pieces);
    EXPECT_EQ(pieces.size(), MaxPieces);
}

TEST_F(Driver, AddListReadVarAppendsAnything) {
    RW_VAR any = var("0/99:-4+7=01");
    EXPECT_EQ(AddListReadVar(&any), 1);
    EXPECT_EQ(AddListReadVar(&any), 2);
    EXPECT_EQ(text(PLC_driver.readList), "0/99:-4+7=01 0/99:-4+7=01");
}

TEST_F(Driver, OneShotReadsAreParsedAndCut) {
    // useVarStation, defaultStation | blockLimit | record | address text | result | queue | record
    for (const Row &row : table(R"(
1 9|100|1/7:3+250|200|3|1/7:200+100 1/7:300+100 1/7:400+50|1/7:400+50; 1 9|0 |1/7:3+1|5|0||1/7:3+1
1 9|100|1/7:3+100|200|1|1/7:200+100|1/7:200+100;                       1 9|-1|1/7:3+1|5|0||1/7:3+1
1 9|100|1/7:3+101|200|2|1/7:200+100 1/7:300+1|1/7:300+1;               1 9|9 |1/7:3+1|x|0||1/7:3+1
1 9|1|1/7:3+2|200|2|1/7:200+1 1/7:201+1|1/7:201+1; 0 5|100|1/1:3+1|3.4|1|5/7:1+1|5/7:1+1
1 9|100|1/14:3+1|2|1|1/8:8+4|1/8:8+4;              1 9|100|1/15:3+1|2|1|1/15:2+1|1/15:2+1
0 0|100|1/7:3+1|200|0||0/7:200+1;                  1 9|100|0/1:3+1|3.4|0||0/1:28+1
1 9|100|1/7:3+0|5|0||1/7:5+0; 1 9|100|1/7:3+-100|5|0||1/7:5+-100; 1 9|100|1/7:3+1|0|1|1/7:0+1|1/7:0+1)")) {
        SCOPED_TRACE(row.trace());
        reset();
        info.useVarStation = row[0].left(1).toInt();
        info.defaultStation = row[0].mid(2).toInt();
        info.blockLimit = row.number(1);
        RW_VAR record = var(row[2]);
        record.addressText = row[3];
        record.saveMode = record.spare = 8;
        EXPECT_EQ(AddListOnceReadVar(&record, 0), row.number(4));
        EXPECT_EQ(text(PLC_driver.onceReadList), row.text(5));
        EXPECT_EQ(text(record), row.text(6));
        EXPECT_EQ(record.saveMode, row[6] == row[2] ? 8 : 0); // untouched when it is refused
        EXPECT_EQ(record.spare, record.saveMode);
    }
}

TEST_F(Driver, AQueueKnowsItsDuplicates) {
    // a record that differs from "1/7:10+1@1/2", and the queues' lengths after it
    for (const Row &row :
         table(R"(1/7:10+1@1/2 1 2; 1/7:10+1@3/2 2 2; 1/7:10+1@1/3 2 2; 2/7:10+1@1/2 2 3
             1/8:10+1@1/2 2 3; 1/7:11+1@1/2 2 3; 1/7:10+2@1/2 2 3)")) {
        SCOPED_TRACE(row.trace());
        reset();
        RW_VAR other = var(row[0]);
        other.value = "new";
        other.hostText = "host";
        for (int i = 0; i < 2; ++i) {
            RW_VAR record = var("1/7:10+1@1/2");
            EXPECT_EQ(AddListWriteVar(&record, 0), i + 1); // the one in flight is not replaced
            EXPECT_EQ(AddListOnceReadVar(&record, 0), 1);
        }
        EXPECT_EQ(AddListWriteVar(&other, 0), row.number(2));
        EXPECT_EQ(PLC_driver.writeList.first().value, "");
        const RW_VAR &last = PLC_driver.writeList.last();
        EXPECT_TRUE(last.value == "new" && last.hostText == "host");
        EXPECT_TRUE(last.ownerId == other.ownerId && last.itemId == other.itemId);
        EXPECT_EQ(AddListOnceReadVar(&other, 0), row.number(1));
    }
    PLC_driver.writeList = vars("1/7:1+1=11 1/7:2+1=11 1/7:3+1=11 1/7:2+1=11");
    const QList<RW_VAR> snapshot = PLC_driver.writeList;
    RW_VAR record = var("1/7:2+1=22");
    EXPECT_EQ(AddListWriteVar(&record, 0), 4);
    EXPECT_EQ(text(PLC_driver.writeList), "1/7:1+1=11 1/7:2+1=22 1/7:3+1=11 1/7:2+1=11");
    EXPECT_EQ(text(snapshot), "1/7:1+1=11 1/7:2+1=11 1/7:3+1=11 1/7:2+1=11");
}

TEST_F(Driver, QueuesHold1024) {
    const RW_VAR *head = nullptr;
    for (int i = 0; i < 1026; ++i) {
        RW_VAR record = var(QString("1/7:%1+1=11").arg(i));
        EXPECT_EQ(AddListWriteVar(&record, 0), std::min(i + 1, 1024));
        EXPECT_EQ(AddListOnceReadVar(&record, 0), std::min(i + 1, 1024));
        head = i == 0 ? &PLC_driver.writeList.at(0) : head;
    }
    EXPECT_EQ(text(PLC_driver.writeList.last()), "1/7:1023+1=11");
    EXPECT_EQ(text(PLC_driver.onceReadList.last()), "1/7:1023+1=11");
    RW_VAR again = var("1/7:1023+1=22");
    EXPECT_EQ(AddListWriteVar(&again, 0), 1024);
    EXPECT_EQ(text(PLC_driver.writeList.last()), "1/7:1023+1=22");
    EXPECT_EQ(write(7, "1023", 1, bytes("33 00 44"), 2), 1024); // 1023+2 is another record
    info.blockLimit = 1;
    EXPECT_EQ(write(7, "1022", 1, bytes("55 55 66 66 77 77"), 3), 1024);
    EXPECT_EQ(text(PLC_driver.writeList.mid(1022)), "1/7:1022+1=5555 1/7:1023+1=6666");
    EXPECT_EQ(AddListWriteVar(&again, 1), 1025);
    EXPECT_EQ(AddListOnceReadVar(&again, 1), 1025);
    EXPECT_EQ(text(PLC_driver.onceReadList.last()), "1/7:1023+1=22");
    EXPECT_EQ(&PLC_driver.writeList.at(0), head); // stays where it is while the queue grows
}

TEST_F(Driver, HugeCountsEndAtTheQueuesBound) {
    info.blockLimit = 1;
    RW_VAR read = var("1/7:0+2147483647");
    EXPECT_EQ(AddListOnceReadVar(&read, 0), 1024);
    EXPECT_EQ(text(PLC_driver.onceReadList.last()), "1/7:1023+1");
    EXPECT_EQ(text(read), "1/7:2147483646+1");
    PLC_driver.commFailed = true; // what the full queue drops is seen all the same
    EXPECT_EQ(write(1, "0.0", 1, QByteArray(800000, '\1'), 800000), 1024);
    EXPECT_EQ(text(PLC_driver.writeList.last()), "1/1:1023+1=01");
    EXPECT_EQ(DataStorage[1][7], QByteArray(100000, '\xFF'));
    PLC_driver.writeList.clear();
    info.blockLimit = INT_MAX;
    EXPECT_EQ(write(7, "0", 1, bytes("12"), 8388608), 1); // 16 MiB, and no more
    EXPECT_EQ(write(7, "0", 1, bytes("12"), 8388609), 0);
}

TEST_F(Driver, HostWritesAreCutIntoRecords) {
    // type | address | count | blockLimit | data | result | queue
    for (const Row &row : table(R"(
7 |10 |5|2 |00010203040506070809|3|4/7:10+2=00010203 4/7:12+2=04050607 4/7:14+1=0809
8 |10 |4|2 |00010203040506070809|2|4/8:10+2=00010203 4/8:12+2=04050607
7 |0  |2|2 |00010203040506070809|1|4/7:0+2=00010203;          7|10 |3|9|1122|1|4/7:10+3=112200000000
7 |10 |3|2 |00010203040506070809|2|4/7:10+2=00010203 4/7:12+1=0405
1 |2.6|3|1 |000500              |3|4/1:22+1=00 4/1:23+1=01 4/1:24+1=00
2 |2.6|3|9 |80                  |3|4/2:22+1=01 4/2:23+1=00 4/2:24+1=00
4 |7  |2|1 |11223344            |2|4/4:7+1=11 4/4:8+1=33
5 |7  |3|0 |112233              |3|4/5:7+1=11 4/5:8+1=33 4/5:9+1=00
10|3  |3|10|00010203040506070809|1|4/10:3+2=0001020304050607; 1|0.0|1|-1|FF|1|4/1:0+1=01
11|3  |6|2 |00010203040506070809|2|4/11:3+2=0001020304050607 4/11:5+1=08090000
10|3  |3|1 |00010203040506070809|2|4/10:3+1=00010203 4/10:4+1=04050607
14|3  |5|1 |00010203040506070809|2|4/14:3+1=0001020304050607 4/14:4+1=0809000000000000
13|3  |1|10|00010203040506070809|1|4/13:3+1=0001020304050607
13|3  |4|1 |00010203040506070809|1|4/13:3+1=0001020304050607
0|0.0|1|9|00; 3|0|1|9|00; 6|0|1|9|00; 9|0|2|9|00; 12|0|4|9|00; 15|0|1|9|00; -1|0|1|9|00; 7|x|1|9|00
7|0|0|9|00; 1|0.0|-1|9|00; 4|0|-1|9|00; 10|0|-1|9|00; 7|0|1|0|00; 10|0|2|-1|00; 13|0|4|0|00
1|0.0|16777217|9|00; 4|0|8388609|9|00; 10|0|8388609|2147483647|00; 13|0|2147483647|2147483647|00)")) {
        SCOPED_TRACE(row.trace());
        reset();
        info.blockLimit = row.number(3);
        const QByteArray data = bytes(row[4]);
        EXPECT_EQ(write(row.number(0), row[1], 4, data, row.number(2)), row.number(5));
        EXPECT_EQ(text(PLC_driver.writeList), row.text(6));
        EXPECT_EQ(data, bytes(row[4]));
        EXPECT_TRUE(DataStorage.isEmpty());
    }
}

TEST_F(Driver, AHostWriteRecord) {
    info.remoteMode = 6;
    write(7, "3", 4, bytes("11 22"), 1, 7, 8);
    info.useVarStation = 0;
    write(7, "3", 4, bytes("11 22"), 1);
    write(7, "3", 5, bytes("33 44"), 1); // the same default station: replaced
    info.defaultStation = 0;             // to all stations
    EXPECT_EQ(write(7, "3", 5, bytes("33 44"), 1), 3);
    EXPECT_EQ(text(PLC_driver.writeList), "4/7:3+1=1122 9/7:3+1=3344 0/7:3+1=3344");
    const RW_VAR &record = PLC_driver.writeList.first();
    EXPECT_TRUE(record.ownerId == 7 && record.itemId == 8 && record.isWrite == 1);
    EXPECT_TRUE(record.remoteMode == 6 && record.portId == 1 && record.result == 0);
    EXPECT_TRUE(record.saveMode == 0 && record.spare == 0);
    EXPECT_TRUE(record.hostText == "host" && record.addressText == "3");
}

TEST_F(Driver, HostWritesReachTheImageWhenNothingElseWill) {
    // commMode | commFailed | type | count | data | area 7 afterwards
    for (const Row &row : table(R"(2|0|7|2|11 22 33 44|; 2|1|7|2|11 22 33 44|11 22 33 44
             2|1|4|2|11 22 33 44|11 33; 2|1|1|9|01 01 00 01 00 00 00 00 01|0B 01
             2|1|13|1|11|11 00 00 00 00 00 00 00; 1|0|7|2|11 22 33 44 55|11 22 33 44
             1|0|4|2|11 22 33 44|11 22; 1|0|10|2|11 22 33 44|11 22 33 44; 3|0|1|2|01 80|03
             0|1|13|5|11|11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00)")) {
        SCOPED_TRACE(row.trace());
        reset();
        const bool toPlc = row.number(0) == 2;
        info.commMode = row.number(0);
        info.blockLimit = 1;
        PLC_driver.commFailed = row.number(1) == 1;
        const char *address = row.number(2) == 1 ? "0.0" : "0";
        const int result = write(row.number(2), address, 4, bytes(row[4]), row.number(3));
        EXPECT_EQ(result, toPlc ? PLC_driver.writeList.size() : 1);
        EXPECT_EQ(PLC_driver.writeList.isEmpty(), !toPlc);
        EXPECT_EQ(image(4, 7), row.text(5));
    }
    info.commMode = 1;
    EXPECT_EQ(write(6, "x", 4, bytes("11 22"), 1), 0);
    EXPECT_EQ(image(4, 6), "");
    EXPECT_EQ(write(6, "0", 4, bytes("11 22"), 1), 1);
    EXPECT_EQ(image(4, 6), "00 00"); // room, nothing more
}

} // namespace
