#include "panel/web/routes.h"

#include "panel/feed/history.h"
#include "panel/file/values.h"
#include "panel/web/access.h"
#include "panel/web/write_request.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cmath>

namespace {

constexpr qint64 LastHourMs = 3'600'000;
constexpr qint64 FarthestMs = 253'402'300'799'999; // the end of the year 9999
constexpr int UsualPoints = 1000;
constexpr int LeastPoints = Thinner::KeptOfEach + 1; // a part's, and where the last value holds to
constexpr int MostPoints = 10'000;

Answer json(const QJsonObject &object, int status = 200) {
    return {status, "application/json", QJsonDocument(object).toJson(QJsonDocument::Compact), {}};
}

Answer wrongMethod(const QByteArray &allowed) {
    Answer answer = refusal(405, QString("%1 alone").arg(QString(allowed)));
    answer.allow = allowed;
    return answer;
}

struct PageFile {
    const char *path;
    const char *resource;
    const char *type;
};
constexpr PageFile PageFiles[] = {
    {"/", ":/web/index.html", "text/html; charset=utf-8"},
    {"/page.css", ":/web/page.css", "text/css; charset=utf-8"},
    {"/main.js", ":/web/main.js", "text/javascript; charset=utf-8"},
    {"/server.js", ":/web/server.js", "text/javascript; charset=utf-8"},
    {"/elements.js", ":/web/elements.js", "text/javascript; charset=utf-8"},
    {"/values.js", ":/web/values.js", "text/javascript; charset=utf-8"},
    {"/trend.js", ":/web/trend.js", "text/javascript; charset=utf-8"},
    {"/line.js", ":/web/line.js", "text/javascript; charset=utf-8"},
    {"/chart.js", ":/web/chart.min.js", "text/javascript; charset=utf-8"},
    {"/icon.svg", ":/web/icon.svg", "image/svg+xml"},
};

Answer pageFile(const Request &request) {
    for (const PageFile &each : PageFiles) {
        if (request.path != each.path)
            continue;
        QFile file(each.resource);
        if (request.method != "GET" && request.method != "HEAD")
            return wrongMethod("GET, HEAD");
        if (file.open(QIODevice::ReadOnly))
            return {200, each.type, file.readAll(), {}};
    }
    return refusal(404, "there is no such page");
}

// Those that are left out stay as they are; false when one is not what it should be.

// "1700000000000", milliseconds since 1970, or "2026-11-23T07:15:04Z".
bool readTime(const QString &text, qint64 *time) {
    if (text.isEmpty())
        return true;
    bool isRead = false;
    *time = text.toLongLong(&isRead);
    if (!isRead) {
        const QDateTime date = QDateTime::fromString(text, Qt::ISODateWithMs);
        isRead = date.isValid();
        *time = date.toMSecsSinceEpoch();
    }
    return isRead && *time >= -FarthestMs && *time <= FarthestMs;
}

bool readWhole(const QString &text, int least, int *number) {
    bool isRead = true;
    if (!text.isEmpty())
        *number = text.toInt(&isRead);
    return isRead && *number >= least;
}

// One line on failure.
QString readTrendRequest(const Request &request, TrendRequest *wanted) {
    const auto text = [&](const char *key) {
        return request.query.value(key);
    };
    const auto isNoTime = [&](const char *key) {
        return QString("%1: \"%2\" is no time: expected milliseconds since 1970 or a time like "
                       "2026-11-23T07:15:04Z")
            .arg(key, text(key));
    };
    wanted->variable = text("variable");
    if (wanted->variable.isEmpty())
        return "expected variable=NAME";
    wanted->to = QDateTime::currentMSecsSinceEpoch();
    if (!readTime(text("to"), &wanted->to))
        return isNoTime("to");
    wanted->from = wanted->to - LastHourMs;
    if (!readTime(text("from"), &wanted->from))
        return isNoTime("from");
    if (wanted->to <= wanted->from)
        return "expected from before to";
    if (!readWhole(text("element"), 0, &wanted->element))
        return QString("element: \"%1\" is not a whole number from 0 on").arg(text("element"));
    wanted->points = UsualPoints;
    if (!readWhole(text("points"), 1, &wanted->points))
        return QString("points: \"%1\" is not a whole number from 1 on").arg(text("points"));
    wanted->points = std::clamp(wanted->points, LeastPoints, MostPoints);
    return {};
}

// {"variable", "element", "line", "unit", "from", "to", "points": [[milliseconds, value or null]]}
Answer trendAnswer(const TrendRequest &wanted, const Trend &trend) {
    if (!trend.error.isEmpty())
        return refusal(404, trend.error);
    QJsonArray points;
    for (const TrendPoint &point : trend.points)
        points += QJsonArray{point.at, point.value ? QJsonValue(*point.value) : QJsonValue()};
    return json({{"variable", wanted.variable},
                 {"element", wanted.element},
                 {"line", trend.line},
                 {"unit", trend.unit},
                 {"from", wanted.from},
                 {"to", wanted.to},
                 {"points", points}});
}

QJsonObject describe(const PanelFile &panel, const Variable &variable) {
    const bool isWritable =
        variable.writable &&
        writeObstacle(variable, panel.lines[variable.line].blockLimit).isEmpty();
    return {{"line", panel.lines[variable.line].name},
            {"station", variable.station},
            {"name", variable.name},
            {"unit", variable.unit},
            {"place", placeText(variable)},
            {"isNumber", variable.display != Display::Text},
            {"decimals", variable.decimals},
            {"writable", isWritable},
            {"min", variable.min ? QJsonValue(*variable.min) : QJsonValue()},
            {"max", variable.max ? QJsonValue(*variable.max) : QJsonValue()}};
}

} // namespace

const std::vector<Routes::Route> &Routes::table() {
    static const std::vector<Route> Table{
        {"GET", "/api/panel", &Routes::panel},     {"GET", "/api/values", &Routes::values},
        {"GET", "/api/curves", &Routes::curves},   {"GET", "/api/lines", &Routes::lines},
        {"GET", "/api/history", &Routes::history}, {"GET", "/api/events", &Routes::events},
        {"POST", "/api/write", &Routes::write},
    };
    return Table;
}

void Routes::handle(const Request &request, const Reply &reply) {
    if (const auto refused = refuseForeign(request)) {
        reply(*refused);
        return;
    }
    if (!request.path.startsWith("/api/")) {
        reply(pageFile(request));
        return;
    }
    const auto found = std::find_if(table().begin(), table().end(),
                                    [&](const Route &route) { return request.path == route.path; });
    if (found == table().end()) {
        reply(refusal(404, "there is no such thing"));
    } else if (request.method != found->method) {
        reply(wrongMethod(found->method));
    } else if (const auto refused = refuseReader(m_options, request)) {
        // A page without a token asks in vain before it asks its user.
        if (!request.authorization.isEmpty())
            noteRefusal(request);
        reply(*refused);
    } else {
        (this->*found->answer)(request, reply);
    }
}

// What does not change while the panel runs.
void Routes::panel(const Request &, const Reply &reply) {
    QJsonArray lines;
    for (const LineSettings &line : m_sources.panel->lines)
        lines += QJsonObject{{"name", line.name}, {"device", line.device}};
    QJsonArray variables;
    for (const Variable &variable : m_sources.panel->variables)
        variables += describe(*m_sources.panel, variable);
    reply(json({{"run", m_live.runId()},
                {"lines", lines},
                {"variables", variables},
                {"hasHistory", m_sources.history != nullptr},
                {"mayWrite", !m_options.token.isEmpty()}}));
}

void Routes::values(const Request &, const Reply &reply) {
    reply(json(m_live.values()));
}

void Routes::curves(const Request &, const Reply &reply) {
    reply(json(m_live.curves()));
}

void Routes::lines(const Request &, const Reply &reply) {
    reply(json(m_sources.report()));
}

void Routes::events(const Request &request, const Reply &reply) {
    const auto stream = m_live.open(request.query.value("lines") == "1");
    if (stream) {
        reply({200, "text/event-stream", {}, stream});
    } else {
        reply(refusal(503, "too many pages are open"));
    }
}

void Routes::history(const Request &request, const Reply &reply) {
    if (!m_sources.history) {
        reply(refusal(404, "this panel was started without --history"));
        return;
    }
    TrendRequest wanted;
    const QString error = readTrendRequest(request, &wanted);
    if (!error.isEmpty()) {
        reply(refusal(400, error));
        return;
    }
    const bool isTaken = m_jobs.add([wanted, reply, history = m_sources.history] {
        reply(trendAnswer(wanted, history->trend(wanted)));
    });
    if (!isTaken)
        reply(refusal(503, "too many trends wait"));
}

void Routes::noteRefusal(const Request &request) {
    const char *reason = request.authorization.isEmpty() ? "no token" : "wrong token";
    if (m_options.token.isEmpty())
        reason = "there is no --web-token";
    m_refusals.add(QString("page %1: %2 refused: %3")
                       .arg(QString(request.client), QString(request.path), reason));
}

void Routes::write(const Request &request, const Reply &reply) {
    if (const auto refused = refuseWriter(m_options, request)) {
        noteRefusal(request);
        reply(*refused);
        return;
    }
    WriteOrder order;
    const QString error = readWriteRequest(request, *m_sources.panel, &order);
    const auto report = [this, order](const WriteResult &result) {
        if (m_sources.log)
            m_sources.log(writeText(*m_sources.panel, order, result));
    };
    if (!error.isEmpty()) {
        if (order.variable < m_sources.panel->variables.size())
            report({error, true, {}, {}});
        reply(refusal(422, error));
        return;
    }
    m_sources.write(order, [this, order, reply, report](const WriteResult &result) {
        report(result);
        reply(writeAnswer(m_sources.panel->variables[order.variable], result));
    });
}
