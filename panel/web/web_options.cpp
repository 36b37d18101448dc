#include "panel/web/web_options.h"

#include <QFile>

#include <algorithm>
#include <arpa/inet.h>

namespace {

constexpr int ShortestToken = 16;
constexpr int LongestToken = 256;
constexpr int HighestPort = 65535;

bool isAddress(const QString &text) {
    in6_addr bytes{};
    const QByteArray latin = text.toLatin1();
    return inet_pton(AF_INET, latin.constData(), &bytes) == 1 ||
           inet_pton(AF_INET6, latin.constData(), &bytes) == 1;
}

QString readWhere(const QString &where, WebOptions *options) {
    const int colon = where.lastIndexOf(':');
    QString address = where.left(std::max(colon, 0));
    if (address.startsWith('[') && address.endsWith(']'))
        address = address.mid(1, address.size() - 2);
    if (address == "localhost")
        address = "127.0.0.1";
    bool isNumber = false;
    options->port = where.mid(colon + 1).toInt(&isNumber);
    if (!isNumber || options->port < 0 || options->port > HighestPort)
        return where + ": expected [ADDRESS:]PORT";
    if (colon >= 0 && !isAddress(address))
        return where + ": \"" + address + "\" is not an IP address";
    if (colon >= 0)
        options->address = address;
    return {};
}

bool isPrintable(const QByteArray &token) {
    return std::all_of(token.begin(), token.end(), [](char c) { return c > ' ' && c < '\x7F'; });
}

QString readToken(const QString &path, QByteArray *token) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return path + ": " + file.errorString();
    *token = file.readLine(LongestToken + 2).trimmed();
    if (token->size() < ShortestToken || token->size() > LongestToken || !isPrintable(*token)) {
        return QString("%1: the first line has to be a token of %2 to %3 characters without spaces")
            .arg(path)
            .arg(ShortestToken)
            .arg(LongestToken);
    }
    return {};
}

} // namespace

bool WebOptions::isLoopback() const {
    return address.startsWith("127.") || address == "::1";
}

bool WebOptions::isAny() const {
    return address == "0.0.0.0" || address == "::";
}

QString readWebOptions(const QString &where, const QString &tokenFile, WebOptions *options) {
    QString error = readWhere(where, options);
    if (error.isEmpty() && !tokenFile.isEmpty())
        error = readToken(tokenFile, &options->token);
    if (error.isEmpty() && !options->isLoopback() && options->token.isEmpty())
        error = where + ": beyond this machine only with --web-token";
    return error;
}
