// The page in the browser: a server that shows what the panel knows and takes writes.
#pragma once

#include "panel/feed/value_change.h"
#include "panel/line/exchange.h"
#include "panel/web/routes.h"
#include "panel/web/web_options.h"

#include <memory>

// Where the program was built without libmicrohttpd, start() says so.
class Web {
public:
    // What the sources name outlives it.
    Web(const WebOptions &options, const WebSources &sources);
    // As stop() does.
    ~Web();
    Web(const Web &) = delete;
    Web &operator=(const Web &) = delete;

    // One line on failure.
    QString start();
    // Ends every connection. Before the writer is stopped or after it, but before it is gone.
    void stop();
    // "http://127.0.0.1:8080/", or "http://hall:8080/, on every IPv4 address of this machine"; once
    // it is started.
    QString address() const;

    // A ValueListener and an ExchangeListener: neither waits.
    void observe(const ValueChange &change);
    void observe(const Exchange &exchange);

private:
    struct Work;
    std::unique_ptr<Work> m_work;
};
