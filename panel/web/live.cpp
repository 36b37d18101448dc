#include "panel/web/live.h"

#include "panel/file/values.h"
#include "panel/health/exchange_text.h"
#include "panel/health/trace.h"
#include "panel/web/low_priority.h"

#include <QJsonDocument>
#include <QUuid>

#include <algorithm>
#include <utility>

namespace {

using std::chrono::milliseconds;

constexpr milliseconds Turn{100};
constexpr int TurnsOfReport = 10;
constexpr int TurnsOfPulse = 3; // a page that hears nothing for a second says so

qint64 nowSeconds() {
    const auto since = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(since).count();
}

QByteArray compact(const QJsonObject &object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::vector<ValueChange> neverRead(const PanelFile &panel) {
    std::vector<ValueChange> values(panel.variables.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i].variable = i;
    return values;
}

} // namespace

Live::Live(const PanelFile &panel, std::function<QJsonObject()> report,
           std::function<void()> everyTurn)
    : m_panel(panel), m_runId(QUuid::createUuid().toString(QUuid::WithoutBraces)),
      m_report(std::move(report)), m_everyTurn(std::move(everyTurn)), m_values(neverRead(panel)),
      m_curves(panel, nowSeconds()), m_thread([this] { run(); }) {}

Live::~Live() {
    {
        const std::lock_guard guard(m_mutex);
        m_isEnding = true;
    }
    m_ending.notify_one();
    m_thread.join();
}

void Live::observe(const ValueChange &change) {
    const std::lock_guard guard(m_mutex);
    m_values[change.variable] = change;
    m_changed.insert(change.variable);
}

void Live::observe(const Exchange &exchange) {
    Exchange copy = exchange;
    const std::lock_guard guard(m_incomingMutex);
    m_incoming.push_back(std::move(copy));
    if (m_incoming.size() > ShownExchanges)
        m_incoming.pop_front();
}

QJsonObject Live::valueJson(const ValueChange &value) const {
    const Variable &described = m_panel.variables[value.variable];
    const bool isKnown = value.quality != Quality::Never;
    return {{"line", m_panel.lines[described.line].name},
            {"name", described.name},
            {"value", isKnown ? ::valueJson(described, value.data) : QJsonValue()},
            {"text", value.text},
            {"unit", described.unit},
            {"quality", qualityName(value.quality)},
            {"time", isKnown ? QJsonValue(timeText(value.at)) : QJsonValue()}};
}

QJsonObject Live::valuesJson(const std::vector<ValueChange> &values) const {
    QJsonArray list;
    for (const ValueChange &value : values)
        list += valueJson(value);
    return {{"values", list}};
}

QJsonObject Live::values() const {
    std::unique_lock guard(m_mutex);
    const std::vector<ValueChange> values = m_values;
    guard.unlock();
    return valuesJson(values);
}

QJsonObject Live::curves() const {
    std::unique_lock guard(m_mutex);
    const Curves curves = m_curves;
    guard.unlock();
    return curves.toJson();
}

QJsonObject Live::exchangesJson(const std::vector<Numbered> &exchanges) const {
    QJsonArray list;
    for (const auto &[number, exchange] : exchanges) {
        const QString text = traceLine(exchange, {});
        const QString request = requestText(exchange);
        list += QJsonObject{{"number", number},
                            {"line", m_panel.lines[exchange.line].name},
                            {"at", timeText(exchange.sentAt)},
                            {"station", exchange.station},
                            {"request", request},
                            {"outcome", outcomeKey(exchange.outcome)},
                            {"result", text.section(request + ": ", 1)},
                            {"attempt", exchange.attempt},
                            {"gaveUp", exchange.gaveUp}};
    }
    return {{"exchanges", list}};
}

QByteArray Live::wholePicture(bool wantsLines) const {
    QByteArray events = eventText("run", compact({{"run", m_runId}}));
    events += eventText("values", compact(values()));
    if (!wantsLines)
        return events;
    std::vector<Numbered> exchanges;
    {
        const std::lock_guard guard(m_mutex);
        exchanges.assign(m_exchanges.begin(), m_exchanges.end());
    }
    events += eventText("exchanges", compact(exchangesJson(exchanges)));
    return events + eventText("lines", compact(m_report()));
}

std::shared_ptr<EventStream> Live::open(bool wantsLines) {
    auto page = std::make_shared<EventStream>(wantsLines);
    const std::lock_guard guard(m_pagesMutex); // nothing is told between picture and list
    if (m_pages.size() >= MostPages || m_isStopped)
        return {};
    page->push(wholePicture(wantsLines));
    m_pages.push_back(page);
    return page;
}

void Live::stop() {
    const std::lock_guard guard(m_pagesMutex);
    m_isStopped = true;
    for (const auto &page : m_pages)
        page->end();
    m_pages.clear();
}

std::deque<Exchange> Live::takeExchanges() {
    const std::lock_guard guard(m_incomingMutex);
    return std::exchange(m_incoming, {});
}

Live::News Live::takeNews() {
    News news;
    const std::deque<Exchange> exchanges = takeExchanges();
    const std::lock_guard guard(m_mutex);
    news.variables.assign(m_changed.begin(), m_changed.end());
    m_changed.clear();
    for (const Exchange &exchange : exchanges)
        news.exchanges.push_back({++m_latest, exchange});
    m_exchanges.insert(m_exchanges.end(), news.exchanges.begin(), news.exchanges.end());
    while (m_exchanges.size() > ShownExchanges)
        m_exchanges.pop_front();
    m_curves.note(m_values, nowSeconds());
    return news;
}

QByteArray Live::valueEvents(const News &news) const {
    QByteArray events;
    if (m_turn % TurnsOfPulse == 0) {
        const QString now = timeText(std::chrono::system_clock::now());
        events += eventText("pulse", compact({{"now", now}}));
    }
    if (news.variables.empty())
        return events;
    std::vector<ValueChange> values;
    {
        const std::lock_guard guard(m_mutex);
        for (const std::size_t variable : news.variables)
            values.push_back(m_values[variable]);
    }
    return events + eventText("values", compact(valuesJson(values)));
}

QByteArray Live::lineEvents(const News &news) const {
    QByteArray events;
    if (!news.exchanges.empty())
        events += eventText("exchanges", compact(exchangesJson(news.exchanges)));
    if (m_turn % TurnsOfReport == 0)
        events += eventText("lines", compact(m_report()));
    return events;
}

void Live::tell(const News &news) {
    const std::lock_guard guard(m_pagesMutex);
    const auto isGone = [](const auto &page) {
        return page->isEnded();
    };
    m_pages.erase(std::remove_if(m_pages.begin(), m_pages.end(), isGone), m_pages.end());
    if (m_pages.empty())
        return;
    ++m_turn;
    const auto wantsLines = [](const auto &page) {
        return page->wantsLines();
    };
    const QByteArray ofValues = valueEvents(news);
    QByteArray ofLines;
    if (std::any_of(m_pages.begin(), m_pages.end(), wantsLines))
        ofLines = lineEvents(news);
    for (const auto &page : m_pages) {
        const QByteArray events = page->wantsLines() ? ofValues + ofLines : ofValues;
        if (!events.isEmpty())
            page->push(events);
    }
}

void Live::run() {
    giveWayToTheLine();
    for (;;) {
        {
            std::unique_lock guard(m_mutex);
            if (m_ending.wait_for(guard, Turn, [this] { return m_isEnding; }))
                return;
        }
        tell(takeNews());
        m_everyTurn();
    }
}
