#include "panel/file/values.h"

#include "panel/file/value_bytes.h"

#include <QJsonArray>

#include <cmath>

namespace {

bool isWhole(const Variable &variable) {
    return variable.display != Display::Float && !variable.isScaled();
}

int digitsOf(const Variable &variable) {
    return variable.display == Display::Float && variable.valueBits() == 32 ? 7 : 15;
}

double scaled(const Variable &variable, quint64 bits) {
    const int width = variable.valueBits();
    double raw = static_cast<double>(bits);
    if (variable.display == Display::Signed)
        raw = static_cast<double>(signedOf(bits, width));
    if (variable.display == Display::Float)
        raw = floatOf(bits, width);
    return raw * variable.scale + variable.offset;
}

QString wholeText(const Variable &variable, quint64 bits) {
    QString text = variable.display == Display::Signed
                       ? QString::number(signedOf(bits, variable.valueBits()))
                       : QString::number(bits);
    if (variable.decimals > 0)
        text += '.' + QString(variable.decimals, '0');
    return text;
}

QString numberText(const Variable &variable, quint64 bits) {
    if (isWhole(variable))
        return wholeText(variable, bits);
    const double number = scaled(variable, bits);
    if (variable.decimals < 0)
        return QString::number(number, 'g', digitsOf(variable));
    const QString text = QString::number(number, 'f', variable.decimals);
    // What rounds to zero has no sign.
    return text.toDouble() == 0 && text.startsWith('-') ? text.mid(1) : text;
}

QString oneText(const Variable &variable, quint64 bits) {
    if (variable.display != Display::Hex)
        return numberText(variable, bits);
    const int digits = variable.valueBits() / 4;
    return "0x" + QString::number(bits, 16).toUpper().rightJustified(digits, '0');
}

// Characters in the order of the bytes, up to the first zero.
QString characters(const Variable &variable, const QByteArray &data) {
    QString text;
    for (int i = 0; i < variable.count; ++i) {
        quint64 bits = bitsAt(variable, data, i);
        for (int byte = 0; byte < variable.width().valueBytes; ++byte, bits >>= 8) {
            const QChar character(static_cast<ushort>(bits & 0xFFU));
            if (character.isNull())
                return text;
            text += character.isPrint() ? character : QChar('.');
        }
    }
    return text;
}

QJsonValue oneJson(const Variable &variable, const QByteArray &data, int index) {
    const QString text = oneText(variable, bitsAt(variable, data, index));
    const std::optional<double> number = valueNumber(variable, data, index);
    if (!number)
        return QJsonValue::Null;
    const bool isExact = !isWhole(variable) || std::abs(*number) <= MaxExactNumber;
    return variable.display == Display::Hex || !isExact ? QJsonValue(text) : QJsonValue(*number);
}

} // namespace

QString valueText(const Variable &variable, const QByteArray &data) {
    if (variable.display == Display::Text)
        return characters(variable, data);
    QStringList texts;
    for (int i = 0; i < variable.count; ++i)
        texts += oneText(variable, bitsAt(variable, data, i));
    return texts.join(' ');
}

std::optional<double> valueNumber(const Variable &variable, const QByteArray &data, int index) {
    if (variable.display == Display::Text)
        return {};
    const double number = scaled(variable, bitsAt(variable, data, index));
    if (!std::isfinite(number))
        return {};
    return isWhole(variable) ? number : QString::number(number, 'g', digitsOf(variable)).toDouble();
}

QJsonValue valueJson(const Variable &variable, const QByteArray &data) {
    if (variable.display == Display::Text)
        return characters(variable, data);
    if (variable.count == 1)
        return oneJson(variable, data, 0);
    QJsonArray values;
    for (int i = 0; i < variable.count; ++i)
        values += oneJson(variable, data, i);
    return values;
}
