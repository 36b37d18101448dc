// What the live table shows: lines, values and stations as they stand. A snapshot, so that the
// terminal holds up neither line nor feed.
#pragma once

#include "panel/feed/value_change.h"
#include "panel/file/panel_file.h"
#include "panel/health/diagnosis.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

struct TableLine {
    QString name; // empty where there is only one
    QString device;
    QString setting;                   // "19200 even 1"
    double share = 0;                  // of its time in use lately, 0 to 1
    std::chrono::microseconds pass{0}; // 0: none yet
    quint64 lateBytes = 0;             // heard outside of the replies waited for
    QString deviceGone;                // empty while it is there
    QString cause;                     // what ails it as a whole
};

struct TableValue {
    QString line; // empty where there is only one
    int station = 0;
    QString name;
    QString text; // with the unit; empty while never read
    Quality quality = Quality::Never;
    std::optional<std::chrono::seconds> age; // since it was last read; nothing while never read
};

struct TableStation {
    QString line; // empty where there is only one
    int station = 0;
    quint64 exchanges = 0;
    quint64 failed = 0;
    std::chrono::microseconds median{0}; // of its reply times; 0: none
    std::chrono::microseconds most{0};   // of 95 in a hundred
    std::chrono::microseconds longest{0};
    QString resting;  // "no answer for 2 min, next try in 12 s"
    QString cause;    // the likeliest of its own
    QString failures; // by kind
    QString lastGood; // how long ago: "3 s"; empty: never
    QString lastBad;  // the same, and what: "3 s ago, read holding 100: no reply"
    bool isWell() const { return resting.isEmpty() && cause.isEmpty(); }
};

struct TableModel {
    QStringList notes; // what else went wrong, as a disk that is full
    std::vector<TableLine> lines;
    std::vector<TableValue> values;     // by line and station, there in the order of the file
    std::vector<TableStation> stations; // those in trouble first, then by line and number
};

using Moment = std::chrono::system_clock::time_point;

// `values` by variable, as Feed::snapshot() gives them; `lastGood` is when a variable was last
// read.
TableModel tableModel(const PanelFile &panel, const LineReports &lines,
                      const std::vector<ValueChange> &values,
                      const std::function<Moment(std::size_t)> &lastGood, Moment now);
