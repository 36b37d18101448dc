// The page's HTTP server: one thread, which never touches a line. What cannot be answered at once
// is answered when it is there; meanwhile the server goes on.
#pragma once

#include "panel/web/request.h"
#include "panel/web/web_options.h"

#include <QString>

#include <functional>
#include <memory>

class HttpServer {
public:
    static constexpr int MostConnections = 64;
    static constexpr int MostBodyBytes = 64 << 10;

    // Called on the server's thread; `reply` may be called later, on any.
    using Handler = std::function<void(const Request &, const Reply &)>;

    explicit HttpServer(Handler handler);
    ~HttpServer();
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    // One line on failure.
    QString start(const WebOptions &options);
    // Ends every connection; what is answered later goes nowhere.
    void stop();
    // The port that it listens on.
    int port() const;

    // To be called now and then: cuts off those who take too long.
    void cutOffTheSlow();

private:
    struct Work;
    std::unique_ptr<Work> m_work;
};
