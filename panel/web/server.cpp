#include "panel/web/server.h"

#include "panel/web/accept_pace.h"
#include "panel/web/event_stream.h"
#include "panel/web/low_priority.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int StreamBlockBytes = 16 << 10;
constexpr std::size_t ConnectionBytes = 32 << 10; // what the headers of a request may take

// Nothing but what this server sends runs or shows on the page, and nobody frames it.
constexpr const char *ContentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

struct Header {
    const char *name;
    const char *value;
};
constexpr Header AlwaysSent[] = {
    {"Content-Security-Policy", ContentPolicy},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cache-Control", "no-store"},
};

using Response = std::unique_ptr<MHD_Response, decltype(&MHD_destroy_response)>;

// An answer that may come later than the question. The server's thread and the one that answers
// share it; whoever comes last resumes or gives up.
class Pending {
public:
    explicit Pending(MHD_Connection *connection) : m_connection(connection) {}

    void answer(Answer answer) {
        const std::lock_guard guard(m_mutex);
        if (m_answer || m_isClosed)
            return;
        m_answer = std::move(answer);
        if (m_isSuspended)
            MHD_resume_connection(m_connection);
        m_isSuspended = false;
    }

    // Nothing: the connection is suspended until there is an answer.
    std::optional<Answer> answerOrSuspend() {
        const std::lock_guard guard(m_mutex);
        if (!m_answer && !m_isSuspended) {
            m_isSuspended = true;
            MHD_suspend_connection(m_connection);
        }
        return m_answer;
    }

    void close() {
        const std::lock_guard guard(m_mutex);
        m_isClosed = true;
    }

private:
    std::mutex m_mutex;
    MHD_Connection *m_connection;
    std::optional<Answer> m_answer;
    bool m_isSuspended = false;
    bool m_isClosed = false;
};

// One request of a connection.
struct Asked {
    QByteArray body;
    bool isTooLong = false;
    std::shared_ptr<Pending> pending; // once it was handed on
    std::shared_ptr<EventStream> stream;
};

QByteArray header(MHD_Connection *connection, const char *name) {
    return MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
}

struct Peer {
    QByteArray address;
    QByteArray port;
    bool isIpv6 = false;

    QByteArray asHost() const {
        const QByteArray host = isIpv6 ? "[" + address + "]" : address;
        return port == "80" ? host : host + ":" + port;
    }
};

Peer peerOf(const sockaddr *address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address->sa_family == AF_INET6) {
        sockaddr_in6 in6{};
        std::memcpy(&in6, address, sizeof in6);
        inet_ntop(AF_INET6, &in6.sin6_addr, text.data(), text.size());
        return {text.data(), QByteArray::number(ntohs(in6.sin6_port)), true};
    }
    sockaddr_in in{};
    std::memcpy(&in, address, sizeof in);
    inet_ntop(AF_INET, &in.sin_addr, text.data(), text.size());
    return {text.data(), QByteArray::number(ntohs(in.sin_port)), false};
}

int socketOf(MHD_Connection *connection) {
    return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
}

// Where a request arrived, as its Host should say it.
QByteArray localOf(MHD_Connection *connection) {
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;
    auto *address = reinterpret_cast<sockaddr *>(&storage);
    const bool isKnown = getsockname(socketOf(connection), address, &size) == 0;
    return isKnown ? peerOf(address).asHost() : QByteArray();
}

MHD_Result addToQuery(void *closure, MHD_ValueKind, const char *key, const char *value) {
    auto *query = static_cast<QMap<QByteArray, QString> *>(closure);
    query->insert(key, QString::fromUtf8(value));
    return MHD_YES;
}

Request requestOf(MHD_Connection *connection, const char *url, const char *method) {
    Request request;
    request.method = method;
    request.path = url;
    MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, addToQuery, &request.query);
    const auto *client = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    request.client = peerOf(client->client_addr).address;
    request.host = header(connection, "Host");
    request.origin = header(connection, "Origin");
    request.fetchSite = header(connection, "Sec-Fetch-Site");
    request.authorization = header(connection, "Authorization");
    request.contentType = header(connection, "Content-Type");
    request.local = localOf(connection);
    return request;
}

struct StreamReader {
    std::shared_ptr<EventStream> stream;
    MHD_Connection *connection;
};

ssize_t readStream(void *closure, std::uint64_t, char *bytes, std::size_t most) {
    auto *reader = static_cast<StreamReader *>(closure);
    const int size = reader->stream->take(bytes, static_cast<int>(most),
                                          [reader] { MHD_suspend_connection(reader->connection); });
    return size < 0 ? MHD_CONTENT_READER_END_OF_STREAM : size;
}

void closeStream(void *closure) {
    const std::unique_ptr<StreamReader> reader(static_cast<StreamReader *>(closure));
    reader->stream->setWake({});
    reader->stream->end();
}

MHD_Response *streamResponse(MHD_Connection *connection, const Answer &answer) {
    auto reader = std::make_unique<StreamReader>(StreamReader{answer.stream, connection});
    answer.stream->setWake([connection] { MHD_resume_connection(connection); });
    return MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, StreamBlockBytes, readStream,
                                             reader.release(), closeStream);
}

MHD_Response *bodyResponse(const Answer &answer) {
    // It is copied: libmicrohttpd takes it without const.
    QByteArray body = answer.body;
    return MHD_create_response_from_buffer(static_cast<std::size_t>(body.size()), body.data(),
                                           MHD_RESPMEM_MUST_COPY);
}

MHD_Result queue(MHD_Connection *connection, const Answer &answer) {
    const Response response(answer.stream ? streamResponse(connection, answer)
                                          : bodyResponse(answer),
                            MHD_destroy_response);
    if (!response)
        return MHD_NO;
    for (const Header &each : AlwaysSent)
        MHD_add_response_header(response.get(), each.name, each.value);
    MHD_add_response_header(response.get(), "Content-Type", answer.type.constData());
    if (answer.status == MHD_HTTP_UNAUTHORIZED)
        MHD_add_response_header(response.get(), "WWW-Authenticate", "Bearer");
    if (!answer.allow.isEmpty())
        MHD_add_response_header(response.get(), "Allow", answer.allow.constData());
    return MHD_queue_response(connection, static_cast<unsigned>(answer.status), response.get());
}

} // namespace

struct HttpServer::Work {
    explicit Work(Handler requestHandler) : handler(std::move(requestHandler)) {}

    MHD_Result ask(MHD_Connection *connection, const char *url, const char *method,
                   const char *data, std::size_t *size, void **state);
    bool handle(MHD_Connection *connection, Asked *asked, const char *url, const char *method);
    MHD_Result answer(MHD_Connection *connection, Asked *asked);
    void complete(MHD_Connection *connection, Asked *asked);
    void setDeadline(MHD_Connection *connection, bool isLimited);

    Handler handler;
    int requestSeconds = 0;
    AcceptPace pace;     // of the server's thread, as is the next
    int connections = 0; // open ones
    MHD_Daemon *daemon = nullptr;
    std::mutex mutex; // guards what follows
    // When a connection is cut off; those that wait for us or are streams are not here.
    std::map<int, Clock::time_point> deadlines;
    std::set<std::shared_ptr<Pending>> pending;
    std::set<std::shared_ptr<EventStream>> streams;
    bool isStopping = false;
};

void HttpServer::Work::setDeadline(MHD_Connection *connection, bool isLimited) {
    const std::lock_guard guard(mutex);
    if (isLimited) {
        deadlines[socketOf(connection)] = Clock::now() + std::chrono::seconds(requestSeconds);
    } else {
        deadlines.erase(socketOf(connection));
    }
}

// libmicrohttpd comes here with the head of a request, with each piece of its body, at its end, and
// again when an answer that had to wait is there.
MHD_Result HttpServer::Work::ask(MHD_Connection *connection, const char *url, const char *method,
                                 const char *data, std::size_t *size, void **state) {
    if (!*state) {
        *state = std::make_unique<Asked>().release();
        if (header(connection, "Content-Length").toULongLong() > MostBodyBytes)
            return queue(connection, refusal(413, "too long"));
        return MHD_YES;
    }
    auto *asked = static_cast<Asked *>(*state);
    if (*size > 0) {
        asked->isTooLong |= static_cast<std::size_t>(asked->body.size()) + *size > MostBodyBytes;
        if (asked->isTooLong)
            return MHD_NO; // endless: nobody reads on to tell it so
        asked->body.append(data, static_cast<int>(*size));
        *size = 0;
        return MHD_YES;
    }
    return asked->pending || handle(connection, asked, url, method) ? answer(connection, asked)
                                                                    : MHD_NO;
}

// False when the server ends.
bool HttpServer::Work::handle(MHD_Connection *connection, Asked *asked, const char *url,
                              const char *method) {
    asked->pending = std::make_shared<Pending>(connection);
    {
        const std::lock_guard guard(mutex);
        if (isStopping)
            return false;
        pending.insert(asked->pending);
    }
    Request request = requestOf(connection, url, method);
    request.body = asked->body;
    handler(request,
            [waiting = asked->pending](Answer answer) { waiting->answer(std::move(answer)); });
    return true;
}

MHD_Result HttpServer::Work::answer(MHD_Connection *connection, Asked *asked) {
    const std::optional<Answer> answer = asked->pending->answerOrSuspend();
    setDeadline(connection, answer && !answer->stream);
    if (!answer)
        return MHD_YES;
    asked->stream = answer->stream;
    if (asked->stream) {
        const std::lock_guard guard(mutex);
        if (isStopping)
            return MHD_NO;
        streams.insert(asked->stream);
    }
    return queue(connection, *answer);
}

void HttpServer::Work::complete(MHD_Connection *connection, Asked *asked) {
    setDeadline(connection, true);
    const std::lock_guard guard(mutex);
    if (asked->pending) {
        asked->pending->close();
        pending.erase(asked->pending);
    }
    streams.erase(asked->stream);
}

HttpServer::HttpServer(Handler handler) : m_work(std::make_unique<Work>(std::move(handler))) {}

HttpServer::~HttpServer() {
    stop();
}

namespace {

// The functions that libmicrohttpd calls.
template <typename Work>
MHD_Result onAccess(void *closure, MHD_Connection *connection, const char *url, const char *method,
                    const char *, const char *data, std::size_t *size, void **state) {
    return static_cast<Work *>(closure)->ask(connection, url, method, data, size, state);
}

template <typename Work>
void onCompleted(void *closure, MHD_Connection *connection, void **state,
                 MHD_RequestTerminationCode) {
    const std::unique_ptr<Asked> asked(static_cast<Asked *>(*state));
    if (asked)
        static_cast<Work *>(closure)->complete(connection, asked.get());
    *state = nullptr;
}

template <typename Work>
MHD_Result onAccept(void *closure, const sockaddr *, socklen_t) {
    auto *work = static_cast<Work *>(closure);
    std::this_thread::sleep_for(work->pace.take(Clock::now()));
    return work->connections < HttpServer::MostConnections ? MHD_YES : MHD_NO;
}

template <typename Work>
void onConnection(void *closure, MHD_Connection *connection, void **,
                  MHD_ConnectionNotificationCode code) {
    // libmicrohttpd makes its thread by itself.
    thread_local const bool isLast = (giveWayToTheLine(), true);
    static_cast<void>(isLast);
    const bool isStarted = code == MHD_CONNECTION_NOTIFY_STARTED;
    auto *work = static_cast<Work *>(closure);
    work->connections += isStarted ? 1 : -1;
    work->setDeadline(connection, isStarted);
}

sockaddr_storage addressOf(const WebOptions &options) {
    sockaddr_storage storage{};
    const QByteArray text = options.address.toLatin1();
    sockaddr_in in{};
    if (inet_pton(AF_INET, text.constData(), &in.sin_addr) == 1) {
        in.sin_family = AF_INET;
        in.sin_port = htons(static_cast<std::uint16_t>(options.port));
        std::memcpy(&storage, &in, sizeof in);
        return storage;
    }
    sockaddr_in6 in6{};
    in6.sin6_family = AF_INET6;
    in6.sin6_port = htons(static_cast<std::uint16_t>(options.port));
    inet_pton(AF_INET6, text.constData(), &in6.sin6_addr);
    std::memcpy(&storage, &in6, sizeof in6);
    return storage;
}

// Of our own, since libmicrohttpd's lets a second panel share the port; a port that was left a
// moment ago is free. -1 with errno when it cannot be.
int listeningSocket(const WebOptions &options) {
    const sockaddr_storage storage = addressOf(options);
    const auto *address = reinterpret_cast<const sockaddr *>(&storage);
    const int listening = socket(storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listening < 0)
        return -1;
    const int on = 1;
    setsockopt(listening, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (storage.ss_family == AF_INET6)
        setsockopt(listening, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    const bool isListening = bind(listening, address, sizeof storage) == 0 &&
                             listen(listening, HttpServer::MostConnections) == 0;
    if (isListening)
        return listening;
    const int reason = errno;
    close(listening);
    errno = reason;
    return -1;
}

} // namespace

QString HttpServer::start(const WebOptions &options) {
    const int listening = listeningSocket(options);
    m_work->requestSeconds = options.requestSeconds;
    // libmicrohttpd would let those wait who come beyond its limit: they are sent away before.
    if (listening >= 0) {
        m_work->daemon = MHD_start_daemon(
            MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME, 0, &onAccept<Work>,
            m_work.get(), &onAccess<Work>, m_work.get(), MHD_OPTION_LISTEN_SOCKET, listening,
            MHD_OPTION_CONNECTION_LIMIT, static_cast<unsigned>(MostConnections + 1),
            MHD_OPTION_CONNECTION_TIMEOUT, static_cast<unsigned>(options.requestSeconds),
            MHD_OPTION_CONNECTION_MEMORY_LIMIT, ConnectionBytes, MHD_OPTION_NOTIFY_COMPLETED,
            &onCompleted<Work>, m_work.get(), MHD_OPTION_NOTIFY_CONNECTION, &onConnection<Work>,
            m_work.get(), MHD_OPTION_END);
    }
    if (m_work->daemon)
        return {};
    return QString("%1:%2: %3").arg(options.address).arg(options.port).arg(std::strerror(errno));
}

void HttpServer::stop() {
    if (!m_work->daemon)
        return;
    std::set<std::shared_ptr<Pending>> pending;
    std::set<std::shared_ptr<EventStream>> streams;
    {
        const std::lock_guard guard(m_work->mutex);
        m_work->isStopping = true;
        pending = m_work->pending;
        streams = m_work->streams;
    }
    // No connection may be suspended when the server ends.
    for (const auto &each : pending)
        each->answer({503, "application/json", R"({"ok":false,"error":"the panel ends"})", {}});
    for (const auto &each : streams)
        each->end();
    MHD_stop_daemon(m_work->daemon);
    m_work->daemon = nullptr;
}

int HttpServer::port() const {
    const auto *info = MHD_get_daemon_info(m_work->daemon, MHD_DAEMON_INFO_BIND_PORT);
    return info ? info->port : 0;
}

void HttpServer::cutOffTheSlow() {
    const std::lock_guard guard(m_work->mutex);
    const Clock::time_point now = Clock::now();
    for (const auto &[socket, deadline] : m_work->deadlines) {
        if (now > deadline)
            shutdown(socket, SHUT_RDWR);
    }
}
