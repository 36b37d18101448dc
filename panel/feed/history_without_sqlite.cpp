#include "panel/feed/history.h"

struct History::Work {};

History::History() = default;
History::~History() = default;

QString History::open(const QString &path, const PanelFile &) {
    return path + ": this panel was built without SQLite, it keeps no history";
}

void History::close() {}

void History::observe(const ValueChange &) {}

Trend History::trend(const TrendRequest &) const {
    return {"there is no history", {}, {}, {}};
}

quint64 History::lost() const {
    return 0;
}

QString History::error() const {
    return {};
}
