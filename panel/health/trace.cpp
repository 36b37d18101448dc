#include "panel/health/trace.h"

#include "panel/health/earlier_file.h"
#include "panel/health/exchange_text.h"
#include "panel/health/heard.h"

#include <QRegularExpression>

#include <map>

namespace {

constexpr int MostRegisters = 8;
constexpr int MostBits = 16;
constexpr int MostBytes = 64;
constexpr int ChecksumBytes = 2;

QString limited(const QStringList &values, int most) {
    const bool isMore = values.size() > most;
    return QStringList(values.mid(0, most)).join(' ') + (isMore ? " ..." : "");
}

int unsignedAt(const QByteArray &data, int index) {
    return static_cast<uchar>(data.at(index));
}

QString registersText(const QByteArray &data, int /*count*/) {
    QStringList values;
    for (int at = 0; at + 1 < data.size() && values.size() <= MostRegisters; at += 2)
        values += QString::number(unsignedAt(data, at) << 8 | unsignedAt(data, at + 1));
    return limited(values, MostRegisters);
}

// The lowest bit of the first byte first.
QString bitsText(const QByteArray &data, int count) {
    QStringList values;
    for (int i = 0; i < count && i / 8 < data.size() && values.size() <= MostBits; ++i)
        values += QString::number(unsignedAt(data, i / 8) >> i % 8 & 1);
    return limited(values, MostBits);
}

QString coilText(const QByteArray &data, int /*count*/) {
    return data.startsWith('\0') ? "0" : "1";
}

// Where the values of a function stand in its frame, and how they are shown.
struct Values {
    int begin;
    QString (*text)(const QByteArray &data, int count);
};
using ValuesByFunction = std::map<int, Values>;

// Behind station, function, register; and number of registers and of bytes.
const ValuesByFunction &valuesOfRequests() {
    static const ValuesByFunction values{{5, {4, coilText}},
                                         {6, {4, registersText}},
                                         {15, {7, bitsText}},
                                         {16, {7, registersText}},
                                         {22, {4, registersText}}};
    return values;
}

// Behind station, function, number of bytes; of a queue also of registers.
const ValuesByFunction &valuesOfReplies() {
    static const ValuesByFunction values{{1, {3, bitsText}},       {2, {3, bitsText}},
                                         {3, {3, registersText}},  {4, {3, registersText}},
                                         {23, {3, registersText}}, {24, {6, registersText}}};
    return values;
}

// Empty where the function carries none.
QString valuesText(const QByteArray &frame, const ValuesByFunction &known,
                   const Exchange &exchange) {
    const auto values = known.find(exchange.function);
    if (values == known.end())
        return {};
    const QByteArray data = frame.left(frame.size() - ChecksumBytes).mid(values->second.begin);
    return values->second.text(data, exchange.registers);
}

QString bytesText(const QByteArray &bytes) {
    return hexText(bytes.left(MostBytes)) + (bytes.size() > MostBytes ? " ..." : "");
}

bool fits(const Exchange &exchange) {
    return exchange.outcome == Outcome::Good || exchange.outcome == Outcome::Refused;
}

// ", 10 11", and what came besides.
QString whatCame(const Exchange &exchange) {
    QStringList came;
    if (exchange.outcome == Outcome::Good)
        came += valuesText(exchange.reply, valuesOfReplies(), exchange);
    const QByteArray strays = straysOf(exchange);
    if (fits(exchange)) {
        came += strays.isEmpty() ? QString() : "besides " + bytesText(strays);
    } else {
        came += bytesText(heardOf(exchange.received).bytes);
    }
    came.removeAll(QString());
    return came.isEmpty() ? QString() : ", " + came.join(", ");
}

bool isTrace(const QByteArray &beginning) {
    static const QRegularExpression line("^\\d{4}-\\d\\d-\\d\\dT[0-9:.]{12}Z .*station \\d+: ");
    return line.match(QString::fromUtf8(beginning)).hasMatch();
}

} // namespace

QString traceLine(const Exchange &exchange, const QString &lineName) {
    const QString line = lineName.isEmpty() ? QString() : lineName + ' ';
    const QString written = valuesText(exchange.request, valuesOfRequests(), exchange);
    const auto time = fits(exchange) ? exchange.replyTime : exchange.duration;
    return QString("%1 %2station %3: %4: %5%6%7")
        .arg(timeText(exchange.sentAt), line, QString::number(exchange.station),
             requestText(exchange) + (written.isEmpty() ? "" : " = " + written),
             outcomeText(exchange), whatCame(exchange),
             time.count() > 0 ? ", in " + durationText(time) : "");
}

bool hasTrouble(const Exchange &exchange) {
    return exchange.outcome != Outcome::Good || !straysOf(exchange).isEmpty();
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
    if (m_which == Which::All || hasTrouble(exchange))
        m_queue->push(exchange);
}

void Trace::close() {
    m_file.hurry();
    if (m_queue)
        m_queue->close();
}
