#include "panel/file/broker_fields.h"

#include <QRegularExpression>

namespace {

constexpr int PlainPort = 1883;
constexpr int TlsPort = 8883;
constexpr int LongestLevel = 200; // three of them and the rest stay far below a topic's 65535 bytes

void checkPrefix(const JsonFields &fields, const QString &prefix) {
    for (const QString &level : prefix.split('/'))
        checkTopicLevel(fields, "prefix", level);
    if (prefix.startsWith('$'))
        fields.fail("prefix", "topics that begin with $ are the broker's own");
}

void checkTogether(const JsonFields &fields, const char *key, const char *needed) {
    if (fields.has(key) && !fields.has(needed))
        fields.fail(key, QString("needs %1, too").arg(needed));
}

} // namespace

void checkTopicLevel(const JsonFields &fields, const QString &key, const QString &name) {
    const bool fits = !name.isEmpty() && name.size() <= LongestLevel && isShown(name) &&
                      !name.contains(QRegularExpression("[+#/]"));
    if (!fits) {
        fields.fail(key, QString("a topic cannot carry \"%1\": permitted are 1 to %2 characters, "
                                 "without + # /")
                             .arg(name)
                             .arg(LongestLevel));
    }
}

BrokerSettings readBroker(const JsonFields &fields) {
    fields.allowOnly({"host", "port", "prefix", "user", "passwordFile", "caFile", "certFile",
                      "keyFile", "minIntervalMs", "acceptWrites", "spoolFile", "spoolMegabytes"});
    BrokerSettings broker;
    const auto text = [&fields](const char *key) {
        return fields.text(key, QString()).value_or(QString());
    };
    broker.host = fields.text("host").value_or(QString());
    if (broker.host.isEmpty() && fields.value("host").isString())
        fields.fail("host", "empty");
    broker.port = fields.integer("port", {1, 65535}, fields.has("caFile") ? TlsPort : PlainPort)
                      .value_or(PlainPort);
    if (const auto prefix = fields.text("prefix")) {
        broker.prefix = *prefix;
        checkPrefix(fields, broker.prefix);
    }
    broker.user = text("user");
    broker.passwordFile = text("passwordFile");
    broker.caFile = text("caFile");
    broker.certFile = text("certFile");
    broker.keyFile = text("keyFile");
    checkTogether(fields, "passwordFile", "user");
    checkTogether(fields, "certFile", "keyFile");
    checkTogether(fields, "keyFile", "certFile");
    checkTogether(fields, "certFile", "caFile");
    broker.minIntervalMs = fields.integer("minIntervalMs", {0, 3'600'000}, 0).value_or(0);
    broker.acceptWrites = fields.flag("acceptWrites").value_or(false);
    broker.spoolFile = text("spoolFile");
    broker.spoolMegabytes = fields.integer("spoolMegabytes", {1, 1'000'000}, 64).value_or(64);
    return broker;
}
