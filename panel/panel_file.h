// The panel file: what a panel is configured with, read from JSON. README.md describes it for
// the person who writes one.
#pragma once

#include "variable.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

enum class LineParity { None, Odd, Even };

struct PortSettings {
    QString device;
    int baudRate = 0;
    LineParity parity = LineParity::None;
    int stopBits = 0;
    int responseTimeoutMs = 0;      // until the first byte of a reply
    int byteTimeoutMs = 0;          // silence after a byte that ends a reply
    int quietAfterFailureMs = 0;    // silence before the next request after a failure
    int broadcastDelayMs = 0;       // what the stations get to carry out a broadcast
    int restAfterGiveUpSeconds = 0; // how long a station that does not answer is left alone
};

struct WriteJob {
    size_t variable = 0; // index in PanelFile::variables
    QByteArray data;     // as SetRegisterData takes it
};

struct PanelFile {
    PortSettings port;
    int blockLimit = 0;
    int retryLimit = 0;
    std::vector<Variable> variables; // the polled ones, then those read once
    std::vector<WriteJob> writes;
};

// Both return nothing and one line in `error` when the panel cannot be read: "place: reason", with
// the file's name in front in the second.
std::optional<PanelFile> parsePanel(const QByteArray &json, QString *error);
std::optional<PanelFile> readPanelFile(const QString &path, QString *error);
