// What the command lines of the panel and of the simulated PLC have in common.
#pragma once

#include <QCommandLineParser>
#include <QString>
#include <QStringList>
#include <QTextStream>

namespace command_line {

// One line on standard error; returns the exit status.
inline int complain(const char *program, const QString &error, int exitCode) {
    QTextStream(stderr) << program << ": " << error << '\n';
    return exitCode;
}

inline bool readNumber(const QString &text, int low, int high, int *number) {
    bool isNumber = false;
    *number = text.toInt(&isNumber);
    return isNumber && *number >= low && *number <= high;
}

inline QString wrongValue(const QString &option, const QString &text, const QString &expected) {
    return QString("--%1 %2: expected %3").arg(option, text, expected);
}

// The reason why the arguments cannot be parsed. Ends the program for --help.
inline QString parse(QCommandLineParser *parser, const QStringList &arguments) {
    const QCommandLineOption help = parser->addHelpOption();
    if (!parser->parse(arguments))
        return parser->errorText();
    if (parser->isSet(help))
        parser->showHelp();
    return {};
}

} // namespace command_line
