// Values of variables: from the driver's bytes to what a person reads, and from the panel file to
// the driver's bytes.
#pragma once

#include "variable.h"

#include <QByteArray>
#include <QJsonValue>
#include <QString>

// The text of what GetRegisterData answered. Elements stand side by side; data that are too short
// count as zero.
QString valueText(const Variable &variable, const QByteArray &data);

// Data for SetRegisterData from a value of the panel file: a number, true or false, a text (which
// holds numbers too large for JSON as well), or a list of them, one for each element. The result is
// empty, or the reason why the value does not fit.
QString encodeValue(const Variable &variable, const QJsonValue &value, QByteArray *data);
