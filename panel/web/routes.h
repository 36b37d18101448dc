// What the page's server answers to which path.
#pragma once

#include "panel/feed/bounded_log.h"
#include "panel/feed/history.h"
#include "panel/line/writer.h"
#include "panel/web/jobs_thread.h"
#include "panel/web/live.h"
#include "panel/web/request.h"
#include "panel/web/web_options.h"

#include <functional>

// What the answers are made from; all outlives the routes.
struct WebSources {
    const PanelFile *panel = nullptr;
    // As healthReport() makes it; any thread.
    std::function<QJsonObject()> report;
    // As Writer::write; any thread.
    std::function<void(const WriteOrder &, const WriteDone &)> write;
    const History *history = nullptr; // may be left out
    // One line about each write and each wrong token; any thread. May be left out.
    std::function<void(const QString &)> log;
};

class Routes {
public:
    Routes(const WebOptions &options, const WebSources &sources, Live &live, JobsThread &jobs)
        : m_options(options), m_sources(sources), m_live(live), m_jobs(jobs),
          m_refusals(sources.log, "refused requests to the page") {}

    // On the server's thread; the reply to a write or to a trend comes later.
    void handle(const Request &request, const Reply &reply);

private:
    // A path under /api/ and what answers it.
    struct Route {
        const char *method;
        const char *path;
        void (Routes::*answer)(const Request &, const Reply &);
    };
    static const std::vector<Route> &table();

    void panel(const Request &request, const Reply &reply);
    void values(const Request &request, const Reply &reply);
    void curves(const Request &request, const Reply &reply);
    void lines(const Request &request, const Reply &reply);
    void events(const Request &request, const Reply &reply);
    void history(const Request &request, const Reply &reply);
    void write(const Request &request, const Reply &reply);
    void noteRefusal(const Request &request);

    const WebOptions &m_options;
    const WebSources &m_sources;
    Live &m_live;
    JobsThread &m_jobs;
    BoundedLog m_refusals;
};
