#include "panel/broker/mqtt_link.h"

#include <QCryptographicHash>
#include <QFile>

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <random>
#include <thread>
#include <utility>

namespace {

using std::chrono::milliseconds;

// A broker that says nothing for twice as long is taken for gone.
constexpr int KeepAliveSeconds = 15;
constexpr int WaitMs = 500;
constexpr milliseconds FirstPause(500);
constexpr milliseconds LongestPause(5000);
// Two panels with one prefix, as of a copied panel file, throw each other out. After some sessions
// as short as that in a row, each lets the other be for a while.
constexpr std::chrono::seconds ShortSession(40);
constexpr int SuspiciousSessions = 3;
constexpr milliseconds PauseOfTheThrownOut(20'000);
constexpr milliseconds GoodbyeTime(1000);
constexpr std::chrono::seconds PatienceWithResolver(3);
constexpr int AtLeastOnce = 1;
constexpr int Unlimited = 0;

struct FreeClient {
    void operator()(mosquitto *client) const { mosquitto_destroy(client); }
};
using Client = std::unique_ptr<mosquitto, FreeClient>;

void blockSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

// The same at each start, so that the broker knows a panel that comes back before the old
// connection is over, and lets go of that one.
QByteArray clientId(const QString &prefix) {
    const auto hash = QCryptographicHash::hash(prefix.toUtf8(), QCryptographicHash::Sha1).toHex();
    return "panel-" + hash.left(16);
}

const char *orNull(const QByteArray &text) {
    return text.isEmpty() ? nullptr : text.constData();
}

// Two hundred panels need not come back in the same instant.
milliseconds spread(milliseconds pause) {
    static thread_local std::mt19937 dice(std::random_device{}());
    return pause +
           milliseconds(std::uniform_int_distribution<int>(0, int(pause.count() / 2))(dice));
}

} // namespace

class MqttLink::Thread : public std::enable_shared_from_this<Thread> {
public:
    Thread(BrokerSettings settings, Will will, Events events)
        : m_settings(std::move(settings)), m_will(std::move(will)), m_events(std::move(events)) {}

    QString start();
    void stop();
    std::optional<int> publish(int session, const QByteArray &topic, const QByteArray &payload,
                               bool isRetained);
    void subscribe(int session, const QByteArray &topics);

private:
    QString readPassword();
    QString configure(mosquitto *client);
    QString useTls(mosquitto *client);
    void setCallbacks(mosquitto *client);

    void run();
    bool isThrownOutAgain();
    QString suspicion() const;
    QString keepSession();
    QString keepConnected(mosquitto *client);
    void pause(milliseconds time);
    bool isStopping();
    void offer(mosquitto *client);

    const BrokerSettings m_settings;
    const Will m_will;
    const Events m_events;
    QByteArray m_password;

    // The thread's own.
    bool m_wasAccepted = false;
    std::chrono::steady_clock::time_point m_acceptedAt;
    int m_shortSessions = 0; // in a row
    QString m_refusal;       // of the broker
    QString m_lastError;     // the client library's own words

    std::thread m_thread;
    std::mutex m_mutex; // guards all below
    std::condition_variable m_changed;
    mosquitto *m_client = nullptr; // of the session, while it lasts
    int m_session = 0;
    bool m_isStopping = false;
    bool m_hasEnded = false;
};

QString MqttLink::Thread::start() {
    static const int initialised = mosquitto_lib_init();
    QString error = initialised == MOSQ_ERR_SUCCESS ? readPassword() : "no MQTT here";
    if (error.isEmpty()) {
        const Client trial(mosquitto_new(nullptr, true, this));
        error = trial ? configure(trial.get()) : "out of memory";
    }
    if (error.isEmpty())
        m_thread = std::thread([self = shared_from_this()] { self->run(); });
    return error;
}

void MqttLink::Thread::stop() {
    if (!m_thread.joinable())
        return;
    std::unique_lock lock(m_mutex);
    m_isStopping = true;
    if (m_client)
        mosquitto_disconnect(m_client);
    m_changed.notify_all();
    const bool ended =
        m_changed.wait_for(lock, PatienceWithResolver, [this] { return m_hasEnded; });
    lock.unlock();
    if (ended) {
        m_thread.join();
    } else {
        m_thread.detach();
    }
}

std::optional<int> MqttLink::Thread::publish(int session, const QByteArray &topic,
                                             const QByteArray &payload, bool isRetained) {
    const std::lock_guard lock(m_mutex);
    int id = 0;
    if (!m_client || session != m_session ||
        mosquitto_publish(m_client, &id, topic.constData(), payload.size(), payload.constData(),
                          AtLeastOnce, isRetained) != MOSQ_ERR_SUCCESS)
        return std::nullopt;
    return id;
}

void MqttLink::Thread::subscribe(int session, const QByteArray &topics) {
    const std::lock_guard lock(m_mutex);
    if (m_client && session == m_session)
        mosquitto_subscribe(m_client, nullptr, topics.constData(), AtLeastOnce);
}

QString MqttLink::Thread::readPassword() {
    if (m_settings.passwordFile.isEmpty())
        return {};
    QFile file(m_settings.passwordFile);
    if (!file.open(QIODevice::ReadOnly))
        return m_settings.passwordFile + ": " + file.errorString();
    m_password = file.readLine();
    while (m_password.endsWith('\n') || m_password.endsWith('\r'))
        m_password.chop(1);
    return {};
}

QString MqttLink::Thread::configure(mosquitto *client) {
    mosquitto_threaded_set(client, true);
    mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V311);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_max_inflight_messages_set(client, Unlimited);
    mosquitto_will_set(client, m_will.topic.constData(), m_will.payload.size(),
                       m_will.payload.constData(), AtLeastOnce, true);
    const QByteArray user = m_settings.user.toUtf8();
    mosquitto_username_pw_set(client, orNull(user), orNull(m_password));
    setCallbacks(client);
    return m_settings.caFile.isEmpty() ? QString() : useTls(client);
}

QString MqttLink::Thread::useTls(mosquitto *client) {
    for (const QString &path : {m_settings.caFile, m_settings.certFile, m_settings.keyFile}) {
        QFile file(path);
        if (!path.isEmpty() && !file.open(QIODevice::ReadOnly))
            return path + ": " + file.errorString();
    }
    const QByteArray ca = QFile::encodeName(m_settings.caFile);
    const QByteArray cert = QFile::encodeName(m_settings.certFile);
    const QByteArray key = QFile::encodeName(m_settings.keyFile);
    const int code =
        mosquitto_tls_set(client, ca.constData(), nullptr, orNull(cert), orNull(key), nullptr);
    return code == MOSQ_ERR_SUCCESS ? QString() : QString("TLS: ") + mosquitto_strerror(code);
}

// The session's number does not change while these are called.
void MqttLink::Thread::setCallbacks(mosquitto *client) {
    mosquitto_connect_callback_set(client, [](mosquitto *, void *object, int code) {
        auto *self = static_cast<Thread *>(object);
        self->m_wasAccepted = code == 0;
        self->m_acceptedAt = std::chrono::steady_clock::now();
        if (code == 0) {
            self->m_events.connected(self->m_session);
        } else {
            self->m_refusal = mosquitto_connack_string(code);
        }
    });
    mosquitto_publish_callback_set(client, [](mosquitto *, void *object, int id) {
        auto *self = static_cast<Thread *>(object);
        self->m_events.acknowledged(self->m_session, id);
    });
    mosquitto_message_callback_set(
        client, [](mosquitto *, void *object, const mosquitto_message *message) {
            auto *self = static_cast<Thread *>(object);
            self->m_events.received(
                self->m_session,
                {message->topic,
                 QByteArray(static_cast<const char *>(message->payload), message->payloadlen),
                 message->retain});
        });
    mosquitto_log_callback_set(client, [](mosquitto *, void *object, int level, const char *text) {
        if (level == MOSQ_LOG_ERR)
            static_cast<Thread *>(object)->m_lastError = QString::fromUtf8(text);
    });
}

void MqttLink::Thread::run() {
    blockSignals();
    milliseconds time = FirstPause;
    while (!isStopping()) {
        const QString reason = keepSession();
        const bool isSuspicious = isThrownOutAgain();
        m_events.lost(m_session, isSuspicious ? reason + suspicion() : reason);
        if (m_wasAccepted)
            time = FirstPause;
        pause(spread(isSuspicious ? PauseOfTheThrownOut : time));
        time = std::min(2 * time, LongestPause);
    }
    const std::lock_guard lock(m_mutex);
    m_hasEnded = true;
    m_changed.notify_all();
}

bool MqttLink::Thread::isThrownOutAgain() {
    if (!m_wasAccepted)
        return false;
    const bool isShort = std::chrono::steady_clock::now() - m_acceptedAt < ShortSession;
    m_shortSessions = isShort ? m_shortSessions + 1 : 0;
    return m_shortSessions >= SuspiciousSessions;
}

QString MqttLink::Thread::suspicion() const {
    return QString(", %1 times in a row soon after connecting: does another panel use the prefix "
                   "\"%2\"?")
        .arg(m_shortSessions)
        .arg(m_settings.prefix);
}

// A client of its own for each session: what was not acknowledged in one is not the library's to
// send again in the next.
QString MqttLink::Thread::keepSession() {
    m_wasAccepted = false;
    m_refusal.clear();
    m_lastError.clear();
    const Client client(mosquitto_new(clientId(m_settings.prefix).constData(), true, this));
    if (!client)
        return "out of memory";
    QString reason = configure(client.get());
    if (reason.isEmpty()) {
        offer(client.get());
        reason = keepConnected(client.get());
        offer(nullptr);
    }
    return reason;
}

QString MqttLink::Thread::keepConnected(mosquitto *client) {
    using Clock = std::chrono::steady_clock;
    int code = mosquitto_connect_async(client, m_settings.host.toUtf8().constData(),
                                       m_settings.port, KeepAliveSeconds);
    std::optional<Clock::time_point> goodbye;
    while (code == MOSQ_ERR_SUCCESS && m_refusal.isEmpty() &&
           (!goodbye || Clock::now() < *goodbye)) {
        code = mosquitto_loop(client, WaitMs, 1);
        if (!goodbye && isStopping())
            goodbye = Clock::now() + GoodbyeTime;
    }
    const int systemError = errno;
    if (!m_refusal.isEmpty())
        return m_refusal;
    if (code == MOSQ_ERR_ERRNO)
        return qt_error_string(systemError);
    return m_lastError.isEmpty() ? QString(mosquitto_strerror(code)) : m_lastError;
}

// Whoever publishes finds the client of the session, or none.
void MqttLink::Thread::offer(mosquitto *client) {
    const std::lock_guard lock(m_mutex);
    m_client = client;
    if (client)
        ++m_session;
}

void MqttLink::Thread::pause(milliseconds time) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, time, [this] { return m_isStopping; });
}

bool MqttLink::Thread::isStopping() {
    const std::lock_guard lock(m_mutex);
    return m_isStopping;
}

MqttLink::MqttLink(BrokerSettings settings, Will will, Events events)
    : m_thread(std::make_shared<Thread>(std::move(settings), std::move(will), std::move(events))) {}

MqttLink::~MqttLink() {
    stop();
}

QString MqttLink::start() {
    return m_thread->start();
}

void MqttLink::stop() {
    m_thread->stop();
}

std::optional<int> MqttLink::publish(int session, const QByteArray &topic,
                                     const QByteArray &payload, bool isRetained) {
    return m_thread->publish(session, topic, payload, isRetained);
}

void MqttLink::subscribe(int session, const QByteArray &topics) {
    m_thread->subscribe(session, topics);
}
