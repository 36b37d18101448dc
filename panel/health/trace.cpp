#include "panel/health/trace.h"

#include "panel/health/earlier_file.h"
#include "panel/health/exchange_text.h"
#include "panel/line/read_frames.h"

#include <QRegularExpression>

#include <map>

namespace {

constexpr int WriteOne = 6;
constexpr int WriteSeveral = 16;
constexpr int MostRegisters = 8;
constexpr int MostBytes = 64;

// The registers of a frame, from that byte to the checksum.
QString registersText(const QByteArray &frame, int begin) {
    QStringList values;
    for (int at = begin; at + 3 < frame.size() && values.size() < MostRegisters; at += 2) {
        const int value =
            static_cast<uchar>(frame.at(at)) << 8 | static_cast<uchar>(frame.at(at + 1));
        values += QString::number(value);
    }
    const bool isMore = frame.size() > begin + 2 + 2 * MostRegisters;
    return values.join(' ') + (isMore ? " ..." : "");
}

// What a write carries: " = 77".
QString writtenText(const Exchange &exchange) {
    // Behind station, function, register; and number of registers and of bytes.
    static const std::map<int, int> begins{{WriteOne, 4}, {WriteSeveral, 7}};
    const auto begin = begins.find(exchange.function);
    return begin == begins.end() ? QString()
                                 : " = " + registersText(exchange.request, begin->second);
}

QString heardText(const Exchange &exchange) {
    QByteArray heard;
    for (const ReceivedBytes &piece : exchange.received)
        heard += piece.bytes;
    return hexText(heard.left(MostBytes)) + (heard.size() > MostBytes ? " ..." : "");
}

bool fits(const Exchange &exchange) {
    return exchange.outcome == Outcome::Good || exchange.outcome == Outcome::Refused;
}

QString whatCame(const Exchange &exchange) {
    const bool isRegisters = exchange.function == ReadHolding || exchange.function == ReadInput;
    if (exchange.outcome == Outcome::Good && isRegisters)
        return registersText(exchange.reply, 3); // behind station, function, byte count
    return fits(exchange) ? QString() : heardText(exchange);
}

bool isTrace(const QByteArray &beginning) {
    static const QRegularExpression line("^\\d{4}-\\d\\d-\\d\\dT[0-9:.]{12}Z .*station \\d+: ");
    return line.match(QString::fromUtf8(beginning)).hasMatch();
}

} // namespace

QString traceLine(const Exchange &exchange, const QString &lineName) {
    const QString line = lineName.isEmpty() ? QString() : lineName + ' ';
    const QString came = whatCame(exchange);
    const auto time = fits(exchange) ? exchange.replyTime : exchange.duration;
    return QString("%1 %2station %3: %4: %5%6%7")
        .arg(timeText(exchange.sentAt), line, QString::number(exchange.station),
             requestText(exchange) + writtenText(exchange), outcomeText(exchange),
             came.isEmpty() ? "" : ", " + came,
             time.count() > 0 ? ", in " + durationText(time) : "");
}

Trace::Trace(const QStringList &lineNames, Which which) : m_lineNames(lineNames), m_which(which) {}

QString Trace::open(const QString &path) {
    QString wrong = path == "-" ? QString() : whyNotReplaced(path, "trace", isTrace);
    if (!wrong.isEmpty())
        return wrong;
    if (path == "-") {
        m_file.useStandardOutput();
    } else {
        wrong = m_file.open(path);
    }
    if (!wrong.isEmpty())
        return wrong;
    const auto write = [this](const Exchange &exchange) {
        const QString line =
            traceLine(exchange, m_lineNames.value(static_cast<int>(exchange.line)));
        return m_file.write((line + '\n').toUtf8());
    };
    m_queue.emplace(write, nullptr);
    return {};
}

void Trace::observe(const Exchange &exchange) {
    if (m_which == Which::All || exchange.outcome != Outcome::Good)
        m_queue->push(exchange);
}

void Trace::close() {
    m_file.hurry();
    if (m_queue)
        m_queue->close();
}
