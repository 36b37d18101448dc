// panel write: gives a PLC values, without a panel file.
#include "panel/command/by_hand.h"
#include "panel/file/address.h"
#include "panel/file/values.h"

#include <QTextStream>

#include <memory>
#include <vector>

namespace {

struct WriteOptions {
    DeviceOptions device;
    std::vector<std::string> writes; // ADDRESS=VALUE
};

struct HandWrite {
    Variable variable;
    QByteArray data;
};

// One sentence, or nothing.
QString parse(const QString &text, const DeviceOptions &options, HandWrite *write) {
    const int equals = text.indexOf('=');
    if (equals < 0)
        return text + ": expected ADDRESS=VALUE";
    QString error;
    const auto variable = parseAddress(text.left(equals).trimmed(), options.station, &error);
    if (!variable)
        return error;
    write->variable = *variable;
    error = writeObstacle(*variable, options.line().blockLimit);
    if (error.isEmpty() && variable->isBroadcast() && variable->width().bits == 1)
        error = "a bit cannot be written to all stations: its register is read first";
    if (error.isEmpty())
        error = encodeTyped(*variable, text.mid(equals + 1), &write->data);
    return error.isEmpty() ? error : variable->name + ": " + error;
}

std::vector<HandWrite> parseAll(const WriteOptions &options, QStringList *errors) {
    std::vector<HandWrite> writes;
    for (const std::string &text : options.writes) {
        HandWrite write;
        const QString error = parse(QString::fromLocal8Bit(text.c_str()), options.device, &write);
        if (!error.isEmpty())
            *errors += error;
        writes.push_back(write);
    }
    return writes;
}

QString textOf(const HandWrite &write, const QByteArray &data, const QString &reason) {
    return reason.isEmpty() ? valueText(write.variable, data) : "unknown (" + reason + ')';
}

// What the PLC held, what was written, what it holds then. Whether it holds what was written.
bool carryOut(HandLine *line, const HandWrite &write) {
    const bool isBroadcast = write.variable.isBroadcast();
    QTextStream out(stdout);
    out << write.variable.name << ": ";
    if (!isBroadcast) {
        QByteArray before;
        const QString reason = line->read(write.variable, &before);
        out << "held " << textOf(write, before, reason) << ", ";
    }
    const QString value = valueText(write.variable, write.data);
    const QString failure = line->write(write.variable, write.data);
    if (!failure.isEmpty()) {
        out << value << " not written: " << failure << '\n';
        return false;
    }
    out << "written " << value;
    if (isBroadcast) {
        out << ", which no station acknowledges\n";
        return true;
    }
    QByteArray after;
    const QString reason = line->read(write.variable, &after);
    const bool holds = reason.isEmpty() && after == write.data;
    out << ", read back " << textOf(write, after, reason);
    out << (holds || !reason.isEmpty() ? "\n" : ", which is something else\n");
    return holds;
}

int writeByHand(const WriteOptions &options) {
    QStringList errors;
    const std::vector<HandWrite> writes = parseAll(options, &errors);
    if (!errors.isEmpty())
        return complain(errors.join("; "), WrongInput);
    return workByHand(options.device, [&](HandLine *line, const auto &stopRequested) {
        bool allHeld = true;
        for (const HandWrite &write : writes)
            allHeld = !stopRequested && !line->isGone() && carryOut(line, write) && allHeld;
        return allHeld;
    });
}

} // namespace

Command addWriteCommand(CLI::App &program) {
    const auto options = std::make_shared<WriteOptions>();
    CommandOptions app(program, "write", "Writes values without a panel file");
    app.footer(std::string(AddressHelp) +
               "Several values are parted by spaces or commas: \"holding:10*3=1 2 3\". Station 0\n"
               "means all stations; none of them acknowledges.\n"
               "Says what the PLC held, what was written and what was read back. Exit status:\n"
               "0 all came back, 1 not all, 2 wrong options or library, 3 no device.");
    addDeviceOptions(app, &options->device, 0);
    app.add("ADDRESS=VALUE", &options->writes, "What to write").required().shownAs("");
    return {app.command(), [options] {
                return writeByHand(*options);
            }};
}
