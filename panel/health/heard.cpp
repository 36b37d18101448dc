#include "panel/health/heard.h"

namespace {

Heard heardIf(const Exchange &exchange, bool isAfterRequest) {
    std::vector<ReceivedBytes> pieces;
    for (const ReceivedBytes &piece : exchange.received) {
        if ((piece.at >= exchange.began) == isAfterRequest)
            pieces.push_back(piece);
    }
    return heardOf(pieces);
}

} // namespace

Heard heardOf(const std::vector<ReceivedBytes> &pieces) {
    Heard heard;
    for (const ReceivedBytes &piece : pieces) {
        heard.bytes += piece.bytes;
        heard.times.resize(static_cast<std::size_t>(heard.bytes.size()), piece.at);
    }
    return heard;
}

Heard heardBefore(const Exchange &exchange) {
    return heardIf(exchange, false);
}

Heard heardAfter(const Exchange &exchange) {
    return heardIf(exchange, true);
}

bool hasEcho(const Exchange &exchange) {
    const bool isOwnAnswer = exchange.reply == exchange.request;
    const QByteArray echo = isOwnAnswer ? exchange.request + exchange.reply : exchange.request;
    return !echo.isEmpty() && heardAfter(exchange).bytes.startsWith(echo);
}

QByteArray straysOf(const Exchange &exchange) {
    QByteArray heard = heardAfter(exchange).bytes;
    const bool isAnswered =
        exchange.outcome == Outcome::Good || exchange.outcome == Outcome::Refused;
    const int reply = isAnswered ? heard.lastIndexOf(exchange.reply) : -1;
    if (reply >= 0)
        heard.remove(reply, exchange.reply.size());
    if (hasEcho(exchange))
        heard.remove(0, exchange.request.size());
    return heardBefore(exchange).bytes + heard;
}
