// What the replies have brought so far: which variables have been read, and which have moved, and
// which can no longer be read. The image alone cannot tell: what was never read reads as zero
// there.
#pragma once

#include "driver_library.h"
#include "variable.h"

#include <QByteArray>

#include <mutex>
#include <vector>

// Asks the driver for a variable's bytes.
QByteArray readValue(const Driver &driver, const Variable &variable);

class Watch {
public:
    // Both outlive the watch.
    Watch(const Driver &driver, const std::vector<Variable> &variables);

    // A reply has brought these registers. On the communication thread.
    void registersRead(const RegisterSpan &registers);
    // A read of these registers was given up.
    void registersFailed(const RegisterSpan &registers);
    // The station is not polled any more: what was read of it is history.
    void stationSilent(int station);

    // Any thread, by the variable's index.
    bool wasRead(size_t variable) const;
    // Read, and no later read has failed.
    bool isCurrent(size_t variable) const;
    bool hasMoved(size_t variable) const;
    // Has had the value that the panel file expects.
    bool hasShownExpected(size_t variable) const;

private:
    enum class LastRead { None, Good, Failed };
    struct Progress {
        std::vector<LastRead> registers; // long variables come in pieces
        bool read = false;
        bool moved = false;
        bool shownExpected = false;
        QByteArray firstValue;
    };
    static bool isCurrent(const Progress &progress);
    // Notes how a read of some registers ended for the variable; false when it has none of them.
    bool note(size_t variable, const RegisterSpan &registers, LastRead end);
    void update(const Variable &variable, Progress *progress) const;

    const Driver &m_driver;
    const std::vector<Variable> &m_variables;
    mutable std::mutex m_mutex; // guards m_progress
    std::vector<Progress> m_progress;
};
