// What the bytes heard after a request mean for it.
#include "modbus/checksums.h"
#include "panel/line/reply_check.h"

#include <gtest/gtest.h>

namespace {

QByteArray frame(const char *hex) {
    QByteArray bytes = QByteArray::fromHex(hex);
    appendCrc(bytes);
    return bytes;
}

QByteArray damaged(QByteArray bytes, int at, int flip = 0x10) {
    bytes[at] = static_cast<char>(bytes[at] ^ flip);
    return bytes;
}

const QByteArray Read = frame("020300640002");
const QByteArray ReadReply = frame("020304000A000B");
const QByteArray Write = frame("02100064000102ABCD");
const QByteArray WriteReply = frame("021000640001");
const QByteArray OfStation3 = frame("030302000C");
const QByteArray Noise = QByteArray::fromHex("00FF");

TEST(ReplyCheck, BelievesTheReplyThatFitsTheRequestAlone) {
    const struct {
        const char *what;
        QByteArray request;
        QByteArray heard;
        Outcome outcome;
        ListenUntil listen;
        QByteArray reply;
    } cases[] = {
        {"nothing", Read, {}, Outcome::NoReply, ListenUntil::ResponseTimeout, {}},
        {"the reply", Read, ReadReply, Outcome::Good, ListenUntil::Decided, ReadReply},
        {"bytes too many", Read, ReadReply + Noise, Outcome::Good, ListenUntil::Decided, ReadReply},
        {"behind our echo", Read, Read + ReadReply, Outcome::Good, ListenUntil::Decided, ReadReply},
        {"a write behind its echo", Write, Write + WriteReply, Outcome::Good, ListenUntil::Decided,
         WriteReply},
        {"behind the late answer of another station", Read, OfStation3 + ReadReply, Outcome::Good,
         ListenUntil::Decided, ReadReply},
        {"behind noise", Read, Noise + ReadReply, Outcome::Good, ListenUntil::Decided, ReadReply},
        {"behind a late answer that was cut", Read, ReadReply.left(5) + ReadReply, Outcome::Good,
         ListenUntil::Decided, ReadReply},
        {"behind a late answer of another length", Read, frame("0203020001") + ReadReply,
         Outcome::Good, ListenUntil::Decided, ReadReply},
        {"a refusal", Read, frame("028302"), Outcome::Refused, ListenUntil::Decided,
         frame("028302")},

        {"of the other area", Read, frame("020404000A000B"), Outcome::WrongReply,
         ListenUntil::ResponseTimeout, frame("020404000A000B")},
        {"of fewer registers", Read, frame("020302000A"), Outcome::WrongReply,
         ListenUntil::ResponseTimeout, frame("020302000A")},
        {"right length, other byte count", Read, frame("020306000A000B"), Outcome::WrongReply,
         ListenUntil::ResponseTimeout, frame("020306000A000B")},
        {"right length, unknown function", Read, frame("024104000A000B"), Outcome::WrongReply,
         ListenUntil::ResponseTimeout, frame("024104000A000B")},
        {"echo of another address", Write, frame("021000650001"), Outcome::WrongReply,
         ListenUntil::ResponseTimeout, frame("021000650001")},
        {"echo of another count", Write, frame("021000640002"), Outcome::WrongReply,
         ListenUntil::ResponseTimeout, frame("021000640002")},
        {"refusal of another request", Read, frame("029002"), Outcome::WrongReply,
         ListenUntil::ResponseTimeout, frame("029002")},
        {"another station alone", Read, OfStation3, Outcome::Foreign, ListenUntil::ResponseTimeout,
         OfStation3},

        {"damaged data", Read, damaged(ReadReply, 5), Outcome::BadCrc, ListenUntil::BytePause,
         damaged(ReadReply, 5)},
        {"damaged station", Read, damaged(ReadReply, 0), Outcome::BadCrc, ListenUntil::BytePause,
         damaged(ReadReply, 0)},
        {"damaged, and ends like a beginning", Read, ReadReply.left(8) + '\2', Outcome::BadCrc,
         ListenUntil::BytePause, ReadReply.left(8) + '\2'},
        {"damaged refusal", Read, damaged(frame("028302"), 3), Outcome::BadCrc,
         ListenUntil::BytePause, damaged(frame("028302"), 3)},
        {"damaged behind another station's", Read, OfStation3 + damaged(ReadReply, 5),
         Outcome::BadCrc, ListenUntil::BytePause, damaged(ReadReply, 5)},
        {"cut short", Read, ReadReply.left(6), Outcome::CutShort, ListenUntil::BytePause,
         ReadReply.left(6)},
        {"a byte that may begin it", Read, "\2", Outcome::CutShort, ListenUntil::LaterOfBoth, "\2"},
        {"noise alone", Read, Noise, Outcome::CutShort, ListenUntil::LaterOfBoth, Noise},
    };
    for (const auto &c : cases) {
        const ReplyCheck check(c.request, c.request == Read ? ReadReply.size() : WriteReply.size());
        const ReplyVerdict verdict = check.judge(c.heard);
        EXPECT_EQ(verdict.outcome, c.outcome) << c.what;
        EXPECT_EQ(verdict.listen, c.listen) << c.what;
        EXPECT_EQ(c.heard.mid(verdict.replyBegin, verdict.replyLength).toHex().toStdString(),
                  c.reply.toHex().toStdString())
            << c.what;
        EXPECT_EQ(verdict.exceptionCode, c.outcome == Outcome::Refused ? 2 : 0) << c.what;
    }
}

TEST(ReplyCheck, OurEchoAloneIsNoReply) {
    const ReplyVerdict verdict = ReplyCheck(Read, ReadReply.size()).judge(Read);
    EXPECT_EQ(verdict.outcome, Outcome::NoReply);
    EXPECT_EQ(verdict.listen, ListenUntil::ResponseTimeout);
    EXPECT_EQ(verdict.echoBegin, 0);
}

TEST(ReplyCheck, DecidesWithTheLastByteAndNotBefore) {
    const QByteArray heard = OfStation3 + Read + Noise + ReadReply;
    const ReplyCheck check(Read, ReadReply.size());
    for (int length = 0; length < heard.size(); ++length)
        EXPECT_NE(check.judge(heard.left(length)).listen, ListenUntil::Decided) << length;
    EXPECT_EQ(check.judge(heard).listen, ListenUntil::Decided);
}

} // namespace
