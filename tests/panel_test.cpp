// The panel's logic that needs no line: its file, its values, its bookkeeping.
#include "panel/panel_file.h"
#include "panel/request_ledger.h"
#include "panel/scan_counter.h"
#include "panel/statistics.h"
#include "panel/values.h"
#include "panel/watch.h"

#include <gtest/gtest.h>

#include <vector>

#include <QJsonArray>

#include <thread>

namespace {

QByteArray panelWith(const QByteArray &variable, const QByteArray &more = {}) {
    return R"({"variables": [{"name": "a", "station": 1, )" + variable + "}]" + more + "}";
}

const char *const Word = R"("registerType": 7, "address": "10", "format": "uint16")";

TEST(PanelFile, FillsInWhatIsLeftOut) {
    QString error;
    const auto panel = parsePanel(panelWith(Word), &error);
    ASSERT_TRUE(panel) << qPrintable(error);
    EXPECT_EQ(panel->blockLimit, 100);
    EXPECT_EQ(panel->port.baudRate, 19200);
    EXPECT_EQ(panel->port.parity, LineParity::Even);
    EXPECT_EQ(panel->port.stopBits, 1);
    EXPECT_EQ(panel->port.quietAfterFailureMs, panel->port.responseTimeoutMs);
    EXPECT_EQ(panel->variables.at(0).count, 1);
}

struct WrongFile {
    QByteArray json;
    const char *error;
};

// Functions, so that no exception is thrown before main.
std::vector<WrongFile> wrongFiles() {
    const QByteArray bit = R"("registerType": 1, "format": "bit", "address": )";
    const QByteArray high = R"("registerType": 8, "format": "hex", "address": )";
    return {
        {"{\n \"port\": ]", "line 2, column 11: not JSON, object is missing after a comma"},
        {"[]", "line 1: expected an object"},
        {"{}", "variables: there is none"},
        {R"({"port": 7})", "port: expected an object"},
        {R"({"port": {"parity": "mark"}})", "port.parity: \"mark\" is not none, odd or even"},
        {R"({"blockLimit": 126})", "blockLimit: 126 is not a whole number from 1 to 125"},
        {R"({"retryLimit": 1.5})", "retryLimit: 1.5 is not a whole number from 0 to 100"},
        {R"({"variables": [7]})", "variables[0]: expected an object"},
        {R"({"variables": [{"name": "a"}]})", "variables[0].station: missing"},
        {panelWith(R"("nmae": 1)"), "variables[0].nmae: unknown field"},
        {panelWith(R"("registerType": 7, "format": "int17")"),
         "variables[0].format: unknown format \"int17\""},
        {panelWith(R"("registerType": 7, "format": "int32")"),
         "variables[0].format: int32 does not fit register type 7 (16-bit)"},
        {panelWith(R"("registerType": 7, "count": 126)"),
         "variables[0].count: 126 is not a whole number from 1 to 125"},
        {panelWith(bit + R"("12")"),
         "variables[0].address: \"12\" is not \"byte.bit\", like \"12.3\""},
        {panelWith(bit + R"("12.8")"),
         "variables[0].address: \"12.8\" is not \"byte.bit\", like \"12.3\""},
        {panelWith(high + R"("-1")"), "variables[0].address: \"-1\" is not a number, like \"100\""},
        {panelWith(high + R"("1\n")"),
         "variables[0].address: \"1\\u000a\" is not a number, like \"100\""},
        {panelWith(high + R"("60536")"),
         "variables[0].address: beyond the last register of the area"},
        {panelWith(Word, R"(, "onceReads": [{"name": "a", "station": 1, "registerType": 7,
                            "address": "1", "format": "hex"}])"),
         "onceReads[0].name: duplicate name \"a\""},
    };
}

std::vector<WrongFile> wrongWrites() {
    return {
        {panelWith(Word, R"(, "writes": [{"variable": "b"}])"),
         "writes[0].variable: there is no variable \"b\""},
        {panelWith(Word, R"(, "writes": [{"variable": "a", "value": 65536}])"),
         "writes[0].value: \"65536\" is no value of this format"},
        {panelWith(R"("registerType": 6, "address": "1", "format": "hex")",
                   R"(, "writes": [{"variable": "a", "value": 1}])"),
         "writes[0].variable: \"a\" is in the input area"},
        {panelWith(Word, R"(, "writes": [{"variable": "a"}])"), "writes[0].value: missing"},
        {panelWith(Word, R"(, "writes": [{"variable": "a", "value": null}])"),
         "writes[0].value: expected a number or a text"},
        {panelWith(Word + QByteArray(R"(, "moves": true)"),
                   R"(, "writes": [{"variable": "a", "value": 1}])"),
         "writes[0].variable: \"a\" is one that moves"},
        {panelWith(Word + QByteArray(R"(, "expect": -1)")),
         "variables[0].expect: \"-1\" is no value of this format"},
        {panelWith(Word).replace("\"a\"", R"("a\n")"),
         "variables[0].name: has a control character"},
        {panelWith(R"("registerType": 6, "format": "hex", "address": "1")").replace(": 1,", ": 0,"),
         "variables[0].station: 0 addresses all stations and can only be written"},
        {panelWith(Word).replace(": 1,", ": 0,"),
         "variables: \"a\" addresses all stations and no write names it"},
        {panelWith(Word, R"(, "writes": [{"variable": "a", "value": 1}])").replace(": 1,", ": 0,"),
         "variables: none can be read"},
        {panelWith(R"("registerType": 1, "format": "bit", "address": "1.0", "count": 2)",
                   R"(, "writes": [{"variable": "a"}])"),
         "writes[0].variable: \"a\" has more than the 1 elements of one write"},
    };
}

TEST(PanelFile, SaysWhereAndWhyItIsWrong) {
    for (const auto &table : {wrongFiles(), wrongWrites()}) {
        for (const WrongFile &wrong : table) {
            QString error;
            EXPECT_FALSE(parsePanel(wrong.json, &error));
            EXPECT_EQ(error.toStdString(), wrong.error);
        }
    }
}

Variable variableOf(int regType, Display display, int count = 1, int address = 0) {
    Variable variable;
    variable.regType = regType;
    variable.display = display;
    variable.count = count;
    variable.address = address;
    variable.station = 1;
    return variable;
}

TEST(Values, GoToBytesAndBack) {
    const struct {
        Variable variable;
        QJsonValue value;
        const char *data; // low byte first, bytes in pairs
        const char *text;
    } cases[] = {
        {variableOf(1, Display::Bit, 2), QJsonArray{true, 0}, "0100", "1 0"},
        {variableOf(4, Display::Signed, 2), QJsonArray{-1, 5}, "ff000500", "-1 5"},
        {variableOf(7, Display::Signed), -32768, "0080", "-32768"},
        {variableOf(7, Display::Hex), "0xAB", "ab00", "0x00AB"},
        {variableOf(10, Display::Unsigned), 3735928559.0, "efbeadde", "3735928559"},
        {variableOf(10, Display::Float), 3.25, "00005040", "3.25"},
        {variableOf(13, Display::Float), 0.1, "9a9999999999b93f", "0.1"},
        {variableOf(13, Display::Signed), "-9223372036854775808", "0000000000000080",
         "-9223372036854775808"},
        {variableOf(13, Display::Unsigned), "18446744073709551615", "ffffffffffffffff",
         "18446744073709551615"},
        {variableOf(7, Display::Text, 2), "abc", "61626300", "abc"},
        {variableOf(4, Display::Text, 2), "ab", "61006200", "ab"},
    };
    for (const auto &c : cases) {
        QByteArray data;
        EXPECT_EQ(encodeValue(c.variable, c.value, &data), "") << c.text;
        EXPECT_EQ(data.toHex(), c.data) << c.text;
        EXPECT_EQ(valueText(c.variable, data).toStdString(), c.text);
    }
}

TEST(Values, RefuseWhatDoesNotFit) {
    const struct {
        Variable variable;
        QJsonValue value;
    } cases[] = {
        {variableOf(1, Display::Bit), 2},
        {variableOf(4, Display::Signed), 128},
        {variableOf(7, Display::Unsigned), -1},
        {variableOf(7, Display::Signed), 1.5},
        {variableOf(13, Display::Unsigned), 9007199254740994.0}, // not exact in JSON
        {variableOf(13, Display::Unsigned), "18446744073709551616"},
        {variableOf(7, Display::Hex), "xyz"},
        {variableOf(7, Display::Hex), 10},
        {variableOf(7, Display::Text), "abc"},
        {variableOf(7, Display::Text), QString(QChar(0x20AC))},
        {variableOf(7, Display::Unsigned, 2), 1},
        {variableOf(10, Display::Float), QJsonValue()},
    };
    for (const auto &c : cases) {
        QByteArray data;
        EXPECT_NE(encodeValue(c.variable, c.value, &data), "") << qPrintable(c.value.toString());
    }
}

TEST(Statistics, TellsFailuresApart) {
    const struct {
        QByteArray reply;
        bool accepted;
        Outcome outcome;
    } cases[] = {
        {QByteArray(7, 'x'), true, Outcome::Good},
        {"", true, Outcome::Good}, // a broadcast
        {"", false, Outcome::NoReply},
        {QByteArray(6, 'x'), false, Outcome::WrongLength},
        {QByteArray::fromHex("018302c0f1"), false, Outcome::Exception},
        {QByteArray(5, 'x'), false, Outcome::WrongLength},
        {QByteArray(7, 'x'), false, Outcome::Invalid},
    };
    for (const auto &c : cases)
        EXPECT_EQ(judgeReply(c.reply, 7, c.accepted), c.outcome) << c.reply.toHex().constData();
}

TEST(Watch, WaitsForEveryRegisterThenForAChange) {
    static char imageByte = 1;
    Driver driver;
    driver.GetRegisterData = [](QString *, int, QString, int, QByteArray *answer, int) {
        *answer = QByteArray(1, imageByte);
        return 1;
    };
    // Bits 12 to 19 lie in registers 0 and 1.
    const std::vector<Variable> variables{variableOf(1, Display::Bit, 8, 12)};
    Watch watch(driver, variables);
    for (const RegisterSpan &other : {RegisterSpan{1, 7, 0, 1}, RegisterSpan{1, 7, 2, 9},
                                      RegisterSpan{1, 8, 0, 2}, RegisterSpan{2, 7, 0, 2}}) {
        watch.registersRead(other);
        EXPECT_FALSE(watch.wasRead(0)) << other.station << ' ' << other.area << ' ' << other.first;
    }
    watch.registersRead({1, 7, 1, 1});
    EXPECT_TRUE(watch.wasRead(0));
    imageByte = 2;
    EXPECT_FALSE(watch.hasMoved(0));
    watch.registersRead({1, 7, 0, 2});
    EXPECT_TRUE(watch.hasMoved(0));
}

TEST(ScanCounter, CountsPassesWithoutTheStationsThatAreOff) {
    ScanCounter counter;
    const auto finish = [&counter](int station, int address) {
        RW_VAR var;
        var.itemId = -1;
        var.station = station;
        var.address = address;
        counter.finished(var);
        return counter.scans();
    };
    EXPECT_EQ(finish(1, 0), 0);
    EXPECT_EQ(finish(2, 0), 0);
    EXPECT_EQ(finish(1, 0), 1);
    EXPECT_EQ(finish(1, 0), 2); // station 2 is off
    counter.finished(RW_VAR()); // not from the cyclic list
    EXPECT_EQ(counter.scans(), 2);
}

TEST(RequestLedger, EndsEveryRequestOnce) {
    const auto report = [](RequestLedger *ledger, int itemId, int status) {
        RequestLedger::finished(ledger, RequestLedger::OwnerId, itemId, status);
    };
    RequestLedger ledger;
    const int answered = ledger.open(1);
    const int givenUp = ledger.open(1);
    const int dropped = ledger.open(2);
    const int last = ledger.open(1);
    std::thread reports([&] {
        report(&ledger, answered, 1);
        report(&ledger, answered, 2); // too late to matter
        report(&ledger, givenUp, 2);
        ledger.stationOff(2);
        report(&ledger, dropped, 1);
        ledger.close();
    });
    using End = RequestLedger::End;
    EXPECT_EQ(ledger.waitForEnd(answered), End::Answered);
    EXPECT_EQ(ledger.waitForEnd(givenUp), End::Failed);
    EXPECT_EQ(ledger.waitForEnd(dropped), End::Failed);
    EXPECT_EQ(ledger.waitForEnd(last), End::RunOver);
    reports.join();
    const int tooLate = ledger.open(1);
    EXPECT_FALSE(ledger.isWaiting(tooLate)); // and so it is not queued
    EXPECT_EQ(ledger.waitForEnd(tooLate), End::RunOver);
}

} // namespace
