#include "panel/line/one_shot.h"

#include "panel/line/read_value.h"

// `queue` hands the request to the driver under an itemId; 0 when it is not taken.
template <typename Queue>
OneShot::End OneShot::await(int station, const Queue &queue) const {
    const int itemId = m_ledger->open(station);
    const bool isSent = m_ledger->isWaiting(itemId);
    if (isSent && queue(itemId) == 0)
        m_ledger->refused(itemId);
    switch (m_ledger->waitForEnd(itemId)) {
    case RequestLedger::End::Answered:
        return End::Answered;
    case RequestLedger::End::Refused:
        return End::NotTaken;
    case RequestLedger::End::Gone:
        return End::Gone;
    case RequestLedger::End::RunOver:
        return End::RunOver;
    default:
        return isSent ? End::Failed : End::Resting;
    }
}

OneShot::End OneShot::read(const Variable &variable) const {
    return await(variable.station, [&](int itemId) {
        RW_VAR request;
        request.ownerId = RequestLedger::OwnerId;
        request.itemId = itemId;
        request.portId = m_portId;
        request.hostText = variable.name;
        request.addressText = variable.addressText;
        request.regType = variable.regType;
        request.station = variable.station;
        request.count = variable.hostCount();
        return m_driver->AddListOnceReadVar(&request, 0);
    });
}

OneShot::End OneShot::write(const Variable &variable, const QByteArray &data) const {
    return await(variable.station, [&](int itemId) {
        QString hostText = variable.name;
        QString addressText = variable.addressText;
        QByteArray bytes = data;
        return m_driver->SetRegisterData(&hostText, variable.regType, &addressText,
                                         variable.station, &bytes, variable.hostCount(),
                                         RequestLedger::OwnerId, itemId);
    });
}

QByteArray OneShot::value(const Variable &variable) const {
    return readValue(*m_driver, variable);
}
