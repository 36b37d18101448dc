// Values as they change: how far each can be trusted, and who is told what.
#include "panel/feed/expectations.h"
#include "panel/feed/feed.h"
#include "panel/health/freshness.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace {

constexpr int Words = 7; // register types: holding words, the same from register 5000, inputs
constexpr int HighWords = 8;
constexpr int InputWords = 6;

Variable variableOf(std::size_t line, int station, int address, int count = 1,
                    int regType = Words) {
    Variable variable;
    variable.line = line;
    variable.station = station;
    variable.regType = regType;
    variable.address = address;
    variable.addressText = QString::number(address);
    variable.count = count;
    return variable;
}

PanelFile panelOf(std::vector<Variable> variables, std::size_t lines = 1) {
    PanelFile panel;
    panel.lines.resize(lines);
    panel.variables = std::move(variables);
    return panel;
}

Exchange readOf(int station, int firstRegister, int registers, Outcome outcome = Outcome::Good) {
    Exchange exchange;
    exchange.station = station;
    exchange.function = 3;
    exchange.firstRegister = firstRegister;
    exchange.registers = registers;
    exchange.outcome = outcome;
    exchange.gaveUp = outcome != Outcome::Good;
    return exchange;
}

// Variables of two lines, all read: what an exchange then makes of them.
class AfterAGoodRead : public testing::Test {
protected:
    AfterAGoodRead() {
        panel.variables[4].once = true;
        for (std::size_t line = 0; line < 2; ++line) {
            for (const int station : {1, 2})
                observe(readOf(station, 0, 100), line);
        }
    }

    void observe(Exchange exchange, std::size_t line = 0) {
        exchange.line = line;
        freshness.observe(exchange);
    }

    std::vector<std::size_t> old() const {
        std::vector<std::size_t> indices;
        for (std::size_t i = 0; i < panel.variables.size(); ++i) {
            if (freshness.quality(i) == Quality::Old)
                indices.push_back(i);
        }
        return indices;
    }

    PanelFile panel = panelOf({variableOf(0, 1, 10), variableOf(0, 1, 20, 2), variableOf(0, 2, 10),
                               variableOf(1, 1, 10), variableOf(0, 1, 30)},
                              2);
    Freshness freshness{panel};
};

using Indices = std::vector<std::size_t>;

TEST_F(AfterAGoodRead, AFailureReachesAsFarAsItsKindSays) {
    const struct {
        Outcome outcome;
        Indices old; // of a read of register 21 of station 1 on the first line
    } cases[] = {
        {Outcome::Good, {}},        {Outcome::Refused, {1}},          {Outcome::BadCrc, {1}},
        {Outcome::WrongReply, {1}}, {Outcome::NoReply, {0, 1}}, // what is read once stays
        {Outcome::Foreign, {0, 1}}, {Outcome::DeviceGone, {0, 1, 2}},
    };
    for (const auto &c : cases) {
        observe(readOf(1, 21, 1, c.outcome));
        EXPECT_EQ(old(), c.old) << static_cast<int>(c.outcome);
        observe(readOf(1, 0, 100));
        observe(readOf(2, 0, 100));
        EXPECT_EQ(old(), Indices{}) << static_cast<int>(c.outcome);
    }
}

TEST_F(AfterAGoodRead, OnlyWhatEndsAReadMakesAValueOld) {
    Exchange toBeRepeated = readOf(1, 10, 1, Outcome::NoReply);
    toBeRepeated.gaveUp = false;
    Exchange halfOfAWrite = readOf(1, 10, 1, Outcome::Refused);
    halfOfAWrite.purpose = Purpose::Write;
    Exchange otherArea = readOf(1, 10, 1, Outcome::Refused);
    otherArea.function = 4;
    for (const Exchange &exchange : {toBeRepeated, halfOfAWrite, otherArea}) {
        observe(exchange);
        EXPECT_EQ(old(), Indices{});
    }
    Exchange write = readOf(1, 10, 1, Outcome::NoReply);
    write.purpose = Purpose::Write;
    write.function = 16;
    observe(write); // the station is left alone from now on
    EXPECT_EQ(old(), (Indices{0, 1}));
}

TEST_F(AfterAGoodRead, NothingStaysGoodOfAStationThatIsLeftAlone) {
    Exchange last = readOf(1, 21, 1, Outcome::BadCrc);
    last.stationRests = true;
    observe(last);
    EXPECT_EQ(old(), (Indices{0, 1}));
}

TEST(Freshness, AValueHasComeWhenAllItsRegistersHave) {
    const PanelFile panel = panelOf({variableOf(0, 1, 10, 4)});
    Freshness freshness(panel);
    const auto read = [&](int first, int count, Outcome outcome = Outcome::Good) {
        freshness.observe(readOf(1, first, count, outcome));
        return freshness.quality(0);
    };
    EXPECT_EQ(read(14, 5), Quality::Never);
    EXPECT_EQ(read(10, 2), Quality::Never);
    EXPECT_EQ(read(12, 2), Quality::Good);
    EXPECT_TRUE(freshness.waitForChanges().at(0).isBrought);
    EXPECT_EQ(read(10, 2), Quality::Good);
    EXPECT_EQ(read(12, 2, Outcome::NoReply), Quality::Old);
    EXPECT_EQ(read(12, 2), Quality::Old); // the other half is from before
    EXPECT_EQ(read(10, 2), Quality::Good);
    // Half of the next value is none yet.
    EXPECT_EQ(freshness.waitForChanges().size(), 1U);
    read(10, 2);
    freshness.close();
    EXPECT_TRUE(freshness.waitForChanges().empty());
}

TEST(Freshness, AreasAreToldApart) {
    const PanelFile panel = panelOf({variableOf(0, 1, 5007), variableOf(0, 1, 7, 1, HighWords),
                                     variableOf(0, 1, 7, 1, InputWords), variableOf(0, 1, 7)});
    const auto read = [&](int function, int area, int wireRegister) {
        Freshness freshness(panel);
        Exchange exchange = readOf(1, wireRegister, 1);
        exchange.function = function;
        exchange.area = area;
        freshness.observe(exchange);
        Indices indices;
        for (std::size_t i = 0; i < panel.variables.size(); ++i) {
            if (freshness.wasRead(i))
                indices.push_back(i);
        }
        return indices;
    };
    EXPECT_EQ(read(3, 7, 5007), Indices{0});
    EXPECT_EQ(read(3, 8, 5007), Indices{1});
    EXPECT_EQ(read(4, 6, 7), Indices{2});
    EXPECT_EQ(read(3, 0, 7), Indices{3});
    EXPECT_EQ(read(4, 0, 7), Indices{2});
}

// What each line's driver holds: one byte of station 1.
std::atomic<char> image[2];

template <std::size_t Line>
int readImage(QString *, int, QString, int, QByteArray *answer, int count) {
    *answer = QByteArray(2 * count, '\0');
    (*answer)[0] = image[Line];
    return 1;
}

class FeedOfTwoLines : public testing::Test {
protected:
    FeedOfTwoLines() {
        drivers[0].GetRegisterData = readImage<0>;
        drivers[1].GetRegisterData = readImage<1>;
        panel.variables[0].expected = QByteArray("\5\0", 2);
        feed.addListener([this](const ValueChange &change) { told.push_back(change); });
        feed.addListener([this](const ValueChange &change) { expectations.observe(change); });
        image[0] = 0;
        image[1] = 0;
    }

    void read(std::size_t line, char value) {
        image[line] = value;
        Exchange exchange = readOf(1, 0, 10);
        exchange.line = line;
        freshness.observe(exchange);
    }

    // Until the feed says so.
    void waitUntilTold(int variable, const QString &text, Quality quality) {
        const auto stands = [&] {
            const ValueChange now = feed.snapshot().at(static_cast<std::size_t>(variable));
            return now.text == text && now.quality == quality;
        };
        while (!stands())
            std::this_thread::yield();
    }

    Driver drivers[2];
    PanelFile panel = panelOf({variableOf(0, 1, 0), variableOf(1, 1, 0)}, 2);
    Freshness freshness{panel};
    Expectations expectations{panel};
    std::vector<ValueChange> told; // by the feed's thread, until it is stopped
    Feed feed{panel, {&drivers[0], &drivers[1]}, freshness};
};

TEST_F(FeedOfTwoLines, TellsEachChangeOnce) {
    feed.start();
    read(0, 5);
    waitUntilTold(0, "5", Quality::Good);
    read(0, 5); // nothing new
    read(1, 7);
    waitUntilTold(1, "7", Quality::Good);
    freshness.observe(readOf(1, 0, 1, Outcome::NoReply));
    freshness.observe(readOf(1, 0, 1, Outcome::NoReply)); // still the same
    waitUntilTold(0, "5", Quality::Old);
    read(0, 5);
    feed.stop();
    ASSERT_EQ(told.size(), 4U);
    EXPECT_EQ(told[0].data, QByteArray("\5\0", 2));
    EXPECT_EQ(told[1].variable, 1U);
    EXPECT_EQ(told[2].quality, Quality::Old);
    EXPECT_EQ(told[2].data, told[0].data);
    EXPECT_EQ(told[3].quality, Quality::Good); // the last state comes before stop() returns
    EXPECT_LE(told[2].at, told[3].at);
    EXPECT_TRUE(expectations.hasShownExpected(0));
    EXPECT_FALSE(expectations.hasShownExpected(1));
    EXPECT_FALSE(expectations.hasMoved(0));
}

TEST_F(FeedOfTwoLines, TellsAValueThatCameAndGrewOldBetweenTwoLooks) {
    read(0, 1);
    freshness.observe(readOf(1, 0, 1, Outcome::DeviceGone));
    feed.start();
    waitUntilTold(0, "1", Quality::Old);
    read(0, 2);
    waitUntilTold(0, "2", Quality::Good);
    image[0] = 9; // a write that does not get there
    freshness.observe(readOf(1, 0, 1, Outcome::Refused));
    feed.stop();
    ASSERT_EQ(told.size(), 4U);
    EXPECT_EQ(told[0].quality, Quality::Good);
    EXPECT_EQ(told[1].quality, Quality::Old);
    EXPECT_EQ(told[3].quality, Quality::Old);
    EXPECT_EQ(told[3].text, "2");
    EXPECT_TRUE(expectations.hasMoved(0));
    EXPECT_EQ(feed.snapshot().at(1).quality, Quality::Never);
}

TEST_F(FeedOfTwoLines, TellsOnceThatAValueWasAskedForInVain) {
    panel.variables[1].once = true;
    freshness.observe(readOf(1, 0, 1, Outcome::Refused));
    freshness.observe(readOf(1, 0, 1, Outcome::NoReply));
    Exchange gone = readOf(1, 0, 1, Outcome::DeviceGone);
    gone.line = 1;
    freshness.observe(gone);
    feed.start();
    while (feed.snapshot().at(1).at == std::chrono::system_clock::time_point())
        std::this_thread::yield();
    freshness.observe(readOf(1, 0, 1, Outcome::NoReply));
    read(0, 5);
    feed.stop();
    ASSERT_EQ(told.size(), 3U);
    EXPECT_EQ(told[0].quality, Quality::Never);
    EXPECT_EQ(told[1].quality, Quality::Never) << "what is read once, too";
    EXPECT_EQ(told[2].quality, Quality::Good);
    EXPECT_FALSE(expectations.hasMoved(0)) << "the first value is the first";
}

} // namespace
