// Addresses, spans, the cyclic list against an oracle, the two queues, and the host's writes.
#include "driver_fixture.h"

#include "lists/address.h"
#include "lists/cyclic_list.h"

#include <algorithm>
#include <climits>
#include <random>

namespace {

// Spans "start+count" as one group; the n-th carries n as its itemId.
QList<RW_VAR> group(const QStringList &spans) {
    QList<RW_VAR> made;
    for (const QString &span : spans) {
        made << var(QString("1/7:%1@0/%2").arg(span).arg(made.size()));
    }
    return made;
}

// "start+count/itemId" of each entry: the item tells of which span an entry is a copy.
QString spansOf(const QList<RW_VAR> &list) {
    QStringList spans;
    for (const RW_VAR &entry : list) {
        spans << QString("%1+%2/%3").arg(entry.address).arg(entry.count).arg(entry.itemId);
    }
    return spans.size() > 99 ? QString("%1 spans").arg(spans.size()) : spans.join(' ');
}

class Lists : public Driver {
protected:
    Lists() {
        on("define", [this](const Words &w) {
            definitions << definition(w.number(1), w.number(2), w[3], w.number(4));
        });
        on("rebuild", [this](const Words &) { return ReCreatReadVarList(&definitions); });
        on("forget", [this](const Words &) { definitions.clear(); });
        on("read", [](const Words &w) { return queued(AddListOnceReadVar, w, 0); });
        on("read1", [](const Words &w) { return queued(AddListOnceReadVar, w, 1); });
        on("put", [](const Words &w) { return queued(AddListWriteVar, w, 0); });
        on("put1", [](const Words &w) { return queued(AddListWriteVar, w, 1); });
        on("write", [](const Words &w) { // type, address, count, data: to station 4
            return write(w.number(1), w[2], 4, w.data(4), w.number(3));
        });
    }

    // Queues a variable, with an address text if one follows; the length, and what it is then.
    static QString queued(int (*queue)(RW_VAR *, int), const Words &w, int mode) {
        RW_VAR record = var(w[1]);
        record.addressText = w.value(2, record.addressText);
        record.saveMode = record.spare = 8;
        const int length = queue(&record, mode);
        EXPECT_EQ(record.saveMode, record.spare);
        return QString("%1 %2 %3").arg(length).arg(text(record)).arg(record.saveMode);
    }

    QList<VARDEF> definitions;
};

TEST_F(Lists, AddressTexts) {
    on("address", [](const Words &w) {
        QString text = w.value(2);
        const int address = StringAddressToInt(w.number(1), text);
        EXPECT_EQ(PLCAddressChangeIntef(w.number(1), text), address);
        return address;
    });
    run("",
        R"(address 0 12.3 => 99 | address 1 10.3 => 83 | address 2 10.9 => 89 | address 0 12 => -1
        address 0 1.2.3 => -1 | address 0 => -1 | address 0 . => 0 | address 0 x.5 => 5
        address 1 3.x => 24 | address 6 100 => 100 | address 6 abc => -1 | address 6 => -1
        address 6 -3 => -3 | address 6 0x10 => -1 | address 3 12.3 => -1 | address 15 12 => 12
        address -1 12 => 12 | address -1 1.2 => -1 | address 14 7 => 7 | address 7 2147483648 => -1
        address 1 -1.3 => -5 | address 0 268435455.7 => 2147483647 | address 0 268435456.0 => -2147483648)");
}

TEST_F(Lists, HostFormToSpanForm) {
    on("span", [](const Words &w) {
        RW_VAR changed = var(w[1]);
        EXPECT_EQ(updateRwVar(&changed), 0);
        return text(changed);
    });
    run("", R"(span 1/1:83+1 => 1/7:5+1 | span 1/0:15+2 => 1/6:0+2 | span 1/2:5+0 => 1/8:0+1
        span 1/1:15+1 => 1/7:0+1 | span 1/1:16+17 => 1/7:1+2 | span 1/1:0+16 => 1/7:0+1
        span 1/1:-5+1 => 1/7:0+0 | span 1/4:3+2 => 1/7:1+2 | span 1/3:4+1 => 1/6:2+1
        span 1/5:4+2 => 1/8:2+1 | span 1/4:3+1 => 1/7:1+1 | span 1/7:9+3 => 1/7:9+3
        span 1/10:5+3 => 1/7:10+4 | span 1/9:5+2 => 1/6:10+2 | span 1/11:5+1 => 1/8:10+2
        span 1/13:2+1 => 1/7:8+4 | span 1/14:2+5 => 1/8:8+8 | span 1/12:2+0 => 1/6:8+0
        span 1/13:2+4 => 1/7:8+4 | span 1/15:9+3 => 1/15:9+3 | span 1/-1:9+3 => 1/-1:9+3
        span 1/8:-9+0 => 1/8:-9+0)");
}

TEST_F(Lists, OneGroupIsSortedAndMerged) {
    on("sort", [](const Words &w) {
        QList<RW_VAR> list = group(w.mid(1));
        const QList<RW_VAR> before = list;
        Bubble_Sort(&list);
        EXPECT_EQ(spansOf(before), spansOf(group(w.mid(1))));
        return spansOf(list);
    });
    run("", R"(sort 9+0 5+0 -3+0 9+1 5+1 0+0 => -3+0/2 0+0/5 5+0/1 5+1/4 9+0/0 9+1/3
               sort 7+1 => 7+1/0 | sort =>)");
    on("merge", [](const Words &w) {            // block limit, spans
        PLC_driver.readList = {var("1/7:0+3")}; // another group's last request
        QList<RW_VAR> spans = group(w.mid(2));
        BitVarReCreat(&spans, w.number(1));
        EXPECT_EQ(text(PLC_driver.readList.takeFirst()), "1/7:0+3");
        return spansOf(PLC_driver.readList);
    });
    run("", R"(merge 100 0+2 10+2 50+1 => 0+51/0 | merge 100 0+2 99+5 => 0+100/0 100+4/0
        merge 100 0+2 99+1 => 0+100/0 | merge 100 0+2 100+2 => 0+2/0 100+2/1
        merge 10 3+25 => 3+10/0 13+10/0 23+5/0 | merge 10 3+20 => 3+10/0 13+10/0
        merge 10 3+25 24+12 33+1 => 3+10/0 13+10/0 23+10/0 33+3/0 | merge 100 0+10 2+3 => 0+10/0
        merge 100 0+10 2+8 3+8 => 0+11/0 | merge 100 0+0 2+3 => 2+3/1 | merge 100 0+2 5+-9 6+1 => 0+7/0
        merge 2 0+1 1+3 4+1 => 0+2/0 2+2/0 4+1/2 | merge 1 5+2 5+4 5+3 9+50 => 5+4/0 9+50/3
        merge 1 0+1 0+1 => 0+1/0 | merge 1 5+0 7+-1 7+-1 => 5+0/0 7+-1/1 | merge 0 5+2 => | merge -1 5+2 =>
        merge 2147483647 0+2 2147483000+5 => 0+2147483005/0 | merge 2 0+1 1+2147483647 => 0+1/0
        merge 2 0+2147483647 7+1 => 7+1/1 | merge 2 0+131072 => 65536 spans | merge 2 0+131073 =>
        merge 10 2147483640+25 => 2147483640+10/0 -2147483646+10/0 -2147483636+5/0)");
}

TEST_F(Lists, WhetherGroupCuts) {
    on("cut", [](const Words &w) { // count, limit: the pieces of 1/7:50+9, and what it is then
        RW_VAR span = var("1/7:50+9");
        QList<RW_VAR> pieces;
        WhetherGroup(w.number(1), w.number(2), &span, &pieces);
        return spansOf(pieces) + " " + text(span);
    });
    run("", R"(cut 10 10 => 50+9/0 1/7:50+9 | cut -3 10 => 50+9/0 1/7:50+9 | cut 9 0 => 1/7:50+9
        cut 11 10 => 50+10/0 60+1/0 1/7:60+1 | cut 30 10 => 50+10/0 60+10/0 70+10/0 1/7:70+10
        cut 9 -1 => 1/7:50+9 | cut 2147483647 1 => 1/7:50+9 | cut 196609 3 => 1/7:50+9
        cut 196608 3 => 65536 spans 1/7:196655+3)");
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

TEST_F(Lists, TheCyclicListMatchesTheOracle) {
    std::mt19937 random(20240607); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same groups each time
    const auto upTo = [&random](int most) {
        return static_cast<int>(random() % 1000003) % (most + 1);
    };
    const int elementBits[] = {1, 8, 16, 32, 64};
    const int unitBits[] = {1, 8, 16, 16, 16}; // the host's count
    const int limits[] = {2, 3, 7, 20, 100};
    for (int round = 0; round < 1000; ++round) {
        Oracle oracle{limits[upTo(4)], {}, {}};
        const int reach = 10 << upTo(5);
        definitions.clear();
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
            requests << text(entry) + entry.addressText;
        }
        ASSERT_EQ(requests.join(' '), oracle.requests.join(' '));
    }
}

TEST_F(Lists, TheCyclicListIsOrderedAndFiltered) {
    run("C", R"(define 3 8 5 1; define 1 8 7 2; define 1 6 9 1; define 3 6 5 1; define 200 1 0.0 1;
        &define 200 1 0.9 1; define 1 7 x 1; define 1 1 5 1; define 0 7 5 1; define 1 7 -5 1
        &define 1 15 4 2; define 1 15 5 2; define 1 7 400 0; define 1 7 300 -1; define 1 6 0 1
        &set remoteMode 3; rebuild => 6 C=1/6:0+10 1/8:7+2 1/15:4+3 3/6:5+1 3/8:5+1 200/7:0+1)");
    const RW_VAR &first = PLC_driver.readList.first();
    EXPECT_EQ(fieldsOf(first), "0-10310"
                               "0!"
                               "0"
                               "60"
                               "1"
                               "10"
                               "00");
    run("C", R"(&set useVarStation 0; rebuild => 4 C=9/6:0+10 9/7:0+6 9/8:5+4 9/15:4+3
        &set defaultStation 0; rebuild => 0 C=)");
}

TEST_F(Lists, ARebuildRestartsThePass) {
    run("C pass",
        R"(C 2/7:0+1; set passCount 5; set scanDone 1; define 1 7 0 50; rebuild => 1 C=1/7:0+50 pass=0/0
        &set passCount 5; set scanDone 1; set blockLimit 1; rebuild => 1 pass=0/0
        &set passCount 5; set scanDone 1; set blockLimit 0; rebuild => 0 C= pass=0/0
        &C 2/7:0+1; set passCount 5; set scanDone 1; set blockLimit -1; rebuild => 0 C= pass=0/0
        &C 2/7:0+1; set passCount 5; set scanDone 1; forget; rebuild => 0 C=
        &define 1 7 x 1; set blockLimit 9; rebuild => 0 pass=0/0)");
    RW_VAR any = var("0/99:-4+7=01");
    EXPECT_EQ(AddListReadVar(&any), 1);
    EXPECT_EQ(AddListReadVar(&any), 2);
    EXPECT_EQ(text(PLC_driver.readList), "0/99:-4+7=01 0/99:-4+7=01");
}

TEST_F(Lists, OneShotReadsAreParsedAndCut) {
    run("O", R"(read 1/7:3+250 200 => 3 1/7:400+50 0 O=1/7:200+100 1/7:300+100 1/7:400+50
        read 1/7:3+100 200 => 1 1/7:200+100 0 O=1/7:200+100 | read 1/7:3+1 0 => 1 1/7:0+1 0 O=1/7:0+1
        read 1/7:3+101 200 => 2 1/7:300+1 0 O=1/7:200+100 1/7:300+1
        set blockLimit 1; read 1/7:3+2 200 => 2 1/7:201+1 0 O=1/7:200+1 1/7:201+1
        set useVarStation 0; set defaultStation 5; read 1/1:3+1 3.4 => 1 5/7:1+1 0 O=5/7:1+1
        read 1/14:3+1 2 => 1 1/8:8+4 0 O=1/8:8+4 | read 1/15:3+1 2 => 1 1/15:2+1 0 O=1/15:2+1
        set useVarStation 0; set defaultStation 0; read 1/7:3+1 200 => 0 0/7:200+1 0
        read 0/1:3+1 3.4 => 0 0/1:28+1 0 | read 1/7:3+1 x => 0 1/7:3+1 8
        set blockLimit 0; read 1/7:3+1 5 => 0 1/7:3+1 8 | set blockLimit -1; read 1/7:3+1 5 => 0 1/7:3+1 8
        O 5/7:5+5; read 1/7:3+0 5 => 1 1/7:5+0 0 | O 5/7:5+5; read 1/7:3+-100 5 => 1 1/7:5+-100 0
        read1 0/1:3+-1 x => 1 0/1:3+-1 8 O=0/1:3+-1)");
}

TEST_F(Lists, QueuesKnowTheirDuplicates) {
    run("O W", R"(read 1/7:5+1@1/2 => 1 1/7:5+1 0 O=1/7:5+1 | &read 1/7:5+1@1/2 => 1 1/7:5+1 0
        &read 1/7:5+1@3/2 => 2 1/7:5+1 0 O=1/7:5+1 1/7:5+1 | &read 1/7:5+1@1/3 => 3 1/7:5+1 0 O=1/7:5+1 1/7:5+1 1/7:5+1
        &O 1/7:5+1@1/2; read 2/7:5+1@1/2 => 2 2/7:5+1 0 O=1/7:5+1 2/7:5+1
        &read 1/8:5+1@1/2 => 3 1/8:5+1 0 O=1/7:5+1 2/7:5+1 1/8:5+1 | &O 1/7:5+1@1/2; read 1/7:6+1@1/2 => 2 1/7:6+1 0 O=1/7:5+1 1/7:6+1
        &read 1/7:5+2@1/2 => 3 1/7:5+2 0 O=1/7:5+1 1/7:6+1 1/7:5+2 | &read1 1/7:5+2@1/2 => 4 1/7:5+2 8 O=1/7:5+1 1/7:6+1 1/7:5+2 1/7:5+2
        put 1/7:5+1=11 => 1 1/7:5+1=11 8 W=1/7:5+1=11 | &put 1/7:5+1=22 => 2 1/7:5+1=22 8 W=1/7:5+1=11 1/7:5+1=22
        &put 1/7:5+1=33@1/2 => 2 1/7:5+1=33 8 W=1/7:5+1=11 1/7:5+1=33 | &put1 1/7:5+1=44 => 3 1/7:5+1=44 8 W=1/7:5+1=11 1/7:5+1=33 1/7:5+1=44
        &put 1/7:5+1=55 => 3 1/7:5+1=55 8 W=1/7:5+1=11 1/7:5+1=55 1/7:5+1=44
        W 1/7:5+1 1/7:5+1; put 2/7:5+1 => 3 2/7:5+1 8 W=1/7:5+1 1/7:5+1 2/7:5+1 | W 1/7:5+1 1/7:5+1; put 1/8:5+1 => 3 1/8:5+1 8 W=1/7:5+1 1/7:5+1 1/8:5+1
        W 1/7:5+1 1/7:5+1; put 1/7:6+1 => 3 1/7:6+1 8 W=1/7:5+1 1/7:5+1 1/7:6+1 | W 1/7:5+1 1/7:5+1; put 1/7:5+2 => 3 1/7:5+2 8 W=1/7:5+1 1/7:5+1 1/7:5+2)");
    PLC_driver.writeList = {Filled, Filled};
    const QList<RW_VAR> snapshot = PLC_driver.writeList;
    RW_VAR record = Filled;
    record.ownerId = record.itemId = record.isWrite = record.portId = 77;
    record.hostText = record.addressText = "new";
    EXPECT_EQ(AddListWriteVar(&record, 0), 2);
    EXPECT_EQ(fieldsOf(PLC_driver.writeList.last()), fieldsOf(record)); // every field
    EXPECT_EQ(fieldsOf(snapshot.last()), fieldsOf(Filled));
}

TEST_F(Lists, QueuesHold1024) {
    const RW_VAR *head = nullptr;
    for (int i = 0; i < 1026; ++i) {
        RW_VAR record = var(QString("4/7:%1+1=11").arg(i));
        EXPECT_EQ(AddListWriteVar(&record, 0), std::min(i + 1, 1024));
        EXPECT_EQ(AddListOnceReadVar(&record, 0), std::min(i + 1, 1024));
        head = i == 0 ? &PLC_driver.writeList.at(0) : head;
    }
    info.blockLimit = 1;
    EXPECT_EQ(write(7, "1022", 4, bytes("55 55 66 66 77 77"), 3), 1024); // two replace, one is lost
    EXPECT_EQ(text(PLC_driver.writeList.mid(1022)), "4/7:1022+1=5555 4/7:1023+1=6666");
    RW_VAR again = var("4/7:1023+1=22");
    EXPECT_EQ(AddListWriteVar(&again, 1), 1025);
    EXPECT_EQ(AddListOnceReadVar(&again, 1), 1025);
    EXPECT_EQ(text(PLC_driver.onceReadList.mid(1023)), "4/7:1023+1=11 4/7:1023+1=22");
    EXPECT_EQ(&PLC_driver.writeList.at(0), head); // stays where it is while the queue grows
}

TEST_F(Lists, HugeCountsEndAtTheQueuesBound) {
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

TEST_F(Lists, HostWritesAreCutIntoRecords) {
    run("W image", R"(
        set blockLimit 2; write 7 10 5 00010203040506070809 => 3 W=4/7:10+2=00010203 4/7:12+2=04050607 4/7:14+1=0809
        set blockLimit 2; write 8 10 4 00010203040506070809 => 2 W=4/8:10+2=00010203 4/8:12+2=04050607
        set blockLimit 2; write 7 0 3 00010203040506070809 => 2 W=4/7:0+2=00010203 4/7:2+1=0405
        write 7 10 3 1122 => 1 W=4/7:10+3=112200000000
        set blockLimit 0; write 1 2.6 3 000500 => 3 W=4/1:22+1=00 4/1:23+1=01 4/1:24+1=00
        write 2 2.6 3 80 => 3 W=4/2:22+1=01 4/2:23+1=00 4/2:24+1=00
        set blockLimit -1; write 4 7 2 11223344 => 2 W=4/4:7+1=11 4/4:8+1=33
        write 5 7 3 112233 => 3 W=4/5:7+1=11 4/5:8+1=33 4/5:9+1=00
        set blockLimit 10; write 10 3 3 00010203040506070809 => 1 W=4/10:3+2=0001020304050607
        set blockLimit 2; write 11 3 6 00010203040506070809 => 2 W=4/11:3+2=0001020304050607 4/11:5+1=08090000
        set blockLimit 1; write 14 3 5 00010203040506070809 => 2 W=4/14:3+1=0001020304050607 4/14:4+1=0809000000000000
        write 13 3 1 00010203040506070809 => 1 W=4/13:3+1=0001020304050607
        set blockLimit 1; write 13 3 4 00010203040506070809 => 1 W=4/13:3+1=0001020304050607
        set useVarStation 0; write 7 1 1 1122 => 1 W=9/7:1+1=1122 | set useVarStation 0; set defaultStation 0; write 7 1 1 1122 => 1 W=0/7:1+1=1122
        write 0 0.0 1 00 => 0 | write 3 0 1 00 => 0 | write 6 0 1 00 => 0 | write 9 0 2 00 => 0
        write 12 0 4 00 => 0 | write 15 0 1 00 => 0 | write -1 0 1 00 => 0 | write 7 x 1 00 => 0
        write 7 0 0 00 => 0 | write 1 0.0 -1 00 => 0 | write 4 0 -1 00 => 0 | write 10 0 -1 00 => 0
        set blockLimit 0; write 7 0 1 00 => 0 | set blockLimit -1; write 10 0 2 00 => 0
        set blockLimit 0; write 13 0 4 00 => 0 | write 1 0.0 16777217 00 => 0 | write 4 0 8388609 00 => 0
        write 10 0 8388609 00 => 0 | write 13 0 2147483647 00 => 0
        failed; set blockLimit 1; write 7 0 2 11223344 => 2 W=4/7:0+1=1122 4/7:1+1=3344 image=4/7:11 22 33 44
        failed; write 4 0 2 11223344 => 2 W=4/4:0+1=11 4/4:1+1=33 image=4/7:11 33
        failed; write 1 0.0 2 0105 => 2 W=4/1:0+1=01 4/1:1+1=01 image=4/7:03
        failed; write 13 0 1 11 => 1 W=4/13:0+1=1100000000000000 image=4/7:11 00 00 00 00 00 00 00
        set commMode 1; write 7 0 2 1122334455 => 1 image=4/7:11 22 33 44
        set commMode 1; write 4 0 2 11223344 => 1 image=4/7:11 22 | set commMode 0; write 10 0 2 11223344 => 1 image=4/7:11 22 33 44
        set commMode 3; failed; write 13 0 5 11 => 1 image=4/7:11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00
        set commMode 1; write 1 0.0 2 0180 => 1 image=4/7:03 | set commMode 1; write 6 0 1 1122 => 1 image=4/6:00 00
        set commMode 1; write 6 x 1 1122 => 0)");
    reset();
    info.remoteMode = 6;
    const QByteArray data = bytes("11 22 33");
    write(7, "3", 4, data, 1, 7, 8);
    EXPECT_EQ(fieldsOf(PLC_driver.writeList.last()), "781610host3734100\x11\x22");
    EXPECT_EQ(data, bytes("11 22 33"));
}

} // namespace
