// The panel file: what it says, what is wrong with it, and the values of its variables.
#include "panel/file/address.h"
#include "panel/file/panel_file.h"
#include "panel/file/values.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QTemporaryFile>

#include <cstdio>

#include <tuple>
#include <vector>

namespace {

QByteArray panelWith(const QByteArray &variable, const QByteArray &more = {}) {
    return R"({"variables": [{"name": "a", "station": 1, )" + variable + "}]" + more + "}";
}

const char *const Word = R"("registerType": 7, "address": "10", "format": "uint16")";

TEST(PanelFile, FillsInWhatIsLeftOut) {
    QStringList errors;
    const auto panel = parsePanel(panelWith(Word), &errors);
    ASSERT_TRUE(panel) << qPrintable(errors.join('\n'));
    EXPECT_EQ(panel->lines.front().blockLimit, 100);
    EXPECT_EQ(panel->lines.front().baudRate, 19200);
    EXPECT_EQ(panel->lines.front().parity, LineParity::Even);
    EXPECT_EQ(panel->lines.front().stopBits, 1);
    EXPECT_EQ(panel->lines.front().quietAfterFailureMs, panel->lines.front().responseTimeoutMs);
    EXPECT_EQ(panel->variables.at(0).count, 1);
}

// Every field, none as it is when left out.
const char *const FullFile = R"({
    "$schema": "panel.schema.json", "comment": "every field",
    "lines": [
        {"name": "press", "comment": 1, "device": "a", "baudRate": 300, "plan": "fastest",
         "scanIntervalMs": 50, "lowLatency": false, "rs485": true},
        {"name": "oven", "device": "b", "baudRate": 38400, "parity": "none", "stopBits": 1,
         "blockLimit": 20, "retryLimit": 7, "responseTimeoutMs": 90, "byteTimeoutMs": 5,
         "quietAfterFailureMs": 6, "broadcastDelayMs": 7, "silenceUs": 800, "requestDelayMs": 9,
         "deadShare": 0.2, "restAfterGiveUpSeconds": 10, "localEcho": true,
         "rs485": {"rtsOnSend": false, "delayBeforeSendMs": 1, "delayAfterSendMs": 2}}],
    "blockLimit": 30, "retryLimit": 3, "historyDays": 2, "historyMegabytes": 3,
    "variables": [
        {"name": "pressure", "line": "oven", "station": 1, "registerType": 7, "address": "101",
         "count": 2, "format": "int32", "order": "ABCD", "scale": 0.1, "offset": -4,
         "decimals": 1, "unit": "bar", "min": 0, "max": 200, "writable": true, "moves": true},
        {"name": "plate", "line": "press", "station": 1, "registerType": 6, "address": "0",
         "format": "text", "order": "ABCD", "expect": "ab"}],
    "onceReads": [{"name": "set", "line": "press", "station": 2, "registerType": 8,
                   "address": "60535", "format": "uint16"}],
    "writes": [{"variable": "set", "value": 7}],
    "broker": {"host": "h", "port": 1884, "prefix": "plant/panel 1", "user": "u",
               "passwordFile": "p", "caFile": "/ca", "certFile": "c", "keyFile": "k",
               "minIntervalMs": 1, "acceptWrites": true, "spoolFile": "s", "spoolMegabytes": 2}})";

PanelFile readFullFile(const QTemporaryDir &folder) {
    QFile file(folder.filePath("full.json"));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(FullFile) > 0);
    file.close();
    QStringList errors;
    const auto panel = readPanelFile(file.fileName(), &errors);
    EXPECT_TRUE(panel) << qPrintable(errors.join('\n'));
    return panel.value_or(PanelFile());
}

TEST(PanelFile, PutsEveryFieldOfALineInItsPlace) {
    const PanelFile panel = readFullFile(QTemporaryDir());
    const LineSettings &press = panel.lines.at(0);
    EXPECT_EQ(std::tie(press.blockLimit, press.retryLimit, press.scanIntervalMs),
              std::make_tuple(30, 3, 50));
    EXPECT_EQ(press.plan, PlanChoice::Fastest);
    EXPECT_EQ(press.lowLatency, false);
    EXPECT_TRUE(press.rs485 && press.rs485->rtsOnSend);
    // A character takes 37 ms.
    EXPECT_GE(press.byteTimeoutMs, 110);
    EXPECT_GE(press.responseTimeoutMs, 350);
    EXPECT_GE(press.broadcastDelayMs, 150);
    EXPECT_EQ(press.silenceUs, 128334);

    const LineSettings &oven = panel.lines.at(1);
    EXPECT_EQ(oven.parity, LineParity::None);
    EXPECT_EQ(std::tie(oven.stopBits, oven.blockLimit, oven.retryLimit, oven.responseTimeoutMs,
                       oven.byteTimeoutMs, oven.quietAfterFailureMs, oven.broadcastDelayMs,
                       oven.silenceUs, oven.requestDelayMs, oven.restAfterGiveUpSeconds),
              std::make_tuple(1, 20, 7, 90, 5, 6, 7, 800, 9, 10));
    EXPECT_EQ(oven.deadShare, 0.2);
    EXPECT_TRUE(oven.localEcho);
    EXPECT_EQ(std::tie(oven.rs485->rtsOnSend, oven.rs485->delayBeforeSendMs,
                       oven.rs485->delayAfterSendMs),
              std::make_tuple(false, 1, 2));
}

TEST(PanelFile, PutsEveryFieldOfVariablesAndBrokerInItsPlace) {
    const QTemporaryDir folder;
    const PanelFile panel = readFullFile(folder);
    const Variable &pressure = panel.variables.at(0);
    EXPECT_EQ(pressure.line, 1U);
    EXPECT_EQ(valueText(pressure, QByteArray::fromHex("0000780000007a00")), "8.0 8.2");
    EXPECT_EQ(std::tie(pressure.unit, pressure.min, pressure.max, pressure.writable),
              std::make_tuple(QString("bar"), 0, 200, true));
    EXPECT_EQ(panel.variables.at(1).expected, "ba");
    EXPECT_EQ(panel.writes.at(0).variable, 2U);
    EXPECT_EQ(std::tie(panel.historyDays, panel.historyMegabytes), std::make_tuple(2, 3));

    const BrokerSettings &broker = *panel.broker;
    EXPECT_EQ(
        std::tie(broker.host, broker.port, broker.prefix, broker.user, broker.minIntervalMs,
                 broker.acceptWrites, broker.spoolMegabytes),
        std::make_tuple(QString("h"), 1884, QString("plant/panel 1"), QString("u"), 1, true, 2));
    EXPECT_EQ(QStringList({broker.passwordFile, broker.caFile, broker.certFile, broker.keyFile,
                           broker.spoolFile}),
              QStringList({folder.filePath("p"), "/ca", folder.filePath("c"), folder.filePath("k"),
                           folder.filePath("s")}));
}

struct WrongFile {
    QByteArray json;
    const char *errors;
    bool schemaSees = true; // it cannot compare fields with each other
};
using WrongFiles = QVector<WrongFile>;

// Functions, so that no exception is thrown before main.
WrongFiles wrongFiles() {
    return {
        {"[]", "line 1: expected an object"},
        {"{}", "variables: there is none"},
        {R"({"port": 7, "retryLimit": 1.5})",
         "retryLimit: 1.5 is not a whole number from 0 to 100\nport: expected an object"},
        {R"({"variables": [7]})", "variables[0]: expected an object"},
        {panelWith(Word, R"(, "port": {"baudRate": 300, "byteTimeoutMs": 20, "parity": "mark"})"),
         "port.parity: \"mark\" is not one of none, odd, even\n"
         "port.byteTimeoutMs: 20 is shorter than two characters at 300 baud: permitted are 74 to "
         "60000"},
        {panelWith(Word, R"(, "port": {"deadShare": 8, "rs485": {"delayAfterSendMs": -1}})"),
         "port.deadShare: 8 is not a number from 0.01 to 1\n"
         "port.rs485.delayAfterSendMs: -1 is not a whole number from 0 to 1000"},
        {panelWith(Word, R"(, "port": {}, "lines": [])"),
         "port: stands beside lines: one of the two\nlines: expected 1 to 64 of them"},
        {panelWith(Word, R"(, "lines": [{"name": "x", "device": "d"}, {"name": "x", "device": "d"},
                                        {"name": "y", "blockLimit": 126}])"),
         "lines[1] \"x\": name: another line has the same\n"
         "lines[1] \"x\": device: another line has \"d\"\n"
         "lines[2] \"y\": blockLimit: 126 is not a whole number from 1 to 125\n"
         "lines[2] \"y\": device: missing: the file has several lines\n"
         "variables[0] \"a\": line: missing"},
        {panelWith(Word, R"(, "broker": {"port": 0, "prefix": "a//b", "keyFile": "k"})"),
         "broker.host: missing\n"
         "broker.port: 0 is not a whole number from 1 to 65535\n"
         "broker.prefix: a topic cannot carry \"\": permitted are 1 to 200 characters, without + # "
         "/\n"
         "broker.keyFile: needs certFile, too"},
        {panelWith(Word, R"(, "broker": {"host": "h", "prefix": "p"})").replace("\"a\"", "\"a+b\""),
         "variables[0] \"a+b\": name: a topic cannot carry \"a+b\": permitted are 1 to 200 "
         "characters, without + # /"},
    };
}

WrongFiles wrongVariables() {
    return {
        {R"({"variables": [{"name": "a", "nmae": 1}]})",
         "variables[0] \"a\": nmae: unknown field\n"
         "variables[0] \"a\": station: missing\n"
         "variables[0] \"a\": registerType: missing\n"
         "variables[0] \"a\": format: missing\n"
         "variables[0] \"a\": address: missing"},
        {panelWith(Word).replace("\"a\"", R"("a\nb")"),
         "variables[0] \"a\\u000ab\": name: has a control character"},
        {panelWith(R"("registerType": 17, "address": "-1", "format": "floot")"),
         "variables[0] \"a\": registerType: 17 is not a whole number from 0 to 14\n"
         "variables[0] \"a\": format: \"floot\" is not one of bit, int8, int16, int32, int64, "
         "uint8, uint16, uint32, uint64, float, double, hex, hex32, hex64, text\n"
         "variables[0] \"a\": address: \"-1\" is neither a number, like \"100\", nor "
         "\"byte.bit\", like \"12.3\""},
        {panelWith(R"("registerType": 6, "address": "x", "format": "uint16")",
                   R"(, "writes": [{"variable": "a", "value": -1}])")
             .replace(": 1,", ": 0,"),
         "variables[0] \"a\": address: \"x\" is not a number, like \"100\"\n"
         "variables[0] \"a\": station: 0 addresses all stations and can only be written\n"
         "writes[0] \"a\": value: \"-1\" is not a whole number from 0 to 65535"},
    };
}

WrongFiles wrongFormats() {
    const QByteArray bit = R"("registerType": 1, "format": "bit", "address": )";
    const QByteArray high = R"("registerType": 8, "format": "hex", "address": )";
    return {
        {panelWith(R"("registerType": 4, "address": "1", "format": "int16")"),
         "variables[0] \"a\": format: int16 does not fit registerType 4 (8-bit): permitted are "
         "int8, uint8, hex, text"},
        {panelWith(R"("registerType": 7, "address": "1", "format": "uint64", "count": 32)"),
         "variables[0] \"a\": count: 32 is not a whole number from 1 to 31"},
        {panelWith(bit + R"("12.8")"),
         "variables[0] \"a\": address: \"12.8\" is not \"byte.bit\", like \"12.3\""},
        {panelWith(high + R"("1\n")"),
         "variables[0] \"a\": address: \"1\\u000a\" is not a number, like \"100\"", false},
        {panelWith(high + R"("60536")"), "variables[0] \"a\": register 60536 is beyond 60535",
         false},
        {panelWith(R"("registerType": 7, "address": "65533", "format": "float", "count": 2)"),
         "variables[0] \"a\": register 65536 is beyond 65535", false},
        {panelWith(bit + R"("1.0", "order": "ABCD")"),
         "variables[0] \"a\": order: bits and bytes have none"},
        {panelWith(R"("registerType": 7, "address": "1", "format": "text", "order": "CDAB")"),
         "variables[0] \"a\": order: \"CDAB\" is not one of ABCD, BADC"},
        {panelWith(high + R"("1", "scale": 0.1, "max": 5)"),
         "variables[0] \"a\": scale: for numbers only, which this format is not\n"
         "variables[0] \"a\": max: for numbers only, which this format is not"},
        {panelWith(Word + QByteArray(R"(, "scale": 0, "min": 5, "max": 4, "decimals": 16)")),
         "variables[0] \"a\": decimals: 16 is not a whole number from 0 to 15\n"
         "variables[0] \"a\": scale: 0 would make all values the same\n"
         "variables[0] \"a\": min: greater than max"},
        {panelWith(Word, R"(, "onceReads": [{"name": "a", "station": 0, "registerType": 7,
                            "address": "1", "format": "hex"}])"),
         "onceReads[0] \"a\": station: 0 is not a whole number from 1 to 247\n"
         "onceReads[0] \"a\": name: another variable has the same"},
    };
}

WrongFiles wrongWrites() {
    const QByteArray input = R"("registerType": 6, "address": "1", "format": "hex")";
    return {
        {panelWith(input + R"(, "writable": true)"),
         "variables[0] \"a\": writable: it is in the input area"},
        {panelWith(R"("registerType": 1, "format": "bit", "address": "1.0", "count": 2)",
                   R"(, "writes": [{"variable": "a", "value": [1, 0]}])"),
         "writes[0] \"a\": variable: it has more than the 1 values of one write", false},
        {panelWith(R"("registerType": 7, "format": "int32", "address": "1", "writable": true)",
                   R"(, "blockLimit": 1)"),
         "variables[0] \"a\": writable: it has more than the 0 values of one write", false},
        {panelWith(Word, R"(, "writes": [{"variable": "b"}, {"variable": "a"},
                                         {"variable": "a", "value": null}])"),
         "writes[0] \"b\": variable: there is no variable \"b\"\n"
         "writes[1] \"a\": value: missing\n"
         "writes[2] \"a\": value: expected a number or a text"},
        {panelWith(Word + QByteArray(R"(, "moves": true)"),
                   R"(, "writes": [{"variable": "a", "value": 1}])"),
         "writes[0] \"a\": variable: it is one that moves", false},
        {panelWith(Word + QByteArray(R"(, "expect": -1)")),
         "variables[0] \"a\": expect: \"-1\" is not a whole number from 0 to 65535", false},
        {panelWith(input).replace(": 1,", ": 0,"),
         "variables[0] \"a\": station: 0 addresses all stations and can only be written"},
        {panelWith(Word).replace(": 1,", ": 0,"),
         "variables: \"a\" addresses all stations, and no write names it\n"
         "variables: none can be read",
         false},
    };
}

// The answers of the schema to these documents, then the fields that the first lacks.
QStringList askSchema(const QList<QByteArray> &documents) {
    QTemporaryFile file;
    EXPECT_TRUE(file.open() && file.write(documents.join('\n')) > 0 && file.flush());
    const QString command = QString(PYTHON " " SCHEMA_CHECK " " SCHEMA " ") + file.fileName();
    // NOLINTNEXTLINE(cert-env33-c): the command is the build's own
    std::FILE *answers = popen(qPrintable(command), "r");
    QFile output;
    EXPECT_TRUE(answers != nullptr && output.open(answers, QIODevice::ReadOnly));
    QStringList lines = QString(output.readAll()).split('\n', Qt::SkipEmptyParts);
    EXPECT_EQ(pclose(answers), 0);
    return lines;
}

TEST(PanelFile, IsDescribedByItsSchema) {
    if (QByteArray(PYTHON).isEmpty())
        GTEST_SKIP() << "no python3-jsonschema";
    QFile demo(DEMO_FILE);
    ASSERT_TRUE(demo.open(QIODevice::ReadOnly));
    QList<QByteArray> documents{FullFile, demo.readAll(), panelWith(Word)};
    QStringList expected{"good", "good", "good"};
    for (const WrongFile &wrong :
         wrongFiles() + wrongVariables() + wrongFormats() + wrongWrites()) {
        documents += wrong.json;
        expected += wrong.schemaSees ? "wrong" : "good";
    }
    for (QByteArray &document : documents)
        document.replace('\n', ' ');
    expected += "not in the first:";
    const QStringList answers = askSchema(documents);
    ASSERT_EQ(answers.size(), expected.size());
    for (int i = 0; i < answers.size(); ++i)
        EXPECT_EQ(answers[i], expected[i]) << documents.value(i).constData();
}

TEST(PanelFile, NamesEverythingThatIsWrong) {
    for (const WrongFile &wrong :
         wrongFiles() + wrongVariables() + wrongFormats() + wrongWrites()) {
        QStringList errors;
        EXPECT_FALSE(parsePanel(wrong.json, &errors)) << wrong.json.constData();
        EXPECT_EQ(errors.join('\n').toStdString(), wrong.errors) << wrong.json.constData();
    }
}

TEST(PanelFile, BoundsWhatItSays) {
    QStringList errors;
    EXPECT_FALSE(parsePanel("{\n \"port\": ]", &errors));
    EXPECT_EQ(errors, QStringList("line 2, column 11: not JSON, object is missing after a comma"));

    QByteArray variables = "{}";
    for (int i = 0; i < 999; ++i)
        variables += ",{\"" + QByteArray(100, 'x') + "\": 1}";
    EXPECT_FALSE(parsePanel("{\"variables\": [" + variables + "]}", &errors));
    EXPECT_EQ(errors.size(), 51);
    EXPECT_EQ(errors.constLast(), "... and 5949 more");
}

// Bytes, which no address names.
Variable bytesOf(Display display, int count = 1) {
    Variable variable;
    variable.regType = 4;
    variable.display = display;
    variable.count = count;
    variable.station = 1;
    return variable;
}

// An address that is right.
Variable at(const char *address) {
    QString error;
    const auto variable = parseAddress(address, 1, &error);
    EXPECT_EQ(error, "");
    return variable.value_or(Variable());
}

Variable scaled(const char *address, double scale, double offset, int decimals = -1) {
    Variable variable = at(address);
    variable.scale = scale;
    variable.offset = offset;
    variable.decimals = decimals;
    return variable;
}

Variable limited(const char *address, double min, double max) {
    Variable variable = at(address);
    variable.min = min;
    variable.max = max;
    variable.unit = "bar";
    return variable;
}

TEST(Values, GoToBytesAndBack) {
    const struct {
        Variable variable;
        QJsonValue value;
        const char *data; // registers as on the wire, but low byte first; bytes in pairs
        const char *text;
    } cases[] = {
        {at("holding:1.0*2"), QJsonArray{1, 0}, "0100", "1 0"},
        {bytesOf(Display::Signed, 2), QJsonArray{-1, 5}, "ff000500", "-1 5"},
        {bytesOf(Display::Text, 2), "ab", "61006200", "ab"},
        {at("holding:1:int16"), -32768, "0080", "-32768"},
        {at("holding:1:hex"), "0x00AB", "ab00", "0x00AB"},
        {at("holding:1*2:text"), "abc", "61626300", "abc"},
        // Several words: the bytes of 0x01020304, most significant first, are A B C D.
        {at("holding:1:int32"), 0x01020304, "04030201", "16909060"},
        {at("holding:1:int32:ABCD"), 0x01020304, "02010403", "16909060"},
        {at("holding:1:int32:BADC"), 0x01020304, "01020304", "16909060"},
        {at("holding:1:int32:DCBA"), 0x01020304, "03040102", "16909060"},
        {at("holding:1:uint16:DCBA"), 0x0102, "0102", "258"},
        {at("holding:1:hex64:ABCD"), "0x0102030405060708", "0201040306050807",
         "0x0102030405060708"},
        {at("holding:1:int64"), "-9223372036854775808", "0000000000000080", "-9223372036854775808"},
        {at("holding:1:uint64"), "18446744073709551615", "ffffffffffffffff",
         "18446744073709551615"},
        {at("holding:1:uint32"), 3735928559.0, "efbeadde", "3735928559"},
        {at("holding:1*2:float:ABCD"), QJsonArray{1.5, -2}, "c03f000000c00000", "1.5 -2"},
        {at("holding:1:double"), 0.1, "9a9999999999b93f", "0.1"},
        // What people read is raw * scale + offset.
        {scaled("holding:1", 0.1, 0), 20.3, "cb00", "20.3"},
        {scaled("holding:1:int16", -0.5, 10, 2), 12.5, "fbff", "12.50"},
        {scaled("holding:1:float", 2, 1), 4, "0000c03f", "4"},
    };
    for (const auto &c : cases) {
        QByteArray data;
        EXPECT_EQ(encodeValue(c.variable, c.value, &data), "") << c.text;
        EXPECT_EQ(data.toHex(), c.data) << c.text;
        EXPECT_EQ(valueText(c.variable, data).toStdString(), c.text);
        EXPECT_EQ(valueJson(c.variable, data), c.value) << c.text;
        QByteArray typed;
        EXPECT_EQ(encodeTyped(c.variable, c.text, &typed), "") << c.text;
        EXPECT_EQ(typed, data) << c.text;
    }
}

TEST(Values, AreRoundedToWhatThePlcAndTheReaderTake) {
    const Variable tenths = scaled("holding:1:int16", 0.1, 0, 1);
    QByteArray data;
    EXPECT_EQ(encodeTyped(tenths, "-0.26", &data), "");
    EXPECT_EQ(data.toHex(), "fdff");
    EXPECT_EQ(valueNumber(tenths, data), -0.3); // not -0.30000000000000004
    const Variable whole = scaled("holding:1:int16", 0.1, 0, 0);
    EXPECT_EQ(valueText(whole, data), "0"); // not -0
    EXPECT_EQ(valueNumber(at("holding:1:float"), QByteArray::fromHex("0000c07f")), std::nullopt);
    EXPECT_TRUE(valueJson(at("holding:1:float"), QByteArray::fromHex("0000807f")).isNull());
}

TEST(Values, RefuseWhatDoesNotFit) {
    const struct {
        Variable variable;
        QJsonValue value;
        const char *reason;
    } cases[] = {
        {at("holding:1.0"), 2, "\"2\" is not 0 or 1"},
        {bytesOf(Display::Signed), 128, "\"128\" is not a whole number from -128 to 127"},
        {at("holding:1:int16"), 1.5, "\"1.5\" is not a whole number from -32768 to 32767"},
        {at("holding:1:uint64"), 9007199254740994.0,
         "too large for a JSON number: write it as a text"},
        {at("holding:1:uint64"), "18446744073709551616",
         "\"18446744073709551616\" is not a whole number from 0 to 18446744073709551615"},
        {at("holding:1:hex"), "xyz", "\"xyz\" is not 16 bits in hex, like \"0xA5\""},
        {at("holding:1:hex"), 10, "a hex value is written as a text, like \"0xA5\""},
        {at("holding:1:text"), "abc", "expected a text of at most 2 characters"},
        {at("holding:1:text"), QString(QChar(0x20AC)), "a character outside Latin-1"},
        {at("holding:1*2"), 1, "expected 2 values"},
        {at("holding:1:float"), QJsonValue(), "expected a number or a text"},
        {at("holding:1:float"), "1e39", "\"1e39\" is too large for a 32-bit float"},
        {limited("holding:1", 1, 200), 240, "\"240\" is above the maximum of 200 bar"},
        {limited("holding:1:float", 1, 200), 0.1, "\"0.1\" is below the minimum of 1 bar"},
        {limited("holding:1:float", 1, 200), "nan", "\"nan\" is below the minimum of 1 bar"},
        {scaled("holding:1", 0.1, -10), 6544, "\"6544\" is not from -10 to 6543.5"},
        {scaled("holding:1:uint64", 0.5, 0), "9223372036854775808",
         "\"9223372036854775808\" is not from 0 to 9.22337203685e+18"},
        {scaled("holding:1:int16", -2, 0), "inf", "\"inf\" is not from -65534 to 65536"},
    };
    for (const auto &c : cases) {
        QByteArray data;
        EXPECT_EQ(encodeValue(c.variable, c.value, &data).toStdString(), c.reason);
    }
}

TEST(Address, SaysWhatTheDriverAsksFor) {
    const struct {
        const char *address;
        int station;
        int regType;
        const char *addressText;
        int hostCount;
        RegisterSpan span;
        const char *place;
    } cases[] = {
        {"holding:100", 9, 7, "100", 1, {9, 7, 100, 1}, "holding 100"},
        {"2/input:10*4:float", 2, 6, "10", 8, {2, 6, 10, 8}, "input 10 to 17"},
        {"holding:65532:uint64", 9, 7, "65532", 4, {9, 7, 65532, 4}, "holding 65532 to 65535"},
        {"0/holding:30*8:text", 0, 7, "30", 8, {0, 7, 30, 8}, "holding 30 to 37"},
        {"holding:220.5", 9, 1, "440.5", 1, {9, 7, 220, 1}, "holding 220.5"},
        {"INPUT:3.15*2", 9, 0, "7.7", 2, {9, 6, 3, 2}, "input 3.15 to 4.0"},
    };
    for (const auto &c : cases) {
        QString error;
        const auto variable = parseAddress(c.address, 9, &error);
        ASSERT_TRUE(variable) << qPrintable(error);
        const RegisterSpan span = variable->span();
        EXPECT_EQ(variable->regType, c.regType) << c.address;
        EXPECT_EQ(variable->addressText, c.addressText);
        EXPECT_EQ(variable->hostCount(), c.hostCount) << c.address;
        EXPECT_EQ(std::tie(span.station, span.area, span.first, span.count),
                  std::tie(c.span.station, c.span.area, c.span.first, c.span.count))
            << c.address;
        EXPECT_EQ(placeText(*variable), c.place);
    }
}

TEST(Address, SaysWhatIsWrongInOneSentence) {
    const struct {
        const char *address;
        const char *error; // a part of it
    } cases[] = {
        {"100", "\"100\" is no address: expected [STATION/]AREA:REGISTER"},
        {"holding:1\n", "is no address"},
        {"coil:1", "coil:1: \"coil\" is not input or holding"},
        {"248/holding:1", "station 248 is beyond 247"},
        {"holding:65536", "register 65536 is beyond 65535"},
        {"holding:65535:float", "register 65536 is beyond 65535"},
        {"holding:1.16", "bit 16 is beyond 15"},
        {"holding:1*0", "*0 is not from 1 to 125"},
        {"holding:1*32:int64", "*32 is not from 1 to 31"},
        {"holding:1:int8", "\"int8\" is not one of int16, int32"},
        {"holding:1.2:uint16", "\"uint16\" is not one of bit"},
        {"holding:1:float:ACBD", "\"ACBD\" is not one of CDAB, ABCD, BADC, DCBA"},
    };
    for (const auto &c : cases) {
        QString error;
        EXPECT_FALSE(parseAddress(c.address, 1, &error)) << c.address;
        EXPECT_TRUE(error.contains(c.error)) << qPrintable(error);
    }
}

} // namespace
