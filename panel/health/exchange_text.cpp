#include "panel/health/exchange_text.h"

#include <QDateTime>

#include <array>
#include <map>

namespace {

struct OutcomeWords {
    const char *name;
    const char *key;
};

// In the order of Outcome.
constexpr std::array<OutcomeWords, OutcomeCount> Words{{
    {"good", "good"},
    {"no reply", "noReply"},
    {"refused", "refused"},
    {"bad checksum", "badChecksum"},
    {"cut short", "cutShort"},
    {"reply to another request", "wrongReply"},
    {"frames of others only", "foreign"},
    {"device gone", "deviceGone"},
}};

const OutcomeWords &wordsOf(Outcome outcome) {
    return Words.at(static_cast<std::size_t>(outcome));
}

using FunctionNames = std::map<int, const char *>;

const FunctionNames &functionsOfRegisters() {
    static const FunctionNames names{{1, "read coils"},    {2, "read discrete inputs"},
                                     {3, "read holding"},  {4, "read input"},
                                     {5, "write coil"},    {6, "write holding"},
                                     {15, "write coils"},  {16, "write holding"},
                                     {22, "mask holding"}, {23, "write, then read holding"}};
    return names;
}

QString otherFunctionText(int function) {
    static const FunctionNames names{{0, "nothing asked"},   {7, "read exception status"},
                                     {8, "diagnostics"},     {11, "read event counter"},
                                     {12, "read event log"}, {17, "read server identification"},
                                     {24, "read queue"},     {43, "read device identification"}};
    const auto name = names.find(function);
    return name == names.end() ? QString("function %1").arg(function) : QString(name->second);
}

struct ExceptionWords {
    const char *name;
    const char *advice;
};

const std::map<int, ExceptionWords> &exceptions() {
    constexpr auto AskLess = "it has no time: ask for less or less often (\"scanIntervalMs\")";
    static const std::map<int, ExceptionWords> words{
        {1,
         {"illegal function", "it has no such area or cannot write it: compare the area with "
                              "the device's list"}},
        {2,
         {"illegal data address", "compare area and register numbers with the device's list "
                                  "(they count from 0 here)"}},
        {3,
         {"illegal data value", "ask for fewer registers at once (\"blockLimit\"), or write what "
                                "the device's list allows"}},
        {4, {"device failure", "it could not do it: see what fault the device itself shows"}},
        {5, {"acknowledged, still working", AskLess}},
        {6, {"device busy", AskLess}},
        {8, {"memory parity error", "its memory is damaged: start it anew, or have it repaired"}},
        {10,
         {"gateway path unavailable", "the gateway has no way to this station: compare its "
                                      "list of stations and ports"}},
        {11,
         {"gateway target does not answer", "the gateway is well, the station behind it is "
                                            "silent: check that one's number, power and "
                                            "wiring"}},
    };
    return words;
}

} // namespace

QString requestText(int function, int firstRegister, int registers) {
    const auto name = functionsOfRegisters().find(function);
    if (name == functionsOfRegisters().end())
        return otherFunctionText(function);
    const QString text = QString("%1 %2").arg(name->second).arg(firstRegister);
    return registers <= 1 ? text : text + QString("..%1").arg(firstRegister + registers - 1);
}

QString requestText(const Exchange &exchange) {
    return requestText(exchange.function, exchange.firstRegister, exchange.registers);
}

QString outcomeName(Outcome outcome) {
    return wordsOf(outcome).name;
}

QString outcomeKey(Outcome outcome) {
    return wordsOf(outcome).key;
}

QString outcomeText(const Exchange &exchange) {
    const QString name = outcomeName(exchange.outcome);
    return exchange.outcome == Outcome::Refused
               ? name + ": " + exceptionText(exchange.exceptionCode)
               : name;
}

QString exceptionText(int code) {
    const auto words = exceptions().find(code);
    return words == exceptions().end()
               ? QString("exception %1").arg(code)
               : QString("%1 (exception %2)").arg(words->second.name).arg(code);
}

QString exceptionAdvice(int code) {
    const auto words = exceptions().find(code);
    return words == exceptions().end() ? "look the exception up in the device's manual"
                                       : words->second.advice;
}

QString durationText(std::chrono::microseconds time) {
    const double milliseconds = static_cast<double>(time.count()) / 1000;
    return milliseconds < 999.5 ? QString::number(milliseconds, 'g', 3) + " ms"
                                : QString::number(milliseconds / 1000, 'g', 3) + " s";
}

QString hexText(const QByteArray &bytes) {
    return QString::fromLatin1(bytes.toHex(' ')).toUpper();
}

QString timeText(std::chrono::system_clock::time_point time) {
    using std::chrono::milliseconds;
    const auto sinceEpoch = std::chrono::floor<milliseconds>(time).time_since_epoch();
    const QDateTime utc = QDateTime::fromMSecsSinceEpoch(sinceEpoch.count(), Qt::UTC);
    return utc.toString("yyyy-MM-ddTHH:mm:ss.zzz") + 'Z';
}
