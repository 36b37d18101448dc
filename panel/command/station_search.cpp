#include "panel/command/station_search.h"

#include "modbus/checksums.h"
#include "modbus/frame_bytes.h"
#include "panel/command/device_options.h"
#include "panel/health/heard.h"
#include "panel/line/read_frames.h"
#include "panel/line/reply_check.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <set>
#include <utility>

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr int MostStations = 247;
constexpr int ReplyBytes = readReplyBytes(1);
// A request and this time for each station; most answer in less. Who answers later is heard while
// the next one is asked, and asked again.
constexpr milliseconds ShortTimeout{50};
constexpr milliseconds StationTime{10}; // that a station has at least, on slow lines
constexpr milliseconds LongTimeout{500};
constexpr milliseconds Quiet{100};
// At a wrong baud rate there may be garbage after every request.
constexpr int MostGarbledTries = 6;

QByteArray readRequest(int station, int function) {
    QByteArray frame;
    appendBigEndian(frame, station, 1);
    appendBigEndian(frame, function, 1);
    appendBigEndian(frame, 0, 2);
    appendBigEndian(frame, 1, 2);
    appendCrc(frame);
    return frame;
}

// Any frame of the station asked will do.
bool isAnswer(const Exchange &exchange) {
    return exchange.outcome == Outcome::Good || exchange.outcome == Outcome::Refused ||
           exchange.outcome == Outcome::WrongReply;
}

// The station of a good frame among all that was heard, our own echo aside; 0 when there is none.
int stationHeard(const std::vector<ReceivedBytes> &received, const QByteArray &request) {
    QByteArray bytes;
    for (const ReceivedBytes &piece : received)
        bytes += piece.bytes;
    for (int at = 0; at < bytes.size(); ++at) {
        const QByteArray rest = bytes.mid(at);
        const int length = wholeFrameLength(rest);
        if (length > 0 && rest.left(length) != request)
            return byteAt(rest, 0);
    }
    return 0;
}

struct Framing {
    LineParity parity;
    int stopBits;
};

std::vector<Framing> framings(const std::vector<LineParity> &parities, int stopBits) {
    constexpr Framing Usual[] = {
        {LineParity::Even, 1}, {LineParity::None, 1}, {LineParity::None, 2}, {LineParity::Odd, 1}};
    std::vector<Framing> chosen;
    for (const Framing &usual : Usual) {
        const bool isWanted = parities.empty() || std::find(parities.begin(), parities.end(),
                                                            usual.parity) != parities.end();
        const int bits = stopBits > 0 ? stopBits : usual.stopBits;
        const bool isKnown =
            std::any_of(chosen.begin(), chosen.end(), [&usual, bits](const Framing &known) {
                return known.parity == usual.parity && known.stopBits == bits;
            });
        if (isWanted && !isKnown)
            chosen.push_back({usual.parity, bits});
    }
    return chosen;
}

} // namespace

QString settingText(const SearchSetting &setting) {
    return QString("%1 %2 %3")
        .arg(setting.baudRate)
        .arg(parityName(setting.parity))
        .arg(setting.stopBits);
}

std::vector<SearchSetting> searchOrder(const std::vector<int> &baudRates,
                                       const std::vector<LineParity> &parities, int stopBits) {
    // Within a group no baud rate is much likelier than another; their framings take turns.
    std::vector<std::vector<int>> groups{baudRates};
    if (baudRates.empty())
        groups = {{19200, 9600}, {38400, 115200, 57600}, {4800, 2400, 1200}};
    std::vector<SearchSetting> order;
    for (const std::vector<int> &group : groups) {
        for (const Framing &framing : framings(parities, stopBits)) {
            for (const int baudRate : group)
                order.push_back({baudRate, framing.parity, framing.stopBits});
        }
    }
    return order;
}

std::optional<std::vector<int>> readStations(const QString &text) {
    static const QRegularExpression range("^(\\d{1,3})(?:-(\\d{1,3}))?\\z");
    std::set<int> stations;
    for (const QString &part : text.split(',')) {
        const QRegularExpressionMatch match = range.match(part.trimmed());
        const int first = match.captured(1).toInt();
        const int last = match.captured(2).isEmpty() ? first : match.captured(2).toInt();
        if (!match.hasMatch() || first < 1 || last > MostStations || last < first)
            return {};
        for (int station = first; station <= last; ++station)
            stations.insert(station);
    }
    return std::vector<int>(stations.begin(), stations.end());
}

StationSearch::StationSearch(Plan plan, const std::atomic<bool> &stopRequested)
    : m_plan(std::move(plan)), m_stopRequested(stopRequested) {}

QString StationSearch::run() {
    QString error;
    for (std::size_t i = 0; i < m_plan.settings.size() && error.isEmpty() && !m_stopRequested; ++i)
        error = searchAt(i);
    return error;
}

QString StationSearch::searchAt(std::size_t index) {
    const SearchSetting &setting = m_plan.settings[index];
    SerialPort port(lineOf(setting), m_stopRequested);
    const QString error = port.open();
    m_garbledTries = 0;
    m_lastAsked = 0;
    for (std::size_t i = 0; i < m_plan.stations.size(); ++i) {
        if (!error.isEmpty() || port.isGone() || m_stopRequested)
            break;
        onProgress({index, m_plan.stations[i], timeLeft(index, i)});
        ask(port, setting, m_plan.stations[i]);
    }
    if (error.isEmpty() && !port.isGone() && !m_stopRequested)
        hearLastAnswers(port, setting);
    return port.isGone() ? port.device() + ": gone" : error;
}

void StationSearch::ask(SerialPort &port, const SearchSetting &setting, int station) {
    const Exchange exchange =
        port.exchange(readRequest(station, ReadHolding), ReplyBytes, timeout(setting));
    const int late = stationHeard(exchange.received, exchange.request);
    const int previous = std::exchange(m_lastAsked, station);
    if (m_stopRequested || port.isGone())
        return;
    ++m_asked;
    m_echoes += hasEcho(exchange) ? 1 : 0;
    if (isAnswer(exchange)) {
        note(port, setting, exchange);
        return;
    }
    if (straysOf(exchange).isEmpty())
        return;
    // A late answer, whole or spoilt by our own request.
    if (late == 0) {
        m_heardGarbage = true;
        if (++m_garbledTries > MostGarbledTries)
            return;
    }
    for (const int again : {late != 0 ? late : previous, station}) {
        if (again != 0)
            askPatiently(port, setting, again);
    }
}

// The last ones may be late as well.
void StationSearch::hearLastAnswers(SerialPort &port, const SearchSetting &setting) {
    if (!port.listen(LongTimeout))
        return;
    port.waitUntilQuiet(Quiet);
    const int late = stationHeard(port.takeReceived(), readRequest(m_lastAsked, ReadHolding));
    askPatiently(port, setting, late != 0 ? late : m_lastAsked);
}

void StationSearch::askPatiently(SerialPort &port, const SearchSetting &setting, int station) {
    if (isFound(setting, station))
        return;
    port.waitUntilQuiet(Quiet);
    const Exchange exchange =
        port.exchange(readRequest(station, ReadHolding), ReplyBytes, LongTimeout);
    if (isAnswer(exchange))
        note(port, setting, exchange);
}

void StationSearch::note(SerialPort &port, const SearchSetting &setting, const Exchange &exchange) {
    if (isFound(setting, exchange.station))
        return;
    FoundStation found{exchange.station, setting, exchange.replyTime,
                       exchange.outcome == Outcome::Good, false};
    if (!found.hasHolding) {
        found.hasInput =
            port.exchange(readRequest(exchange.station, ReadInput), ReplyBytes, LongTimeout)
                .outcome == Outcome::Good;
    }
    m_found.push_back(found);
    onFound(found);
}

bool StationSearch::isFound(const SearchSetting &setting, int station) const {
    return std::any_of(m_found.begin(), m_found.end(), [&](const FoundStation &found) {
        return found.station == station && settingText(found.setting) == settingText(setting);
    });
}

LineSettings StationSearch::lineOf(const SearchSetting &setting) const {
    LineSettings line;
    line.device = m_plan.device;
    line.baudRate = setting.baudRate;
    line.parity = setting.parity;
    line.stopBits = setting.stopBits;
    return withUsualTimes(line);
}

microseconds StationSearch::timeout(const SearchSetting &setting) const {
    if (m_plan.timeoutMs > 0)
        return milliseconds(m_plan.timeoutMs);
    const LineSettings line = lineOf(setting);
    const microseconds least =
        microseconds(line.silenceUs) + timeOfCharacters(line, 1) + StationTime;
    return std::max<microseconds>(ShortTimeout, least);
}

std::chrono::seconds StationSearch::timeLeft(std::size_t setting, std::size_t stationIndex) const {
    microseconds left{0};
    std::size_t stations = m_plan.stations.size() - stationIndex;
    for (std::size_t i = setting; i < m_plan.settings.size(); ++i) {
        const microseconds each = timeOfCharacters(lineOf(m_plan.settings[i]), ReadRequestBytes) +
                                  timeout(m_plan.settings[i]);
        left += each * static_cast<int>(stations);
        stations = m_plan.stations.size();
    }
    return std::chrono::ceil<std::chrono::seconds>(left);
}
