// In a build without libmosquitto or SQLite.
#include "panel/broker/broker.h"

class Broker::Work {};

Broker::Broker(const PanelFile &, Links) {} // NOLINT(performance-unnecessary-value-param)
Broker::~Broker() = default;

QString Broker::start() {
    return "broker: this build has none, it needs libmosquitto and SQLite";
}

void Broker::take(const ValueChange &) {}
void Broker::stop() {}

QJsonObject Broker::status() const {
    return {};
}
