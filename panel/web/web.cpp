#include "panel/web/web.h"

#include "panel/web/server.h"

#include <QSysInfo>

struct Web::Work {
    Work(const WebOptions &chosen, const WebSources &given)
        : options(chosen), sources(given),
          live(*given.panel, given.report, [this] { server.cutOffTheSlow(); }),
          routes(options, sources, live, jobs) {}

    const WebOptions options;
    const WebSources sources;
    HttpServer server{[this](const Request &request, const Reply &reply) {
        routes.handle(request, reply);
    }};
    JobsThread jobs;
    Live live;
    Routes routes;
};

Web::Web(const WebOptions &options, const WebSources &sources)
    : m_work(std::make_unique<Work>(options, sources)) {}

Web::~Web() {
    stop();
}

QString Web::start() {
    Q_INIT_RESOURCE(page); // nothing else names it
    return m_work->server.start(m_work->options);
}

void Web::stop() {
    m_work->live.stop();
    m_work->server.stop();
}

QString Web::address() const {
    const WebOptions &options = m_work->options;
    QString host = options.address.contains(':') ? '[' + options.address + ']' : options.address;
    const QString name = QSysInfo::machineHostName();
    if (options.isAny() && !name.isEmpty())
        host = name;
    QString url = QString("http://%1:%2/").arg(host).arg(m_work->server.port());
    if (!options.isAny())
        return url;
    const char *family = options.address == "::" ? "IPv6" : "IPv4";
    return url + QString(", on every %1 address of this machine").arg(family);
}

void Web::observe(const ValueChange &change) {
    m_work->live.observe(change);
}

void Web::observe(const Exchange &exchange) {
    m_work->live.observe(exchange);
}
