#include "jobs.h"

#include "values.h"
#include "watch.h"

void Jobs::run() {
    for (const Variable &variable : m_panel.variables) {
        if (variable.once && !variable.isBroadcast())
            readOnce(variable); // whether it worked is the watch's business
    }
    for (const WriteJob &job : m_panel.writes)
        carryOut(job);
    m_done = true;
}

bool Jobs::readOnce(const Variable &variable) {
    RW_VAR request;
    request.ownerId = RequestLedger::OwnerId;
    request.itemId = m_ledger.open(variable.station);
    request.portId = m_port.portId; // of another port: the reply would not be stored
    request.hostText = variable.name;
    request.addressText = variable.addressText;
    request.regType = variable.regType;
    request.station = variable.station;
    request.count = variable.hostCount();
    const int itemId = request.itemId;
    m_driver.AddListOnceReadVar(&request, 0);
    return m_ledger.waitForEnd(itemId);
}

bool Jobs::write(const Variable &variable, const QByteArray &data) {
    QString hostText = variable.name;
    QString addressText = variable.addressText;
    QByteArray bytes = data;
    const int itemId = m_ledger.open(variable.station);
    m_driver.SetRegisterData(&hostText, variable.regType, &addressText, variable.station, &bytes,
                             variable.hostCount(), RequestLedger::OwnerId, itemId);
    return m_ledger.waitForEnd(itemId);
}

void Jobs::carryOut(const WriteJob &job) {
    const Variable &variable = m_panel.variables[job.variable];
    QString failure;
    if (!write(variable, job.data)) {
        failure = "not acknowledged";
    } else if (!variable.isBroadcast()) {
        // The image shows a written value at once: only a read brings the PLC's own word.
        failure = readOnce(variable) ? compare(variable, job.data) : "not read back";
    }
    if (failure.isEmpty()) {
        ++m_writesHeld;
    } else {
        m_failures += QString("write of %1: %2").arg(variable.name, failure);
    }
}

QString Jobs::compare(const Variable &variable, const QByteArray &written) const {
    const QByteArray found = readValue(m_driver, variable);
    if (found == written)
        return {};
    return QString("wrote %1, the PLC has %2")
        .arg(valueText(variable, written), valueText(variable, found));
}
