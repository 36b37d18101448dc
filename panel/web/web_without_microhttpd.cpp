#include "panel/web/web.h"

struct Web::Work {};

Web::Web(const WebOptions &, const WebSources &) {}
Web::~Web() = default;

QString Web::start() {
    return "--web: this panel was built without libmicrohttpd";
}

void Web::stop() {}

QString Web::address() const {
    return {};
}

void Web::observe(const ValueChange &) {}

void Web::observe(const Exchange &) {}
