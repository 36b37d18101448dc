#include "panel/line/span_text.h"

QString spanText(std::chrono::seconds time) {
    const auto seconds = time.count();
    if (seconds < 120)
        return QString("%1 s").arg(seconds);
    if (seconds < 7200)
        return QString("%1 min").arg(seconds / 60);
    if (seconds < 48 * 3600)
        return QString("%1 h %2 min").arg(seconds / 3600).arg(seconds / 60 % 60);
    return QString("%1 d %2 h").arg(seconds / 86400).arg(seconds / 3600 % 24);
}
