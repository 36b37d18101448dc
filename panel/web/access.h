// Who may ask for what: the rules that keep other pages and other people out.
#pragma once

#include "panel/web/request.h"
#include "panel/web/web_options.h"

#include <optional>

// In a time that does not tell how much of it was right.
bool isSameToken(const QByteArray &expected, const QByteArray &given);

// Whether the request carries the token.
bool hasToken(const WebOptions &options, const Request &request);

// Refuses requests that a foreign page had a browser make, and those that came by a foreign name:
// the host must be where the request arrived, or a name of this machine.
std::optional<Answer> refuseForeign(const Request &request);

// Refuses those who may not read the values, or not write.
std::optional<Answer> refuseReader(const WebOptions &options, const Request &request);
std::optional<Answer> refuseWriter(const WebOptions &options, const Request &request);
