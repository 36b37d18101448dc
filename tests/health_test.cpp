// What is read from the exchanges of a line: counts, reply times, and why a station does not
// answer.
#include "modbus/checksums.h"
#include "panel/health/causes.h"
#include "panel/health/line_health.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;

QByteArray frame(const char *hex) {
    QByteArray bytes = QByteArray::fromHex(hex);
    appendCrc(bytes);
    return bytes;
}

const QByteArray Read = frame("020300640002"); // station 2, holding 100 and 101
const QByteArray ReadReply = frame("020304000A000B");
const QByteArray Refusal2 = frame("028302");
const QByteArray Refusal6 = frame("028306");
const QByteArray OfStation3 = frame("030304000A000B");
const QByteArray OfFunction4 = frame("020404000A000B");
const QByteArray StrangeRequest = frame("090300000001");
const QByteArray StrangeReply = frame("0903020001");
const QByteArray Noise = QByteArray::fromHex("00FF81FE7F");

// One exchange of station 2; what was heard before its request, and after.
struct Step {
    Outcome outcome;
    QByteArray before;
    QByteArray after;
    QByteArray reply;
};
const Step Good{Outcome::Good, {}, ReadReply, ReadReply};
const Step Silence{Outcome::NoReply, {}, {}, {}};
const Step Garbled{Outcome::BadCrc, {}, Noise, Noise};
const Step RefusedStep{Outcome::Refused, {}, Refusal2, Refusal2};

// Its time-out is 100 ms; what comes before a request does so 30 ms after the time-out.
Exchange exchangeOf(const Step &step, int number) {
    Exchange exchange;
    exchange.station = 2;
    exchange.function = 3;
    exchange.firstRegister = 100;
    exchange.registers = 2;
    exchange.request = Read;
    exchange.began = std::chrono::steady_clock::time_point(milliseconds(1000 + number * 150));
    exchange.sentAt = std::chrono::system_clock::time_point(milliseconds(1000 + number * 150));
    if (!step.before.isEmpty())
        exchange.received.push_back({exchange.began - milliseconds(20), step.before});
    if (!step.after.isEmpty())
        exchange.received.push_back({exchange.began + milliseconds(4), step.after});
    exchange.reply = step.reply;
    exchange.outcome = step.outcome;
    exchange.exceptionCode = step.outcome == Outcome::Refused ? step.reply.at(2) : 0;
    exchange.replyTime = milliseconds(step.outcome == Outcome::Good ? 4 : 0);
    return exchange;
}

std::vector<Step> inARow(const std::vector<std::pair<int, Step>> &stretches) {
    std::vector<Step> steps;
    for (const auto &[count, step] : stretches)
        steps.insert(steps.end(), static_cast<std::size_t>(count), step);
    return steps;
}

// The steps again and again.
QStringList causesOf(const std::vector<Step> &steps, int exchanges, int timeoutMs = 100,
                     bool doOthersAnswer = false) {
    EvidenceKeeper keeper;
    for (int i = 0; i < exchanges; ++i)
        keeper.observe(exchangeOf(steps[static_cast<std::size_t>(i) % steps.size()], i));
    return likelyCauses({2, keeper.station(2), keeper.strangers(), doOthersAnswer, timeoutMs, {}});
}

TEST(Causes, SayWhatIsLikelyFromWhatWasSeen) {
    const Step late{Outcome::NoReply, ReadReply, {}, {}};
    const Step owed{Outcome::Good, ReadReply, ReadReply, ReadReply};
    const Step echo{Outcome::NoReply, {}, Read, {}};
    const Step echoedGood{Outcome::Good, {}, Read + ReadReply, ReadReply};
    const Step another{Outcome::Foreign, {}, OfStation3, OfStation3};
    const Step busy{Outcome::Refused, {}, Refusal6, Refusal6};
    const Step unfitting{Outcome::WrongReply, {}, OfFunction4, OfFunction4};
    const Step strangers{Outcome::Good, StrangeRequest + StrangeReply, ReadReply, ReadReply};
    const Step strangeAnswer{Outcome::Good, StrangeReply, ReadReply, ReadReply};
    const struct {
        const char *what;
        std::vector<Step> steps; // again and again
        int exchanges;
        QStringList begin; // of the sentences, the likeliest first
        const char *part;  // of what is said
    } cases[] = {
        {"all well", {Good}, 20, {}, ""},
        {"well behind an echo", {echoedGood}, 20, {}, ""},
        {"too few to tell", {Silence}, 4, {}, ""},
        {"no byte ever", {Silence}, 5, {"no answer"}, "station number, its power and the wiring"},
        {"hardly a good frame", {Garbled}, 5, {"baud rate or parity"}, "in 5 of 5 exchanges"},
        {"our own request", {echo}, 5, {"echo", "no answer"}, "localEcho"},
        {"frames of another", {another}, 5, {"another station"}, "answers (3) when"},
        {"now and then of another", inARow({{9, Good}, {1, another}}), 60, {"another station"}, ""},
        {"requests not ours", {strangers}, 5, {"another master"}, "5 requests"},
        {"answers to nothing", {strangeAnswer}, 5, {"another master"}, "5 answers"},
        {"of another function", {unfitting}, 5, {"the answers do not fit"}, "another master"},
        {"answers late", {late}, 6, {"5 of 6 answers came too late"}, "\"responseTimeoutMs\": 200"},
        {"late, and the repeat's own answer too", {Silence, Good, owed}, 6, {"2 of 6 answers"}, ""},
        {"exceptions", {RefusedStep}, 5, {"refused read holding 100..101: illegal data"}, "(exc"},
        {"a busy station", {busy}, 5, {"refused read holding 100..101: device busy"}, "less often"},
        {"bad now and then", {Good, Good, Good, Garbled}, 40, {"noise: 25 %"}, "shielding"},
        {"silent now and then",
         {Good, Good, Silence},
         33,
         {"no answer to 11 of 33 requests, now and then"},
         "a loose wire"},
        {"silent once, and back", inARow({{8, Silence}, {12, Good}}), 20, {}, ""},
        {"damaged, as requests are too", {Good, Garbled, Silence}, 30, {"noise"}, ""},
        {"fell silent",
         inARow({{1, Good}, {5, Silence}}),
         6,
         {"no answer since 1970-01-01T00:00:01.000Z;"},
         "it answered was read holding 100..101"},
        {"refused now and then, fell silent",
         inARow({{54, Good}, {6, RefusedStep}, {40, Silence}}),
         100,
         {"no answer since", "refused"},
         ""},
        {"refused, fell silent",
         inARow({{8, RefusedStep}, {12, Silence}}),
         20,
         {"no answer since", "refused"},
         ""},
        {"fell silent behind an echo",
         inARow({{6, echoedGood}, {14, echo}}),
         20,
         {"no answer since", "echo"},
         ""},
    };
    for (const auto &row : cases) {
        const QStringList said = causesOf(row.steps, row.exchanges);
        ASSERT_EQ(said.size(), row.begin.size()) << row.what << ": " << qPrintable(said.join('\n'));
        for (int i = 0; i < said.size(); ++i)
            EXPECT_TRUE(said[i].startsWith(row.begin[i])) << row.what << qPrintable(said[i]);
        EXPECT_TRUE(said.join('\n').contains(row.part)) << row.what << qPrintable(said.join('\n'));
    }
}

// Neither an echo nor another master keeps the others from answering.
TEST(Causes, SaySilenceFirstOfAStationThatIsSilentAlone) {
    const Step echo{Outcome::NoReply, {}, Read, {}};
    const Step strangers{Outcome::NoReply, StrangeRequest + StrangeReply, {}, {}};
    const Step strangeAnswer{Outcome::Foreign, {}, StrangeReply, StrangeReply};
    for (const auto &[steps, second] :
         {std::pair{std::vector{echo}, "echo"},
          {inARow({{18, strangers}, {2, strangeAnswer}}), "another master"}}) {
        const QStringList said = causesOf(steps, 40, 100, true);
        EXPECT_TRUE(said.value(0).startsWith("no answer to any of 40")) << qPrintable(said[0]);
        EXPECT_TRUE(said.value(1).startsWith(second)) << second;
        EXPECT_TRUE(causesOf(steps, 40).value(0).startsWith(second)) << second;
    }
}

TEST(Causes, CallNoAnswerLateThatAPollWouldHaveWaitedFor) {
    const Step late{Outcome::NoReply, ReadReply, {}, {}};
    EXPECT_EQ(causesOf({late}, 6, 300), QStringList());
}

TEST(Frames, AreCutOutOfWhateverWasHeardAndNoByteIsLost) {
    const QByteArray write = frame("02100064000102ABCD");
    const QByteArray heard = Noise + Read + ReadReply + Refusal2 + write + ReadReply.left(4);
    const std::vector<Frame> frames = cutFrames(heard);
    std::vector<FrameShape> shapes;
    QByteArray all;
    for (const Frame &cut : frames) {
        shapes.push_back(cut.shape);
        all += cut.bytes;
    }
    EXPECT_EQ(all, heard);
    EXPECT_EQ(shapes, (std::vector{FrameShape::Noise, FrameShape::Request, FrameShape::Reply,
                                   FrameShape::Refusal, FrameShape::Request, FrameShape::Noise}));
    EXPECT_TRUE(answers(frames[2], frames[1]));
    EXPECT_FALSE(answers(frames[2], frames[4]));
}

TEST(Frames, OfFunctionsThatThePanelDoesNotUseAreNoNoise) {
    const std::pair<const char *, const char *> exchanges[] = {
        {"0207", "020755"},                                       // exception status
        {"02080000A537", "02080000A537"},                         // diagnostics
        {"020B", "020B00000007"},                                 // event counter
        {"020C", "020C080000010801212000"},                       // event log
        {"0211", "02110302FF41"},                                 // identification
        {"0216000400F20025", "0216000400F20025"},                 // mask
        {"02170003000200E0000306000100020003", "021704000A000B"}, // write and read
        {"021804DE", "02180006000201B81284"},                     // queue
        {"022B0E0100", "022B0E01010000010003414243"},             // identification in parts
        {"02410102", "02410304"},                                 // of the maker's own
    };
    for (const auto &[request, reply] : exchanges) {
        const Frame asked = cutFrames(frame(request)).front();
        const Frame answered = cutFrames(frame(reply)).front();
        EXPECT_EQ(asked.bytes, frame(request));
        EXPECT_EQ(answered.bytes, frame(reply));
        EXPECT_TRUE(answered.shape != FrameShape::Noise && answers(answered, asked)) << request;
        EXPECT_LE(asked.firstRegister(), 4) << request;
    }
    EXPECT_EQ(cutFrames(frame("02180400")).front().shape, FrameShape::Request);
    EXPECT_EQ(cutFrames(frame("022B0E0100") + frame("022B0E01010000010003414243")).size(), 2U);
}

TEST(Health, CountsByStationAndKeepsReplyTimesWithinAStep) {
    HealthKeeper keeper;
    for (int i = 0; i < 3; ++i)
        keeper.observe(exchangeOf(i == 0 ? Garbled : Good, i));
    keeper.observe(exchangeOf({Outcome::DeviceGone, {}, {}, {}}, 3));
    const LineHealth health = keeper.snapshot();
    EXPECT_EQ(countsText(health.total()), "exchanges 3, failed 1 (bad checksum 1), given up 0");
    EXPECT_EQ(health.deviceLosses, 1U) << "of the line alone";
    EXPECT_EQ(health.strayBytes, 0U);
    EXPECT_EQ(health.stations.at(2).lastBad.reason, "bad checksum");

    ReplyTimes times;
    for (int i = 1; i <= 100; ++i)
        times.add(milliseconds(i));
    EXPECT_NEAR(static_cast<double>(times.median().count()), 50'000, 7'500);
    EXPECT_NEAR(static_cast<double>(times.quantile(0.95).count()), 95'000, 14'250);
    times.add(std::chrono::hours(1)); // beyond the last step
    EXPECT_EQ(times.longest(), std::chrono::hours(1));
}

} // namespace
