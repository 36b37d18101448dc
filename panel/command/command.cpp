#include "panel/command/command.h"

#include "panel/line/driver_library.h"

#include <QFile>
#include <QTextStream>

void addLibraryOption(CommandOptions options, std::string *library) {
    options
        .add("--library", library,
             "Driver library to load; left out, the one beside the program's build, then the "
             "installed one")
        .shownAs("PATH");
}

QString libraryPath(const std::string &option) {
    return option.empty() ? defaultLibrary() : pathText(option);
}

int complain(const QString &error, ExitCode code) {
    QTextStream(stderr) << "panel: " << error << '\n';
    return code;
}

QString pathText(const std::string &option) {
    return QFile::decodeName(option.c_str());
}
