#include "jobs.h"

#include "values.h"
#include "watch.h"

namespace {

QString reason(const char *what, RequestLedger::End end) {
    using End = RequestLedger::End;
    if (end == End::Refused)
        return "refused by the driver";
    return end == End::RunOver ? QString("%1: the run ended first").arg(what) : what;
}

} // namespace

void Jobs::run() {
    for (const Variable &variable : m_panel.variables) {
        // Whether it worked is the watch's business.
        if (variable.once && readOnce(variable) == End::Answered) {
            m_results.lines +=
                QString("%1: read once, %2")
                    .arg(variable.name, valueText(variable, readValue(m_driver, variable)));
        }
    }
    for (const WriteJob &job : m_panel.writes)
        carryOut(job);
    m_done = true;
}

Jobs::End Jobs::readOnce(const Variable &variable) {
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
    if (m_ledger.isWaiting(itemId) && m_driver.AddListOnceReadVar(&request, 0) == 0)
        m_ledger.refused(itemId);
    return m_ledger.waitForEnd(itemId);
}

Jobs::End Jobs::write(const Variable &variable, const QByteArray &data) {
    QString hostText = variable.name;
    QString addressText = variable.addressText;
    QByteArray bytes = data;
    const int itemId = m_ledger.open(variable.station);
    if (m_ledger.isWaiting(itemId) &&
        m_driver.SetRegisterData(&hostText, variable.regType, &addressText, variable.station,
                                 &bytes, variable.hostCount(), RequestLedger::OwnerId,
                                 itemId) == 0) {
        m_ledger.refused(itemId);
    }
    return m_ledger.waitForEnd(itemId);
}

void Jobs::carryOut(const WriteJob &job) {
    const Variable &variable = m_panel.variables[job.variable];
    const QString failure =
        m_ledger.isClosed() ? "not made: the run ended first" : writeAndCheck(variable, job.data);
    if (failure.isEmpty())
        return;
    m_results.allHeld = false;
    m_results.lines += QString("write of %1: %2").arg(variable.name, failure);
}

QString Jobs::writeAndCheck(const Variable &variable, const QByteArray &data) {
    // To write another value first would prove more, but the machine would act on it.
    const bool hadBefore = !variable.isBroadcast() && readOnce(variable) == End::Answered &&
                           readValue(m_driver, variable) == data;
    const End written = write(variable, data);
    if (written != End::Answered)
        return reason("not acknowledged", written);
    const QString text = valueText(variable, data);
    if (variable.isBroadcast()) {
        ++m_results.broadcasts;
        m_results.lines += QString("%1: broadcast %2").arg(variable.name, text);
        return {};
    }
    // The image shows a written value at once: only a read brings the PLC's own word.
    const End readBack = readOnce(variable);
    if (readBack != End::Answered)
        return reason("not read back", readBack);
    const QByteArray found = readValue(m_driver, variable);
    const QString foundText = valueText(variable, found);
    if (found != data)
        return QString("wrote %1, the PLC has %2").arg(text, foundText);
    ++m_results.writesHeld;
    m_results.heldBefore += hadBefore ? 1 : 0;
    m_results.lines +=
        QString("%1: wrote %2, read back %3%4")
            .arg(variable.name, text, foundText, hadBefore ? " (the PLC had it before)" : "");
    return {};
}
