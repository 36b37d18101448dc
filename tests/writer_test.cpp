// The road of a write: two lines with a driver copy each, PLC stations at their far ends.
#include "panel/file/values.h"
#include "panel/line/driver_copy.h"
#include "panel/line/writer.h"
#include "tests/stations.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>

namespace {

constexpr int PortId = 1;
constexpr int Words = 7;
constexpr int Bits = 1;
constexpr int Stubborn = 9; // a register that the PLC sets to 4 itself

// A line whose communication runs on a thread from start() on.
class TestLine {
public:
    TestLine() {
        EXPECT_EQ(loadDriverCopy(DRIVER_LIBRARY, &m_driver), "");
        m_port.blockLimit = 10;
        m_port.useVarStation = 1;
        m_port.portId = PortId;
        m_port.commMode = 2; // writes go to the PLC
        m_port.hostContext = &ledger;
        m_driver.SetComInfo(&m_port);
        m_driver.RegistCallBackFuncIntf(&RequestLedger::finished, nullptr);
    }
    ~TestLine() { end(); }

    void start() {
        m_thread = std::thread([this] {
            while (!m_isEnding)
                takeTurn();
        });
    }
    void end() {
        ledger.close();
        m_isEnding = true;
        if (m_thread.joinable())
            m_thread.join();
    }
    OneShot oneShot() { return {m_driver, PortId, ledger}; }

    RequestLedger ledger;
    Stations stations; // before start()

private:
    void takeTurn() {
        const Protocol *request = m_driver.ComCommunication();
        if (request == nullptr) {
            std::this_thread::yield();
            return;
        }
        stations.holding(1, Stubborn) = 4;
        QByteArray reply = stations.answer(request->frame.left(request->frameLength));
        stations.holding(1, Stubborn) = 4;
        m_driver.DataCom(&reply, reply.size());
    }

    Driver m_driver;
    ComInfo m_port{};
    std::atomic<bool> m_isEnding{false};
    std::thread m_thread;
};

class WriterOfTwoLines : public testing::Test {
protected:
    enum Index : std::size_t { Setting, Moving, Silent, Everywhere, Lamp, OtherLine, Input };

    WriterOfTwoLines() {
        panel.lines.resize(2);
        panel.variables = {variableOf(0, 1, Words, "5"),    variableOf(0, 1, Words, "9"),
                           variableOf(0, 2, Words, "5"),    variableOf(0, 0, Words, "5"),
                           variableOf(0, 1, Bits, "20.3"),  variableOf(1, 1, Words, "5"),
                           variableOf(0, 1, Words - 1, "5")};
        panel.variables[Lamp].display = Display::Bit;
        for (TestLine &line : lines) {
            line.stations.holding(1, 5) = 3;
            line.stations.holding(1, 10) = 1; // bytes 20 and 21
        }
        lines[0].stations.holding(2, 5) = 0;
        lines[0].stations.silent.insert(2);
        writer = std::make_unique<Writer>(
            panel, std::vector<OneShot>{lines[0].oneShot(), lines[1].oneShot()});
    }
    ~WriterOfTwoLines() override {
        for (TestLine &line : lines)
            line.end();
    }

    static Variable variableOf(std::size_t line, int station, int regType, const char *address) {
        Variable variable;
        variable.name = QString("station %1").arg(station);
        variable.line = line;
        variable.station = station;
        variable.regType = regType;
        variable.addressText = address;
        return variable;
    }

    std::future<WriteResult> order(Index variable, int value) {
        QByteArray data;
        EXPECT_EQ(encodeValue(panel.variables[variable], value, &data), "");
        const auto result = std::make_shared<std::promise<WriteResult>>();
        writer->write({variable, data, "test"},
                      [result](const WriteResult &end) { result->set_value(end); });
        return result->get_future();
    }
    QString textOf(Index variable, const QByteArray &data) const {
        return data.isEmpty() ? "-" : valueText(panel.variables[variable], data);
    }

    PanelFile panel;
    TestLine lines[2];
    std::unique_ptr<Writer> writer;
};

TEST_F(WriterOfTwoLines, SaysWhatEachWriteCameTo) {
    const struct {
        Index variable;
        int value;
        const char *before;
        const char *readBack;
        const char *error;
    } cases[] = {
        {Setting, 5, "3", "5", ""},
        {Lamp, 1, "0", "1", ""},
        {Moving, 5, "4", "4", "wrote 5, the PLC has 4"},
        {Silent, 5, "-", "-", "not acknowledged"},
        {Everywhere, 7, "-", "-", ""},
        {Input, 5, "-", "-", "cannot be written: it is in the input area"},
        {Setting, 8, "7", "8", ""}, // the broadcast got there
    };
    lines[0].start();
    for (const auto &c : cases) {
        const WriteResult result = order(c.variable, c.value).get();
        EXPECT_EQ(result.error, c.error) << c.variable;
        EXPECT_EQ(textOf(c.variable, result.before), c.before) << c.variable;
        EXPECT_EQ(textOf(c.variable, result.readBack), c.readBack) << c.variable;
        EXPECT_EQ(result.isKnown, c.variable != Everywhere) << c.variable;
    }
    lines[0].end();
    EXPECT_EQ(lines[0].stations.holding(1, 10), 0b1001); // the other bits stay
}

TEST_F(WriterOfTwoLines, ARestingStationIsNotAsked) {
    lines[0].start();
    lines[0].ledger.stationOff(2);
    EXPECT_EQ(order(Silent, 5).get().error,
              "not acknowledged: station 2 does not answer and is left alone for now");
    lines[0].ledger.stationOn(2);
    EXPECT_EQ(order(Silent, 5).get().error, "not acknowledged");
}

TEST_F(WriterOfTwoLines, OneLineThatStandsStillHoldsUpNoOther) {
    lines[1].start();
    // One is under way at most.
    std::vector<std::future<WriteResult>> orders;
    for (std::size_t i = 0; i < Writer::MostWaiting + 2; ++i)
        orders.push_back(order(Setting, 5));
    EXPECT_EQ(order(OtherLine, 5).get().error, "");
    lines[0].end();
    writer->stop();
    int tooMany = 0;
    for (std::future<WriteResult> &end : orders) {
        const QString error = end.get().error;
        EXPECT_NE(error, "");
        tooMany += error == "not made: 256 writes are waiting already" ? 1 : 0;
    }
    EXPECT_GE(tooMany, 1);
    EXPECT_LE(tooMany, 2);
    EXPECT_EQ(order(Setting, 5).get().error, "not made: the run ended first");
}

TEST_F(WriterOfTwoLines, ALogLineSaysWhoWroteWhat) {
    const QByteArray three("\3\0", 2);
    const QByteArray five("\5\0", 2);
    const auto text = [&](const WriteResult &result) {
        return writeText(panel, {Setting, five, "page 127.0.0.1"}, result);
    };
    EXPECT_EQ(text({"", true, three, five}), "page 127.0.0.1: station 1 = 5 (was 3), read back");
    EXPECT_EQ(text({"", false, {}, {}}),
              "page 127.0.0.1: station 1 = 5, which nobody acknowledges");
    EXPECT_EQ(text({"not acknowledged", true, {}, {}}),
              "page 127.0.0.1: station 1 = 5: not acknowledged");
}

} // namespace
