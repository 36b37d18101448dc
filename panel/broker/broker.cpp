#include "panel/broker/broker.h"

#include "panel/broker/inbox.h"
#include "panel/broker/mqtt_link.h"
#include "panel/broker/publisher.h"
#include "panel/broker/remote_writes.h"
#include "panel/broker/spool.h"

#include <QJsonDocument>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds ReportInterval(60);
constexpr std::chrono::seconds LeftOutNoteInterval(60);
constexpr std::chrono::seconds PatienceAtTheEnd(2);

} // namespace

class Broker::Work {
public:
    Work(const PanelFile &panel, Links links);
    ~Work() { stop(); }
    Work(const Work &) = delete;
    Work &operator=(const Work &) = delete;

    QString start();
    void take(const ValueChange &change) { m_inbox->push(change); }
    void stop();
    QJsonObject status() const;

private:
    MqttLink::Events events() const;
    RemoteWrites::Tell resultTeller();

    void run();
    void turn(std::optional<Clock::time_point> until);
    void end();
    void waitUntilIdle();

    void connected(int session);
    void lost(int session, const QString &reason);
    void note(const QString &text);
    std::optional<int> send(const QByteArray &topic, const QByteArray &payload, bool isRetained);
    void sendReport(Clock::time_point now);
    void noteLeftOut(quint64 writes, Clock::time_point now);
    void noteStatus();

    const PanelFile &m_panel;
    const Links m_links;
    const QByteArray m_prefix;
    // Shared with those that may still have something to say when this is gone.
    const std::shared_ptr<Inbox> m_inbox = std::make_shared<Inbox>();

    // All of the broker's thread.
    Spool m_spool;
    Publisher m_publisher;
    RemoteWrites m_remoteWrites;
    MqttLink m_link;
    std::optional<int> m_session; // the connection's; nothing: there is none
    QString m_reason;             // why there is none
    qint64 m_droppedBefore = 0;   // by the spool, in earlier runs
    quint64 m_overrun = 0;        // changes that came too fast for the inbox
    quint64 m_leftOut = 0;        // clients' writes that came too fast for it
    Clock::time_point m_leftOutNoteDue;
    Clock::time_point m_reportDue;
    bool m_isClosed = false;

    mutable std::mutex m_mutex; // guards m_status
    QJsonObject m_status;
    std::thread m_thread;
};

Broker::Work::Work(const PanelFile &panel, Links links)
    : m_panel(panel), m_links(std::move(links)), m_prefix(panel.broker->prefix.toUtf8()),
      m_publisher(panel, panel.broker->spoolFile.isEmpty() ? nullptr : &m_spool,
                  [this](const QByteArray &topic, const QByteArray &payload, bool isRetained) {
                      return send(topic, payload, isRetained);
                  }),
      m_remoteWrites(panel, m_links.write, resultTeller(), m_links.log),
      m_link(*panel.broker, {m_prefix + "/status", "offline"}, events()) {
    noteStatus();
}

QString Broker::Work::start() {
    const BrokerSettings &settings = *m_panel.broker;
    QString error;
    if (!settings.spoolFile.isEmpty())
        error = m_spool.open(settings.spoolFile, settings.spoolMegabytes);
    m_droppedBefore = m_spool.dropped();
    if (m_links.note && !m_spool.remark().isEmpty())
        m_links.note("broker: " + m_spool.remark());
    if (error.isEmpty())
        error = m_link.start();
    if (!error.isEmpty())
        return "broker: " + error;
    m_thread = std::thread([this] { run(); });
    return {};
}

// A task that comes too late is never carried out: the thread has ended.
MqttLink::Events Broker::Work::events() const {
    auto *self = const_cast<Work *>(this);
    const auto inbox = m_inbox;
    return {
        [self, inbox](int session) { inbox->post([self, session] { self->connected(session); }); },
        [self, inbox](int session, int id) {
            inbox->post([self, session, id] {
                if (session == self->m_session)
                    self->m_publisher.acknowledged(id);
            });
        },
        [self, inbox](int session, const MqttMessage &message) {
            const auto bytes =
                std::size_t(message.topic.size()) + std::size_t(message.payload.size());
            inbox->postReceived(bytes, [self, session, message] {
                if (session == self->m_session)
                    self->m_remoteWrites.take(message);
            });
        },
        [self, inbox](int session, const QString &reason) {
            inbox->post([self, session, reason] { self->lost(session, reason); });
        }};
}

RemoteWrites::Tell Broker::Work::resultTeller() {
    return [this, inbox = m_inbox](const QByteArray &name, const QByteArray &result) {
        inbox->post([this, name, result] { send(m_prefix + "/result/" + name, result, false); });
    };
}

void Broker::Work::stop() {
    if (!m_thread.joinable())
        return;
    m_inbox->close();
    m_thread.join();
}

QJsonObject Broker::Work::status() const {
    const std::lock_guard lock(m_mutex);
    return m_status;
}

void Broker::Work::run() {
    while (!m_isClosed) {
        auto until = m_publisher.nextDue();
        if (m_session)
            until = std::min(until.value_or(m_reportDue), m_reportDue);
        turn(until);
    }
    end();
}

void Broker::Work::turn(std::optional<Clock::time_point> until) {
    const Inbox::Contents taken = m_inbox->takeAll(until);
    const auto now = Clock::now();
    m_isClosed = taken.isClosed;
    m_overrun += taken.dropped;
    noteLeftOut(taken.leftOut, now);
    for (const ValueChange &change : taken.changes)
        m_publisher.take(change, now);
    for (const Inbox::Task &task : taken.tasks)
        task();
    m_publisher.pump(now);
    if (m_session && now >= m_reportDue)
        sendReport(now);
    m_spool.commit();
    noteStatus();
}

void Broker::Work::end() {
    m_publisher.hurry();
    waitUntilIdle();
    send(m_prefix + "/status", "offline", true);
    m_publisher.end();
    m_spool.commit();
    m_link.stop();
    noteStatus();
}

void Broker::Work::waitUntilIdle() {
    const auto end = Clock::now() + PatienceAtTheEnd;
    while (m_session && !m_publisher.isIdle() && Clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        turn(end);
    }
}

void Broker::Work::connected(int session) {
    m_session = session;
    m_reason.clear();
    note("connected");
    send(m_prefix + "/status", "online", true);
    if (m_panel.broker->acceptWrites && m_links.write)
        m_link.subscribe(session, m_remoteWrites.topics());
    m_publisher.connected();
    m_reportDue = Clock::now();
}

void Broker::Work::lost(int session, const QString &reason) {
    if (session == m_session)
        m_publisher.lost();
    if (m_session || reason != m_reason)
        note(reason);
    m_session.reset();
    m_reason = reason;
}

void Broker::Work::note(const QString &text) {
    const BrokerSettings &settings = *m_panel.broker;
    if (m_links.note)
        m_links.note(QString("broker %1:%2: %3").arg(settings.host).arg(settings.port).arg(text));
}

std::optional<int> Broker::Work::send(const QByteArray &topic, const QByteArray &payload,
                                      bool isRetained) {
    return m_session ? m_link.publish(*m_session, topic, payload, isRetained) : std::nullopt;
}

void Broker::Work::sendReport(Clock::time_point now) {
    m_reportDue = now + ReportInterval;
    noteStatus();
    QJsonObject report = m_links.report ? m_links.report() : QJsonObject();
    report["broker"] = status();
    send(m_prefix + "/health", QJsonDocument(report).toJson(QJsonDocument::Compact), true);
}

// To answer each would be as much work again as a client that floods makes already.
void Broker::Work::noteLeftOut(quint64 writes, Clock::time_point now) {
    m_leftOut += writes;
    if (writes == 0 || now < m_leftOutNoteDue)
        return;
    m_leftOutNoteDue = now + LeftOutNoteInterval;
    note(QString("%1 writes left out, they come too fast").arg(m_leftOut));
}

void Broker::Work::noteStatus() {
    const auto orNull = [](const QString &text) {
        return text.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
    };
    const double lost =
        double(m_publisher.lostForGood() + m_overrun) + double(m_spool.dropped() - m_droppedBefore);
    QJsonObject status{
        {"connected", m_session.has_value()},           {"reason", orNull(m_reason)},
        {"published", double(m_publisher.published())}, {"waiting", double(m_spool.count())},
        {"dropped", lost + double(m_droppedBefore)},    {"lost", lost},
        {"writesLeftOut", double(m_leftOut)},           {"error", orNull(m_spool.error())}};
    const std::lock_guard lock(m_mutex);
    m_status = std::move(status);
}

Broker::Broker(const PanelFile &panel, Links links)
    : m_work(std::make_unique<Work>(panel, std::move(links))) {}

Broker::~Broker() = default;

QString Broker::start() {
    return m_work->start();
}

void Broker::take(const ValueChange &change) {
    m_work->take(change);
}

void Broker::stop() {
    m_work->stop();
}

QJsonObject Broker::status() const {
    return m_work->status();
}
