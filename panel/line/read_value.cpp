#include "panel/line/read_value.h"

QByteArray readValue(const Driver &driver, const Variable &variable) {
    QByteArray data;
    QString hostText;
    driver.GetRegisterData(&hostText, variable.regType, variable.addressText, variable.station,
                           &data, variable.hostCount());
    return data;
}
