// Values of variables: from the driver's bytes to what people and other programs read, and back.
// Both ways in what people read: scaled, without the unit.
#pragma once

#include "panel/file/variable.h"

#include <QByteArray>
#include <QJsonValue>
#include <QString>

#include <optional>

// The text of what GetRegisterData answered. Values stand side by side; data that are too short
// count as zero.
QString valueText(const Variable &variable, const QByteArray &data);

// One value as a number, rounded to the digits that it has (0.1, not 0.10000000000000001). Nothing
// for a text, and for a float that is none.
std::optional<double> valueNumber(const Variable &variable, const QByteArray &data, int index = 0);

// The same for other programs: a number, a text for hex, text and whole numbers that JSON numbers
// cannot tell apart, null for a float that is no number; a list of them when there are several.
// encodeValue takes it back.
QJsonValue valueJson(const Variable &variable, const QByteArray &data);

// Data for SetRegisterData from a value of the panel file: a number, true or false, a text (which
// holds numbers too large for JSON as well), or a list of them, one for each value. Scaled whole
// numbers are rounded to the nearest that the PLC can hold. The result is empty, or one sentence
// that says why the value does not fit, the variable's min and max included; there is no data then.
QString encodeValue(const Variable &variable, const QJsonValue &value, QByteArray *data);

// The same from what a person types: several values are parted by spaces or commas, bits may be on,
// off, true, false.
QString encodeTyped(const Variable &variable, const QString &text, QByteArray *data);
