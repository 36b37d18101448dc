// Reads the course of a value from the file of a history.
#pragma once

#include "panel/feed/trend.h"

// Any thread, also while the file is written.
Trend readTrend(const QString &path, const TrendRequest &request);
