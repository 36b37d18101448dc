#include "panel/file/variable_fields.h"

#include "panel/file/registers.h"
#include "panel/file/values.h"

#include <QRegularExpression>

#include <algorithm>

namespace {

constexpr int MostDecimals = 15;
constexpr int LongestUnit = 32;

void readLineName(const JsonFields &fields, const std::vector<LineSettings> &lines,
                  Variable *variable) {
    if (lines.size() < 2 && !fields.has("line"))
        return;
    const std::optional<QString> name = fields.text("line");
    const auto found = std::find_if(lines.begin(), lines.end(), [&name](const LineSettings &line) {
        return name && line.name == *name;
    });
    if (found != lines.end()) {
        variable->line = static_cast<size_t>(found - lines.begin());
    } else if (name) {
        fields.fail("line", QString("there is no line \"%1\"").arg(*name));
    }
}

// Display, order and how many elements form a value; false when the format is not known or fits
// nowhere.
bool readFormat(const JsonFields &fields, Variable *variable) {
    const std::optional<QString> name = fields.text("format");
    if (!name)
        return false;
    const int bits = variable->width().bits;
    const FormatMatch match = findFormat(*name, bits);
    variable->display = match.display;
    variable->words = match.words;
    if (!match.fits) {
        const QString what =
            match.known ? QString("%1 does not fit") : QString("\"%1\" is none of");
        fields.fail("format", what.arg(*name) +
                                  QString(" registerType %1 (%2-bit): permitted are ")
                                      .arg(variable->regType)
                                      .arg(bits) +
                                  formatsFor(bits));
    }
    return match.fits;
}

bool readOrder(const JsonFields &fields, Variable *variable) {
    if (!fields.has("order"))
        return true;
    if (variable->width().bits < 16) {
        fields.fail("order", "bits and bytes have none");
        return false;
    }
    const bool isText = variable->display == Display::Text;
    const std::optional<QString> name = fields.text("order");
    const std::optional<Order> order = name ? findOrder(*name, isText) : std::nullopt;
    variable->order = order.value_or(variable->order);
    if (name && !order)
        fields.fail("order", QString("\"%1\" is not one of %2").arg(*name, ordersFor(isText)));
    return order.has_value();
}

// Stricter than the driver, which takes any text with a dot for a bit.
const QRegularExpression &bitAddress() {
    static const QRegularExpression pattern("^(\\d{1,6})\\.([0-7])\\z");
    return pattern;
}
const QRegularExpression &plainAddress() {
    static const QRegularExpression pattern("^(\\d{1,6})\\z");
    return pattern;
}

bool readAddress(const JsonFields &fields, Variable *variable) {
    const std::optional<QString> text = fields.text("address");
    if (!text)
        return false;
    const bool isBit = variable->width().bits == 1;
    const auto match = (isBit ? bitAddress() : plainAddress()).match(*text);
    if (!match.hasMatch()) {
        fields.fail("address", QString("\"%1\" is not %2")
                                   .arg(*text, isBit ? "\"byte.bit\", like \"12.3\""
                                                     : "a number, like \"100\""));
        return false;
    }
    const int number = match.captured(1).toInt();
    variable->addressText = *text;
    variable->address = isBit ? number * 8 + match.captured(2).toInt() : number;
    return true;
}

// What can be said of format and address without the register type.
void checkWithoutType(const JsonFields &fields) {
    const std::optional<QString> format = fields.text("format");
    const std::optional<QString> address = fields.text("address");
    if (format && !findFormat(*format, RegisterBits).known)
        fields.fail("format", QString("\"%1\" is not one of %2").arg(*format, allFormats()));
    const bool isAddress = !address || bitAddress().match(*address).hasMatch() ||
                           plainAddress().match(*address).hasMatch();
    if (!isAddress) {
        fields.fail(
            "address",
            QString("\"%1\" is neither a number, like \"100\", nor \"byte.bit\", like \"12.3\"")
                .arg(*address));
    }
}

// What holds of a variable, whatever else is wrong with it.
struct Known {
    bool type = false;
    bool value = false; // what its bytes mean
};

// Where the value lies and what it is.
Known readPlace(const JsonFields &fields, Variable *variable) {
    const std::optional<int> regType = fields.integer("registerType", {0, 14});
    if (!regType) {
        checkWithoutType(fields);
        return {};
    }
    variable->regType = *regType;
    const bool isFormat = readFormat(fields, variable);
    const bool isOrder = isFormat && readOrder(fields, variable);
    const Range counts{1, static_cast<double>(variable->maxCount())};
    const std::optional<int> count = fields.integer("count", counts, 1);
    variable->count = count.value_or(1);
    const bool isAddress = readAddress(fields, variable);
    const QString beyond = isAddress && isFormat && count ? beyondArea(*variable) : QString();
    if (!beyond.isEmpty())
        fields.fail({}, beyond);
    return {true, isOrder && count};
}

// False when numbers cannot be told by it.
bool readScaling(const JsonFields &fields, Variable *variable) {
    const int errorsBefore = fields.errorCount();
    variable->scale = fields.number("scale").value_or(1);
    variable->offset = fields.number("offset").value_or(0);
    variable->decimals = fields.integer("decimals", {0, MostDecimals}, -1).value_or(-1);
    variable->min = fields.number("min");
    variable->max = fields.number("max");
    if (variable->scale == 0)
        fields.fail("scale", "0 would make all values the same");
    if (variable->min && variable->max && *variable->min > *variable->max)
        fields.fail("min", "greater than max");
    const bool isScaled = fields.errorCount() == errorsBefore;
    variable->unit = fields.text("unit", QString()).value_or(QString());
    if (variable->unit.size() > LongestUnit || !isShown(variable->unit))
        fields.fail("unit", QString("expected at most %1 characters that show").arg(LongestUnit));
    return isScaled;
}

void checkNumbersOnly(const JsonFields &fields, const Variable &variable) {
    if (variable.isNumber())
        return;
    for (const char *key : {"scale", "offset", "decimals", "min", "max"}) {
        if (fields.has(key))
            fields.fail(key, "for numbers only, which this format is not");
    }
}

void readExpected(const JsonFields &fields, Variable *variable) {
    if (!fields.has("expect"))
        return;
    // What may be written limits what is written, not what is seen.
    Variable unlimited = *variable;
    unlimited.min.reset();
    unlimited.max.reset();
    const QString reason = encodeValue(unlimited, fields.value("expect"), &variable->expected);
    if (!reason.isEmpty())
        fields.fail("expect", reason);
}

void checkWritable(const JsonFields &fields, const std::vector<LineSettings> &lines,
                   const Variable &variable) {
    if (!variable.writable || lines.empty())
        return;
    const QString obstacle = writeObstacle(variable, lines[variable.line].blockLimit);
    if (!obstacle.isEmpty())
        fields.fail("writable", obstacle);
}

void checkBroadcast(const JsonFields &fields, const Variable &variable, bool isTypeKnown) {
    const bool isInput = isTypeKnown && variable.isReadOnly();
    const bool isRead = isInput || variable.moves || fields.has("expect");
    if (variable.isBroadcast() && isRead)
        fields.fail("station", "0 addresses all stations and can only be written");
}

} // namespace

Variable readVariable(const JsonFields &fields, const std::vector<LineSettings> &lines, bool once,
                      bool *isValueKnown) {
    fields.allowOnly({"name", "line", "station", "registerType", "address", "count", "format",
                      "order", "scale", "offset", "decimals", "unit", "min", "max", "writable",
                      "moves", "expect"});
    const int errorsBefore = fields.errorCount();
    Variable variable;
    variable.once = once;
    readName(fields, &variable.name);
    readLineName(fields, lines, &variable);
    variable.station = fields.integer("station", {once ? 1.0 : 0.0, 247}).value_or(1);
    const Known known = readPlace(fields, &variable);
    const bool isScaled = readScaling(fields, &variable);
    variable.moves = fields.flag("moves").value_or(false);
    variable.writable = fields.flag("writable").value_or(false);
    *isValueKnown = known.value && isScaled;
    if (known.value)
        checkNumbersOnly(fields, variable);
    // The line and the area may be wrong.
    if (fields.errorCount() == errorsBefore)
        checkWritable(fields, lines, variable);
    if (*isValueKnown)
        readExpected(fields, &variable);
    checkBroadcast(fields, variable, known.type);
    return variable;
}
