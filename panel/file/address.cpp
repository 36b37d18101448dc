#include "panel/file/address.h"

#include "panel/file/registers.h"

#include <QRegularExpression>

namespace {

constexpr int MostStations = 247;
constexpr int InputBits = 0; // register types; those of the holding area are one more
constexpr int InputWords = 6;

// Each takes a part of the address and returns the reason why it cannot.

QString takeStation(const QString &text, Variable *variable) {
    if (!text.isEmpty())
        variable->station = text.toInt();
    return variable->station <= MostStations
               ? QString()
               : QString("station %1 is beyond %2").arg(text).arg(MostStations);
}

QString takeArea(const QString &text, bool isBit, Variable *variable) {
    const QString area = text.toLower();
    if (area != "input" && area != "holding")
        return QString("\"%1\" is not input or holding").arg(text);
    variable->regType = (isBit ? InputBits : InputWords) + (area == "holding" ? 1 : 0);
    return {};
}

QString takeFormat(const QString &text, const QString &orderText, Variable *variable) {
    const int bits = variable->width().bits;
    const QString name = text.isEmpty() ? (bits == 1 ? "bit" : "uint16") : text.toLower();
    const FormatMatch format = findFormat(name, bits);
    if (!format.fits)
        return QString("\"%1\" is not one of %2").arg(text, formatsFor(bits));
    variable->display = format.display;
    variable->words = format.words;
    if (orderText.isEmpty())
        return {};
    const bool isText = format.display == Display::Text;
    const std::optional<Order> order = findOrder(orderText.toUpper(), isText);
    if (bits == 1)
        return "a bit has no order";
    if (!order)
        return QString("\"%1\" is not one of %2").arg(orderText, ordersFor(isText));
    variable->order = *order;
    return {};
}

// After the format: it decides how many registers a value takes.
QString takeRegisters(const QString &registerText, const QString &bitText, const QString &countText,
                      Variable *variable) {
    const bool isBit = variable->width().bits == 1;
    if (isBit && bitText.toInt() >= RegisterBits)
        return QString("bit %1 is beyond 15").arg(bitText);
    const int first = registerText.toInt();
    variable->address = isBit ? first * RegisterBits + bitText.toInt() : first;
    variable->addressText =
        isBit ? QString("%1.%2").arg(variable->address / 8).arg(variable->address % 8)
              : QString::number(first);
    variable->count = countText.isEmpty() ? 1 : countText.toInt();
    if (variable->count < 1 || variable->count > variable->maxCount())
        return QString("*%1 is not from 1 to %2").arg(countText).arg(variable->maxCount());
    return beyondArea(*variable);
}

} // namespace

std::optional<Variable> parseAddress(const QString &address, int station, QString *error) {
    static const QRegularExpression parts(
        "^(?:(\\d{1,5})/)?([A-Za-z]+):(\\d{1,6})(?:\\.(\\d{1,2}))?"
        "(?:\\*(\\d{1,6}))?(?::(\\w+)(?::(\\w+))?)?\\z");
    const QRegularExpressionMatch match = parts.match(address);
    if (!match.hasMatch()) {
        *error = QString("\"%1\" is no address: expected "
                         "[STATION/]AREA:REGISTER[.BIT][*COUNT][:FORMAT[:ORDER]], like holding:100")
                     .arg(address);
        return {};
    }
    Variable variable;
    variable.name = address;
    variable.station = station;
    QString reason = takeStation(match.captured(1), &variable);
    if (reason.isEmpty())
        reason = takeArea(match.captured(2), !match.captured(4).isEmpty(), &variable);
    if (reason.isEmpty())
        reason = takeFormat(match.captured(6), match.captured(7), &variable);
    if (reason.isEmpty()) {
        reason = takeRegisters(match.captured(3), match.captured(4), match.captured(5), &variable);
    }
    *error = reason.isEmpty() ? reason : address + ": " + reason;
    return reason.isEmpty() ? std::optional(variable) : std::nullopt;
}
