// What the two plans of a line come to, for people and for programs.
#pragma once

#include "panel/line/plan.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <vector>

struct PlannedRequest {
    RegisterSpan block;
    QStringList variables;
    int unasked = 0; // registers that no variable needs
    int bytes = 0;   // request and reply
    double milliseconds = 0;
};

struct PlannedPass {
    std::vector<PlannedRequest> requests;
    int unasked = 0;
    int bytes = 0;
    double milliseconds = 0; // of line time
};

struct LinePlans {
    LineSettings settings;
    double stationTimeMs = 0; // what every station is taken to need
    PlannedPass driver;
    PlannedPass fastest;
};

// `driver` as driverBlocks() needs it.
LinePlans planLine(const Driver &driver, const PanelFile &panel, std::size_t line,
                   double stationTimeMs);

// Several lines, none wider than a terminal but for names that are.
QString planText(const LinePlans &plans);
QJsonObject planJson(const LinePlans &plans);
