// What moves on the page: gathers the changes of values and the exchanges of the lines, and tells
// every open page ten times a second what is new. Whoever hands something in never waits.
#pragma once

#include "panel/feed/value_change.h"
#include "panel/file/panel_file.h"
#include "panel/line/exchange.h"
#include "panel/web/curves.h"
#include "panel/web/event_stream.h"

#include <QJsonArray>
#include <QJsonObject>

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

class Live {
public:
    static constexpr std::size_t MostPages = 56;
    static constexpr std::size_t ShownExchanges = 200;

    // The panel outlives it. `report` is the state of the lines; `everyTurn` is called on the same
    // thread, ten times a second.
    Live(const PanelFile &panel, std::function<QJsonObject()> report,
         std::function<void()> everyTurn);
    ~Live();
    Live(const Live &) = delete;
    Live &operator=(const Live &) = delete;

    void observe(const ValueChange &change); // a ValueListener
    void observe(const Exchange &exchange);  // an ExchangeListener

    // Tells this run from those before: a page that outlived one begins anew.
    QString runId() const { return m_runId; }
    // Any thread. {"values": [{"line", "name", "value", "text", "unit", "quality", "time"}]}; value
    // and time are null while it was never read.
    QJsonObject values() const;
    QJsonObject curves() const;

    // A page opens: it gets the whole picture, then what is new. None when too many are open.
    std::shared_ptr<EventStream> open(bool wantsLines);
    // Ends all streams; no other is opened.
    void stop();

private:
    struct Numbered {
        qint64 number; // from 1 on in each run, so that a page shows none twice
        Exchange exchange;
    };
    struct News {
        std::vector<std::size_t> variables;
        std::vector<Numbered> exchanges;
    };

    void run();
    std::deque<Exchange> takeExchanges();
    News takeNews();
    void tell(const News &news);
    QJsonObject valueJson(const ValueChange &value) const;
    QJsonObject valuesJson(const std::vector<ValueChange> &values) const;
    QJsonObject exchangesJson(const std::vector<Numbered> &exchanges) const;
    QByteArray wholePicture(bool wantsLines) const;
    QByteArray valueEvents(const News &news) const;
    QByteArray lineEvents(const News &news) const;

    const PanelFile &m_panel;
    const QString m_runId;
    std::function<QJsonObject()> m_report;
    std::function<void()> m_everyTurn;

    // A lock of its own, since lines come here between two requests: held for a push or a swap.
    std::mutex m_incomingMutex;
    std::deque<Exchange> m_incoming; // since the last turn, as many as are shown

    mutable std::mutex m_mutex; // guards what follows, held to copy: JSON is made outside
    std::condition_variable m_ending;
    bool m_isEnding = false;
    std::vector<ValueChange> m_values; // by variable
    std::set<std::size_t> m_changed;
    std::deque<Numbered> m_exchanges; // the last ones
    qint64 m_latest = 0;              // number of the latest
    Curves m_curves;

    mutable std::mutex m_pagesMutex; // guards the list; taken before m_mutex where both are
    std::vector<std::shared_ptr<EventStream>> m_pages;
    bool m_isStopped = false;
    int m_turn = 0;
    std::thread m_thread;
};
