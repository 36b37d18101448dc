#include "values.h"

#include <QJsonArray>

#include <cmath>
#include <cstring>

namespace {

// Beyond it a JSON number, which is a double, no longer tells neighbours apart.
constexpr double MaxExactNumber = 9007199254740992.0;

quint64 elementAt(const Variable &variable, const QByteArray &data, int index) {
    const ElementWidth &width = variable.width();
    quint64 bits = 0;
    for (int i = width.valueBytes - 1; i >= 0; --i) {
        const int position = index * width.hostBytes + i;
        const int byte = position < data.size() ? static_cast<uchar>(data[position]) : 0;
        bits = bits << 8 | static_cast<quint64>(byte);
    }
    return bits;
}

void putElement(const Variable &variable, int index, quint64 bits, QByteArray *data) {
    const ElementWidth &width = variable.width();
    for (int i = 0; i < width.valueBytes; ++i)
        (*data)[index * width.hostBytes + i] = static_cast<char>(bits >> (8 * i) & 0xFFU);
}

template <typename Value>
Value bitsAs(quint64 bits) {
    Value value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

template <typename Value>
quint64 asBits(Value value) {
    quint64 bits = 0;
    std::memcpy(&bits, &value, sizeof value);
    return bits;
}

qint64 signedValue(quint64 bits, int width) {
    const quint64 sign = quint64(1) << (width - 1);
    return static_cast<qint64>((bits ^ sign) - sign);
}

QString elementText(const Variable &variable, quint64 bits) {
    const int width = variable.width().bits;
    switch (variable.display) {
    case Display::Signed:
        return QString::number(signedValue(bits, width));
    case Display::Float:
        return width == 32 ? QString::number(static_cast<double>(bitsAs<float>(bits)), 'g', 7)
                           : QString::number(bitsAs<double>(bits), 'g', 15);
    case Display::Hex:
        return "0x" + QString::number(bits, 16).toUpper().rightJustified(width / 4, '0');
    case Display::Bit:
    case Display::Unsigned:
    case Display::Text:
        break;
    }
    return QString::number(bits);
}

// Characters in the order of the bytes, up to the first zero.
QString characters(const Variable &variable, const QByteArray &data) {
    QString text;
    for (int i = 0; i < variable.count; ++i) {
        quint64 bits = elementAt(variable, data, i);
        for (int byte = 0; byte < variable.width().valueBytes; ++byte, bits >>= 8) {
            const QChar character(static_cast<ushort>(bits & 0xFFU));
            if (character.isNull())
                return text;
            text += character.isPrint() ? character : QChar('.');
        }
    }
    return text;
}

bool parseSigned(const QString &text, int width, quint64 *bits) {
    bool isNumber = false;
    const qint64 number = text.toLongLong(&isNumber);
    *bits = static_cast<quint64>(number);
    const quint64 kept = *bits << (64 - width) >> (64 - width);
    return isNumber && signedValue(kept, width) == number;
}

bool parseUnsigned(const QString &text, int width, int base, quint64 *bits) {
    bool isNumber = false;
    *bits = text.toULongLong(&isNumber, base);
    return isNumber && (width == 64 || *bits >> width == 0);
}

bool parseFloat(const QString &text, int width, quint64 *bits) {
    bool isNumber = false;
    *bits = width == 32 ? asBits(text.toFloat(&isNumber)) : asBits(text.toDouble(&isNumber));
    return isNumber;
}

bool parseElement(const Variable &variable, const QString &text, quint64 *bits) {
    const int width = variable.width().bits;
    switch (variable.display) {
    case Display::Signed:
        return parseSigned(text, width, bits);
    case Display::Float:
        return parseFloat(text, width, bits);
    case Display::Hex:
        return parseUnsigned(text, width, 16, bits);
    case Display::Bit:
    case Display::Unsigned:
    case Display::Text:
        break;
    }
    return parseUnsigned(text, width, 10, bits);
}

// A JSON number is a double: whole ones are written out without an exponent.
QString elementText(const QJsonValue &value) {
    if (value.isBool())
        return value.toBool() ? "1" : "0";
    return value.isDouble() ? QString::number(value.toDouble(), 'g', 17) : value.toString();
}

QString encodeElement(const Variable &variable, int index, const QJsonValue &value,
                      QByteArray *data) {
    if (!value.isDouble() && !value.isString() && !value.isBool())
        return "expected a number or a text";
    // 10 would be taken for sixteen by one reader and for ten by the next.
    if (variable.display == Display::Hex && value.isDouble())
        return "a hex value is written as a text, like \"0xA5\"";
    if (variable.display != Display::Float && std::abs(value.toDouble()) > MaxExactNumber)
        return "too large for a JSON number: write it as a text";
    quint64 bits = 0;
    const QString text = elementText(value);
    if (!parseElement(variable, text, &bits))
        return QString("\"%1\" is no value of this format").arg(text);
    putElement(variable, index, bits, data);
    return {};
}

QString encodeText(const Variable &variable, const QJsonValue &value, QByteArray *data) {
    const QString characters = value.toString();
    const QByteArray text = characters.toLatin1();
    if (QString::fromLatin1(text) != characters)
        return "a character outside Latin-1";
    const int perElement = variable.width().valueBytes;
    if (!value.isString() || text.size() > variable.count * perElement)
        return QString("expected a text of at most %1 characters").arg(variable.count * perElement);
    for (int i = 0; i < text.size(); ++i)
        (*data)[i / perElement * variable.width().hostBytes + i % perElement] = text[i];
    return {};
}

} // namespace

QString valueText(const Variable &variable, const QByteArray &data) {
    if (variable.display == Display::Text)
        return characters(variable, data);
    QStringList texts;
    for (int i = 0; i < variable.count; ++i)
        texts += elementText(variable, elementAt(variable, data, i));
    return texts.join(' ');
}

QString encodeValue(const Variable &variable, const QJsonValue &value, QByteArray *data) {
    *data = QByteArray(variable.count * variable.width().hostBytes, '\0');
    if (value.isUndefined())
        return "missing";
    if (variable.display == Display::Text)
        return encodeText(variable, value, data);
    const QJsonArray values = value.isArray() ? value.toArray() : QJsonArray{value};
    if (values.size() != variable.count)
        return QString("expected %1 values").arg(variable.count);
    for (int i = 0; i < variable.count; ++i) {
        QString reason = encodeElement(variable, i, values[i], data);
        if (!reason.isEmpty())
            return reason;
    }
    return {};
}
