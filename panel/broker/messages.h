// What goes to the broker and comes from it: topics and payloads.
#pragma once

#include "panel/feed/value_change.h"
#include "panel/file/panel_file.h"
#include "panel/line/writer.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <cstddef>

// "press/pressure": what a variable's topics end with.
QByteArray variableTopic(const PanelFile &panel, std::size_t variable);

// {"value":12.5,"unit":"bar","quality":"good","time":"2026-11-23T07:15:04.123Z"}; the quality is
// good, old (read once, no longer known to hold) or never (not read yet, the value is null).
QByteArray valuePayload(const Variable &variable, const ValueChange &change);

// What a client wants written: JSON as in the panel file, an object with such a "value", or the
// text that a person types. Makes data for SetRegisterData; one sentence when it does not fit.
QString readWrite(const Variable &variable, const QByteArray &payload, QByteArray *data);

// What became of a write:
//   {"result":"written","value":42,"time":...}       the PLC has it; value: read back, or null
//   {"result":"sent","time":...}                     a broadcast, which nobody acknowledges
//   {"result":"failed","error":"...","time":...}     not, or not surely, in the PLC
//   {"result":"refused","error":"...","time":...}    not even tried
QByteArray resultPayload(const Variable &variable, const WriteResult &result,
                         std::chrono::system_clock::time_point now);
QByteArray refusalPayload(const QString &error, std::chrono::system_clock::time_point now);
