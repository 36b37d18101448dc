#include "panel/file/json_fields.h"
#include "panel/file/value_bytes.h"
#include "panel/file/values.h"

#include <QJsonArray>
#include <QLocale>
#include <QRegularExpression>

#include <cmath>
#include <limits>
#include <utility>

namespace {

QString quoted(const QString &text) {
    return '"' + text + '"';
}

// The least and the greatest number that the bits of a whole number can hold.
struct WholeRange {
    double low;
    double high;
};

WholeRange rangeOf(const Variable &variable) {
    const int width = variable.valueBits();
    if (variable.display == Display::Signed)
        return {-std::ldexp(1, width - 1), std::ldexp(1, width - 1) - 1};
    return {0, std::ldexp(1, width) - 1};
}

// As a person reads it; exact for every width.
QString rangeText(const Variable &variable) {
    const int width = variable.valueBits();
    const quint64 most = ~quint64(0) >> (64 - width);
    if (variable.display != Display::Signed)
        return "0 to " + QString::number(most);
    const auto high = static_cast<qint64>(most >> 1U);
    return QString("%1 to %2").arg(-high - 1).arg(high);
}

bool parseWhole(const Variable &variable, const QString &text, int base, quint64 *bits) {
    const int width = variable.valueBits();
    bool isNumber = false;
    if (variable.display != Display::Signed) {
        *bits = text.toULongLong(&isNumber, base);
        return isNumber && (width == 64 || *bits >> width == 0);
    }
    const qint64 number = text.toLongLong(&isNumber, base);
    *bits = static_cast<quint64>(number);
    const quint64 kept = *bits << (64 - width) >> (64 - width);
    return isNumber && signedOf(kept, width) == number;
}

QString limitText(const QString &text, const char *what, double limit, const QString &unit) {
    return QString("\"%1\" is %2 of %3 %4").arg(text, what, numberText(limit), unit).trimmed();
}

// Written so that what is no number is beyond both.
QString checkLimits(const Variable &variable, const QString &text, double number) {
    if (variable.min && !(number >= *variable.min))
        return limitText(text, "below the minimum", *variable.min, variable.unit);
    if (variable.max && !(number <= *variable.max))
        return limitText(text, "above the maximum", *variable.max, variable.unit);
    return {};
}

// A scaled whole number: the nearest that the PLC can hold.
QString encodeScaled(const Variable &variable, const QString &text, double raw, quint64 *bits) {
    const WholeRange range = rangeOf(variable);
    const double nearest = std::round(raw);
    // The greatest 64-bit numbers round to a power of two that is out of range.
    const bool fits = nearest >= range.low && nearest <= range.high && nearest < std::ldexp(1, 64);
    if (!fits || (variable.display == Display::Signed && nearest >= std::ldexp(1, 63))) {
        double low = range.low * variable.scale + variable.offset;
        double high = range.high * variable.scale + variable.offset;
        if (low > high)
            std::swap(low, high);
        return QString("%1 is not from %2 to %3 %4")
            .arg(quoted(text), numberText(low), numberText(high), variable.unit)
            .trimmed();
    }
    *bits = nearest < 0 ? static_cast<quint64>(static_cast<qint64>(nearest))
                        : static_cast<quint64>(nearest);
    return {};
}

QString encodeFloat(const Variable &variable, const QString &text, double raw, quint64 *bits) {
    const int width = variable.valueBits();
    const auto most = static_cast<double>(std::numeric_limits<float>::max());
    if (width == 32 && std::isfinite(raw) && std::abs(raw) > most)
        return quoted(text) + " is too large for a 32-bit float";
    *bits = bitsOfFloat(raw, width);
    return {};
}

QString encodeNumber(const Variable &variable, const QString &text, quint64 *bits) {
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    if (!isNumber)
        return quoted(text) + " is no number";
    QString beyond = checkLimits(variable, text, number);
    if (!beyond.isEmpty())
        return beyond;
    const double raw = (number - variable.offset) / variable.scale;
    if (variable.display == Display::Float)
        return encodeFloat(variable, text, raw, bits);
    if (variable.isScaled())
        return encodeScaled(variable, text, raw, bits);
    // "7.00" is what decimals make of 7.
    const bool isWhole = number == std::floor(number) && std::abs(number) <= MaxExactNumber;
    const QString digits = isWhole ? QString::number(number, 'f', 0) : text;
    const bool fits = parseWhole(variable, digits, 10, bits);
    return fits ? QString() : quoted(text) + " is not a whole number from " + rangeText(variable);
}

QString encodeOne(const Variable &variable, const QString &text, quint64 *bits) {
    if (variable.isNumber())
        return encodeNumber(variable, text, bits);
    const bool isHex = variable.display == Display::Hex;
    if (parseWhole(variable, text, isHex ? 16 : 10, bits))
        return {};
    return quoted(text) +
           (isHex ? QString(" is not %1 bits in hex, like \"0xA5\"").arg(variable.valueBits())
                  : " is not 0 or 1");
}

// A JSON number is a double: whole ones are written out without an exponent.
QString plainText(const QJsonValue &value) {
    if (value.isBool())
        return value.toBool() ? "1" : "0";
    const double number = value.toDouble();
    if (!value.isDouble())
        return value.toString();
    return QString::number(number, std::abs(number) < 1e16 ? 'f' : 'g',
                           QLocale::FloatingPointShortest);
}

QString encodeElement(const Variable &variable, const QJsonValue &value, quint64 *bits) {
    if (!value.isDouble() && !value.isString() && !value.isBool())
        return "expected a number or a text";
    // 10 would be taken for sixteen by one reader and for ten by the next.
    if (variable.display == Display::Hex && value.isDouble())
        return "a hex value is written as a text, like \"0xA5\"";
    if (variable.display != Display::Float && std::abs(value.toDouble()) > MaxExactNumber)
        return "too large for a JSON number: write it as a text";
    return encodeOne(variable, plainText(value), bits);
}

QString encodeText(const Variable &variable, const QJsonValue &value, QByteArray *data) {
    const QString characters = value.toString();
    const QByteArray text = characters.toLatin1();
    if (QString::fromLatin1(text) != characters)
        return "a character outside Latin-1";
    const int perElement = variable.width().valueBytes;
    if (!value.isString() || text.size() > variable.count * perElement)
        return QString("expected a text of at most %1 characters").arg(variable.count * perElement);
    for (int i = 0; i < variable.count; ++i) {
        quint64 bits = 0;
        for (int byte = perElement - 1; byte >= 0; --byte) {
            const int index = i * perElement + byte;
            bits = bits << 8 | (index < text.size() ? static_cast<uchar>(text[index]) : 0U);
        }
        putBits(variable, i, bits, data);
    }
    return {};
}

QString encodeAll(const Variable &variable, const QJsonValue &value, QByteArray *data) {
    if (value.isUndefined())
        return "missing";
    if (variable.display == Display::Text)
        return encodeText(variable, value, data);
    const QJsonArray values = value.isArray() ? value.toArray() : QJsonArray{value};
    if (values.size() != variable.count) {
        return variable.count == 1 ? "expected one value"
                                   : QString("expected %1 values").arg(variable.count);
    }
    for (int i = 0; i < variable.count; ++i) {
        quint64 bits = 0;
        QString reason = encodeElement(variable, values[i], &bits);
        if (!reason.isEmpty())
            return reason;
        putBits(variable, i, bits, data);
    }
    return {};
}

} // namespace

QString encodeValue(const Variable &variable, const QJsonValue &value, QByteArray *data) {
    *data = QByteArray(variable.hostBytes(), '\0');
    QString reason = encodeAll(variable, value, data);
    if (!reason.isEmpty())
        data->clear();
    return reason;
}

QString encodeTyped(const Variable &variable, const QString &text, QByteArray *data) {
    static const QRegularExpression separators("[\\s,]+");
    if (variable.display == Display::Text)
        return encodeValue(variable, text, data);
    QJsonArray values;
    for (const QString &word : text.split(separators, Qt::SkipEmptyParts)) {
        const QString lower = word.toLower();
        const bool isFlag = variable.display == Display::Bit;
        if (isFlag && (lower == "on" || lower == "true")) {
            values += true;
        } else if (isFlag && (lower == "off" || lower == "false")) {
            values += false;
        } else {
            values += word;
        }
    }
    QString reason = encodeValue(variable, values, data);
    if (variable.count == 1 && values.size() > 1 && text.contains(','))
        reason += R"(: a decimal point is written ".", as in 1.5)";
    return reason;
}
