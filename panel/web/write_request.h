// A write that the page asks for: {"line": optional, "variable": "NAME", "value": a value as in the
// panel file, or the text that a person typed}.
#pragma once

#include "panel/line/writer.h"
#include "panel/web/request.h"

// One sentence when it cannot be made; whether the PLC takes it shows later.
QString readWriteRequest(const Request &request, const PanelFile &panel, WriteOrder *order);

// {"ok": true, "readBack": value or null, "text": "..."}, or {"ok": false, "error": "..."}. A
// broadcast, which nobody acknowledges, has "isKnown": false.
Answer writeAnswer(const Variable &variable, const WriteResult &result);
