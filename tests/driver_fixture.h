// What every test of the driver shares: a driver put back to its start, hex text, a PLC in memory,
// and a log of the two callbacks.
#pragma once

#include "driver/Communication_Protocol.h"
#include "modbus/checksums.h"
#include "plc_driver.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <tuple>
#include <vector>

inline QByteArray bytes(const char *text) {
    return QByteArray::fromHex(text);
}

inline std::string hex(const QByteArray &data) {
    return data.toHex(' ').toUpper().toStdString();
}

// A frame with its CRC.
inline QByteArray sealed(QByteArray frame) {
    const int crc = CalCRC(reinterpret_cast<unsigned char *>(frame.data()),
                           static_cast<unsigned short>(frame.size()));
    return frame.append(static_cast<char>(crc & 0xFF)).append(static_cast<char>(crc >> 8));
}

inline QByteArray sealed(const char *text) {
    return sealed(bytes(text));
}

// One variable as "station/regType:address+count", a write's bytes after "=".
inline std::string text(const RW_VAR &var) {
    QString line = QString("%1/%2:%3+%4").arg(var.station).arg(var.regType).arg(var.address);
    line = line.arg(var.count);
    return (var.value.isEmpty() ? line : line + "=" + var.value.toHex()).toStdString();
}

inline std::string text(const QList<RW_VAR> &list) {
    std::string entries;
    for (const RW_VAR &var : list) {
        entries += (entries.empty() ? "" : " ") + text(var);
    }
    return entries;
}

inline VARDEF definition(int station, int regType, const QString &address, int count) {
    VARDEF made;
    made.station = static_cast<unsigned char>(station);
    made.regType = static_cast<unsigned char>(regType);
    made.addressText = address;
    made.hostText = address + "!";
    made.count = count;
    return made;
}

// An area of the image as hex text.
inline std::string image(int station, int area) {
    return hex(DataStorage.value(station).value(area));
}

// Holding (function 3) and input (function 4) registers of all stations.
struct MemoryPlc {
    std::map<std::tuple<int, int, int>, int> registers; // (function, station, register)

    QByteArray answer(const QByteArray &frame) {
        const auto at = [&frame](int i) {
            return static_cast<unsigned char>(frame.at(i));
        };
        const int first = at(2) * 256 + at(3);
        const int count = at(4) * 256 + at(5);
        if (at(1) == 16) {
            for (int i = 0; i < count; ++i) {
                registers[{3, at(0), first + i}] = at(7 + 2 * i) * 256 + at(8 + 2 * i);
            }
            return at(0) == 0 ? QByteArray() : sealed(frame.left(6));
        }
        QByteArray reply = frame.left(2).append(static_cast<char>(2 * count));
        for (int i = 0; i < count; ++i) {
            const int value = registers[{at(1), at(0), first + i}];
            reply.append(static_cast<char>(value >> 8)).append(static_cast<char>(value & 0xFF));
        }
        return sealed(reply);
    }
};

// One line for each callback, with what the lists and currentVar hold while it runs.
inline std::vector<std::string> reports;

inline std::string reportLine(const QString &event) {
    return QString("%1, lists %2 %3 %4, last %5")
        .arg(event)
        .arg(PLC_driver.writeList.size())
        .arg(PLC_driver.onceReadList.size())
        .arg(PLC_driver.requestList.size())
        .arg(PLC_driver.currentVar.itemId)
        .toStdString();
}

inline int logFinish(void *context, int ownerId, int itemId, int status) {
    EXPECT_EQ(context, &reports);
    reports.push_back(reportLine(QString("finish %1/%2 %3").arg(ownerId).arg(itemId).arg(status)));
    return 0;
}

inline int logFail(QList<RW_VAR> *list, int ownerId, int flag) {
    EXPECT_TRUE(list->isEmpty());
    list->append(RW_VAR());
    reports.push_back(reportLine(QString("fail %1 %2").arg(ownerId).arg(flag)));
    return 0;
}

// The driver as it is after loading, with a port block in place.
class Driver : public testing::Test {
protected:
    void SetUp() override { reset(); }

    void reset() {
        for (QList<RW_VAR> *list : {&PLC_driver.readList, &PLC_driver.writeList,
                                    &PLC_driver.onceReadList, &PLC_driver.spareList}) {
            list->clear();
        }
        PLC_driver.requestList.clear();
        PLC_driver.disabledStations.clear();
        PLC_driver.currentVar = RW_VAR();
        PLC_driver.listKind = NoList;
        PLC_driver.writeBurst = PLC_driver.onceBurst = PLC_driver.passCount = 0;
        PLC_driver.commFailed = false;
        DataStorage.clear();
        reports.clear();
        info = ComInfo();
        info.blockLimit = 100;
        info.defaultStation = 9;
        info.useVarStation = 1;
        info.portId = 1;
        info.commMode = 2;
        info.hostContext = &reports;
        SetComInfo(&info);
        RegistCallBackFuncIntf(logFinish, logFail);
    }

    // A variable of this port.
    RW_VAR var(int station, int regType, int address, int count, const char *value = "") const {
        RW_VAR made;
        made.portId = info.portId;
        made.station = station;
        made.regType = regType;
        made.address = address;
        made.addressText = QString::number(address);
        made.count = count;
        made.value = bytes(value);
        return made;
    }

    // SetRegisterData of owner 1 and item 2, unless others are given.
    static int write(int regType, QString address, int station, QByteArray data, int count,
                     int ownerId = 1, int itemId = 2) {
        QString host = "host";
        return SetRegisterData(&host, regType, &address, station, &data, count, ownerId, itemId);
    }

    // One turn of the host's loop with the PLC answering; false when there was nothing to send.
    bool exchange() {
        const Protocol *request = ComCommunication();
        if (request == nullptr) {
            return false;
        }
        QByteArray reply = plc.answer(request->frame);
        DataCom(&reply, reply.size());
        return true;
    }

    ComInfo info{};
    MemoryPlc plc;
};
