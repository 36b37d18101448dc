#include "panel/web/access.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSysInfo>

namespace {

bool isLoopback(const QByteArray &address) {
    return address.startsWith("127.") || address == "[::1]";
}

QByteArray withoutPort(const QByteArray &host) {
    const int colon = host.lastIndexOf(':');
    return colon > host.lastIndexOf(']') ? host.left(colon) : host;
}

bool isOurs(const Request &request) {
    const QByteArray port = request.local.mid(withoutPort(request.local).size());
    const QByteArray name = withoutPort(request.host).toLower();
    if (request.host.size() != name.size() + port.size() || !request.host.endsWith(port))
        return false;
    const QByteArray address = withoutPort(request.local);
    const QByteArray machine = QSysInfo::machineHostName().toLatin1().toLower();
    const bool isMachine = !machine.isEmpty() && (name == machine || name == machine + ".local");
    return name == address || isMachine || (isLoopback(address) && name == "localhost");
}

} // namespace

Answer refusal(int status, const QString &reason) {
    const QJsonObject object{{"ok", false}, {"error", reason}};
    return {status, "application/json", QJsonDocument(object).toJson(QJsonDocument::Compact), {}};
}

bool isSameToken(const QByteArray &expected, const QByteArray &given) {
    // Every character of what was given is looked at, whatever came before it.
    unsigned difference = expected.size() == given.size() ? 0 : 1;
    for (int i = 0; i < given.size() && !expected.isEmpty(); ++i) {
        const char right = expected.at(i % expected.size());
        difference |= static_cast<unsigned char>(right ^ given.at(i));
    }
    return difference == 0;
}

bool hasToken(const WebOptions &options, const Request &request) {
    constexpr int SchemeLength = 7;
    const QByteArray scheme = request.authorization.left(SchemeLength).toLower();
    return !options.token.isEmpty() && scheme == "bearer " &&
           isSameToken(options.token, request.authorization.mid(SchemeLength).trimmed());
}

std::optional<Answer> refuseForeign(const Request &request) {
    if (!isOurs(request))
        return refusal(403, "not a name of this panel");
    if (!request.origin.isEmpty() && request.origin != "http://" + request.host)
        return refusal(403, "asked for by another page");
    // Pages and their pictures say no origin when they read; the page itself may be linked to.
    const bool isApi = request.path.startsWith("/api/");
    if (isApi && (request.fetchSite == "cross-site" || request.fetchSite == "same-site"))
        return refusal(403, "asked for by another page");
    return {};
}

std::optional<Answer> refuseReader(const WebOptions &options, const Request &request) {
    if (options.isLoopback() || hasToken(options, request))
        return {};
    return refusal(401, "the token is needed");
}

std::optional<Answer> refuseWriter(const WebOptions &options, const Request &request) {
    if (options.token.isEmpty())
        return refusal(403, "this panel was started without --web-token: nobody may write");
    if (!hasToken(options, request))
        return refusal(401, "the token is needed");
    return {};
}
