// The panel file: what a panel is configured with, read from JSON. README.md describes it for
// the person who writes one, panel.schema.json for editors.
#pragma once

#include "panel/file/broker_settings.h"
#include "panel/file/line_settings.h"
#include "panel/file/variable.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

struct WriteJob {
    size_t variable = 0; // index in PanelFile::variables
    QByteArray data;     // as SetRegisterData takes it
};

struct PanelFile {
    std::vector<LineSettings> lines; // at least one; a single one may be without a device
    std::vector<Variable> variables; // the polled ones, then those read once
    std::vector<WriteJob> writes;
    std::optional<BrokerSettings> broker;
    int historyDays = 30; // how far back the history goes, and how large it gets
    int historyMegabytes = 1024;
};

// Both return nothing when the panel cannot be read, and in `errors` all that is wrong with it, in
// one line each: `variables[3] "pressure": count: reason`. At most 50, then "... and N more". The
// second has the file's name in front of each, and takes relative names of files (not of devices)
// as seen from the folder of the panel file.
std::optional<PanelFile> parsePanel(const QByteArray &json, QStringList *errors);
std::optional<PanelFile> readPanelFile(const QString &path, QStringList *errors);
