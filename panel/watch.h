// What the replies have brought so far: which variables have been read, and which have moved. The
// image alone cannot tell: what was never read reads as zero there.
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

    // Any thread, by the variable's index.
    bool wasRead(size_t variable) const;
    bool hasMoved(size_t variable) const;

private:
    struct Progress {
        std::vector<bool> covered; // register by register: long variables come in pieces
        bool read = false;
        bool moved = false;
        QByteArray firstValue;
    };
    static void cover(const RegisterSpan &wanted, const RegisterSpan &brought, Progress *progress);
    void update(const Variable &variable, Progress *progress) const;

    const Driver &m_driver;
    const std::vector<Variable> &m_variables;
    mutable std::mutex m_mutex; // guards m_progress
    std::vector<Progress> m_progress;
};
