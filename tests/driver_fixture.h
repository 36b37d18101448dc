// What every test of the driver shares: tables in text, a driver put back to its start, a PLC in
// memory, and a log of the two callbacks.
#pragma once

#include "driver/Communication_Protocol.h"
#include "modbus/checksums.h"
#include "plc_driver.h"

#include <QRegularExpression>
#include <QStringList>

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <tuple>
#include <vector>

inline std::string hex(const QByteArray &data) {
    return data.toHex(' ').toUpper().toStdString();
}

// A frame with its CRC.
inline QByteArray sealed(QByteArray frame) {
    const int crc = CalCRC(reinterpret_cast<unsigned char *>(frame.data()),
                           static_cast<unsigned short>(frame.size()));
    return frame.append(static_cast<char>(crc & 0xFF)).append(static_cast<char>(crc >> 8));
}

// Hex text as bytes; a "*" at its end stands for the CRC.
inline QByteArray bytes(const QString &text) {
    const QByteArray data = QByteArray::fromHex(text.toLatin1());
    return text.endsWith('*') ? sealed(data) : data;
}

// One line of a table. An absent cell is empty, and 0.
struct Row {
    QStringList cells;

    QString operator[](int i) const { return cells.value(i); }
    std::string text(int i) const { return cells.value(i).toStdString(); }
    int number(int i) const { return cells.value(i).toInt(); }
    std::string trace() const { return cells.join(" | ").toStdString(); }
};

// A table in text: rows end with ";" or their line, cells with "|" or, without any, with blanks.
inline std::vector<Row> table(const char *text) {
    std::vector<Row> rows;
    const QStringList lines = QString(text).replace('\n', ';').split(';');
    for (const QString &line : lines) {
        Row row{line.contains('|') ? line.split('|') : line.simplified().split(' ')};
        for (QString &cell : row.cells) {
            cell = cell.trimmed();
        }
        if (!line.trimmed().isEmpty()) {
            rows.push_back(row);
        }
    }
    return rows;
}

// A variable as text: "station/regType:address+count", then "=" and its bytes if it has any. Its
// host identifiers, written "@ownerId/itemId", are read only.
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

// A variable of port 1 from its text.
inline RW_VAR var(const QString &text) {
    static const QRegularExpression form(
        R"(^(-?\d+)/(-?\d+):(-?\d+)\+(-?\d+)(?:=(\w*))?(?:@(-?\d+)/(\d+))?$)");
    const QRegularExpressionMatch parts = form.match(text);
    EXPECT_TRUE(parts.hasMatch()) << text.toStdString();
    RW_VAR made;
    made.portId = 1;
    made.station = parts.captured(1).toInt();
    made.regType = parts.captured(2).toInt();
    made.address = parts.captured(3).toInt();
    made.addressText = parts.captured(3);
    made.count = parts.captured(4).toInt();
    made.value = bytes(parts.captured(5));
    made.ownerId = parts.captured(6).toInt();
    made.itemId = parts.captured(7).toInt();
    return made;
}

inline QList<RW_VAR> vars(const QString &texts) {
    QList<RW_VAR> made;
    for (const QString &text : texts.split(' ', Qt::SkipEmptyParts)) {
        made << var(text);
    }
    return made;
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
            return sealed(frame.left(6));
        }
        QByteArray reply = frame.left(2).append(static_cast<char>(2 * count));
        for (int i = 0; i < count; ++i) {
            const int value = registers[{at(1), at(0), first + i}];
            reply.append(static_cast<char>(value >> 8)).append(static_cast<char>(value & 0xFF));
        }
        return sealed(reply);
    }
};

// The callbacks so far, each with the lengths of writeList, onceReadList and requestList and
// currentVar.itemId as they were while it ran.
inline QString reports;

inline void report(const QString &event) {
    const Communication_Protocol &d = PLC_driver;
    reports += QString(reports.isEmpty() ? "%1 [%2 %3 %4 %5]" : " %1 [%2 %3 %4 %5]")
                   .arg(event)
                   .arg(d.writeList.size())
                   .arg(d.onceReadList.size())
                   .arg(d.requestList.size())
                   .arg(d.currentVar.itemId);
}

inline int logFinish(void *context, int ownerId, int itemId, int status) {
    EXPECT_EQ(context, &reports);
    report(QString("%1/%2=%3").arg(ownerId).arg(itemId).arg(status));
    return 0;
}

inline int logFail(QList<RW_VAR> *list, int ownerId, int flag) {
    EXPECT_TRUE(list->isEmpty());
    list->append(RW_VAR());
    report(QString("fail %1 %2").arg(ownerId).arg(flag));
    return 0;
}

// The driver as it is after loading, with a port block in place.
class Driver : public testing::Test {
protected:
    void SetUp() override { reset(); }

    void reset() {
        Communication_Protocol &d = PLC_driver;
        for (QList<RW_VAR> *list : {&d.readList, &d.writeList, &d.onceReadList}) {
            list->clear();
        }
        d.requestList.clear();
        d.disabledStations.clear();
        d.currentVar = RW_VAR();
        d.listKind = NoList;
        d.writeBurst = d.onceBurst = d.passCount = 0;
        d.commFailed = false;
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

    // SetRegisterData of owner 1 and item 2, unless others are given.
    static int write(int regType, QString address, int station, QByteArray data, int count,
                     int ownerId = 1, int itemId = 2) {
        QString host = "host";
        return SetRegisterData(&host, regType, &address, station, &data, count, ownerId, itemId);
    }

    // Hands in a reply to the pending request and returns the result code.
    static int deliver(QByteArray reply) { return DataCom(&reply, reply.size())->result; }

    // One turn of the host's loop with the PLC answering; false when there was nothing to send.
    bool exchange() {
        const Protocol *request = ComCommunication();
        return request != nullptr && deliver(plc.answer(request->frame)) != 0;
    }

    ComInfo info{};
    MemoryPlc plc;
};
