// The first promise that was seen broken. Whoever looks at the driver has one; on threads, each
// thread its own.
#pragma once

#include "driver/records.h"

#include <string>

class Promises {
public:
    // What the next ones are about; it is copied, since the driver's own record goes away.
    void about(const RW_VAR &var) { subject = var; }

    // `broken` is told when it does not hold.
    void require(bool holds, const char *broken) {
        if (!holds && text.empty())
            text = std::string(broken) + subjectText();
    }

    bool hold() const { return text.empty(); }
    const std::string &broken() const { return text; }

private:
    std::string subjectText() const {
        return QString::asprintf(
                   " (%s, station %d, type %d, address %d, count %d, owner %d, item %d)",
                   subject.isWrite != 0 ? "write" : "read", subject.station, subject.regType,
                   subject.address, subject.count, subject.ownerId, subject.itemId)
            .toStdString();
    }

    RW_VAR subject;
    std::string text;
};
