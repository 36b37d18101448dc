// What every test of the driver shares: variables, frames and states as text, a PLC in memory, and
// a driver that scripts of one line each run on.
#pragma once

#include "driver/Communication_Protocol.h"
#include "modbus/checksums.h"
#include "plc_driver.h"

#include <QRegularExpression>
#include <QStringList>
#include <QTextStream>

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <tuple>
#include <type_traits>

// How GoogleTest prints a text.
inline void PrintTo(const QString &text, std::ostream *out) {
    *out << text.toStdString();
}

inline QString hex(const QByteArray &data) {
    return data.toHex(' ').toUpper();
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

// A variable as text: "station/regType:address+count", then "=" and its bytes if it has any,
// and "!" while it is in flight. Its host identifiers, written "@ownerId/itemId", are read only.
inline QString text(const RW_VAR &var) {
    const QString line = QString("%1/%2:%3+%4").arg(var.station).arg(var.regType).arg(var.address);
    return line.arg(var.count) + (var.value.isEmpty() ? "" : "=" + var.value.toHex()) +
           (var.result == -1 ? "!" : "");
}

inline QString text(const QList<RW_VAR> &list) {
    QStringList entries;
    for (const RW_VAR &var : list) {
        entries << text(var);
    }
    return entries.join(' ');
}

// A variable of port 1 from its text.
inline RW_VAR var(const QString &text) {
    static const QRegularExpression form(
        R"(^(-?\d+)/(-?\d+):(-?\d+)\+(-?\d+)(?:=(\w*))?(?:@(-?\d+)/(\d+))?$)");
    const QRegularExpressionMatch parts = form.match(text);
    EXPECT_TRUE(parts.hasMatch()) << text.toStdString();
    const auto number = [&parts](int part) {
        return parts.captured(part).toInt();
    };
    RW_VAR made;
    made.portId = 1;
    made.station = number(1);
    made.regType = number(2);
    made.address = number(3);
    made.addressText = parts.captured(3);
    made.count = number(4);
    made.value = bytes(parts.captured(5));
    made.ownerId = number(6);
    made.itemId = number(7);
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

// A variable with a number of its own in every field, and all fields in a row.
inline const RW_VAR Filled{1, 2, 3, 4, 5, 6, "7", "8", 9, 10, 11, 12, 13, 14, "15"};

inline QString fieldsOf(const RW_VAR &v) {
    QString fields;
    QTextStream out(&fields);
    out << v.ownerId << v.itemId << v.isWrite << v.remoteMode << v.portId << v.result << v.hostText
        << v.addressText << v.regType << v.address << v.station << v.count << v.saveMode << v.spare
        << v.value;
    out.flush();
    return fields;
}

// What a request looks like: its frame, [replyLength dataOffset dataLength], its variable.
inline QString text(const Protocol &request) {
    EXPECT_EQ(request.frameLength, request.frame.size());
    const QString reply = QString(" [%1 %2 %3] ").arg(request.replyLength).arg(request.dataOffset);
    return hex(request.frame) + reply.arg(request.dataLength) + text(request.var);
}

// Registers by (function, station, register): 3 holding registers, 4 input registers.
struct MemoryPlc {
    std::map<std::tuple<int, int, int>, int> registers;

    QByteArray answer(const QByteArray &frame) {
        const auto at = [&frame](int i) {
            return static_cast<unsigned char>(frame.at(i));
        };
        const int first = at(2) * 256 + at(3);
        const int count = at(4) * 256 + at(5);
        QByteArray reply = frame.left(2).append(static_cast<char>(2 * count));
        for (int i = 0; i < count; ++i) {
            int &value = registers[{at(1) == 4 ? 4 : 3, at(0), first + i}];
            value = at(1) == 16 ? at(7 + 2 * i) * 256 + at(8 + 2 * i) : value;
            reply.append(static_cast<char>(value >> 8)).append(static_cast<char>(value & 0xFF));
        }
        return sealed(at(1) == 16 ? frame.left(6) : reply);
    }
};

// The callbacks so far, each with the lengths of writeList, onceReadList and requestList and
// currentVar.itemId as they were while it ran.
inline QStringList reports;

inline void report(const QString &event) {
    const Communication_Protocol &d = PLC_driver;
    reports << QString("%1[%2 %3 %4 %5]")
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

// The words of a command.
struct Words : QStringList {
    using QStringList::QStringList;
    explicit Words(const QString &command) : QStringList(command.simplified().split(' ')) {}
    int number(int i) const { return value(i).toInt(); }
    QByteArray data(int i) const { return bytes(QStringList(mid(i)).join(' ')); }
    QList<RW_VAR> vars() const {
        QList<RW_VAR> made;
        for (int i = 1; i < size(); ++i) {
            made << var(at(i));
        }
        return made;
    }
};

// The driver as it is after loading, with a port block in place, and scripts to run on it.
class Driver : public testing::Test {
protected:
    Driver() {
        on("set", [this](const Words &w) { *settings.at(w[1]) = w.number(2); });
        on("failed", [](const Words &) { PLC_driver.commFailed = true; });
        on("W", [](const Words &w) { PLC_driver.writeList = w.vars(); });
        on("O", [](const Words &w) { PLC_driver.onceReadList = w.vars(); });
        on("C", [](const Words &w) { PLC_driver.readList = w.vars(); });
        on("image", [](const Words &w) { DataStorage[w.number(1)][w.number(2)] = w.data(3); });
        on("ask", [](const Words &) { return asked(); });
        on("reply", [](const Words &w) { return deliver(w.data(1)); });
    }

    void SetUp() override { reset(); }

    void reset() {
        Communication_Protocol &d = PLC_driver;
        d.readList = d.writeList = d.onceReadList = QList<RW_VAR>();
        d.requestList.clear();
        d.disabledStations.clear();
        d.currentVar = RW_VAR();
        d.listKind = NoList;
        d.writeBurst = d.onceBurst = d.passCount = 0;
        d.commFailed = false;
        DataStorage.clear();
        reports.clear();
        plc.registers.clear();
        info = ComInfo();
        info.blockLimit = 100;
        info.defaultStation = 9;
        info.useVarStation = info.portId = 1;
        info.commMode = 2;
        info.hostContext = &reports;
        SetComInfo(&info);
        RegistCallBackFuncIntf(logFinish, logFail);
    }

    // Runs a script. A line is a row of its own, "|" ends a row too. A row holds commands with ";"
    // between them, and starts with a new driver, unless its first sign is "&". Behind "=>" stands
    // what its last command answers and which of the `watched` parts of the state it changes.
    void run(const QString &watched, const QByteArray &script) {
        const QStringList rows = QString(script).replace('\n', '|').split('|', Qt::SkipEmptyParts);
        for (QString row : rows) {
            if (!row.trimmed().startsWith('&')) {
                reset();
            }
            const QStringList sides = row.remove('&').split("=>");
            QString answer;
            std::map<QString, QString> before;
            for (const QString &command : sides[0].split(';')) {
                before = state();
                const Words words(command);
                answer = words[0].isEmpty() ? "" : commands.at(words[0])(words);
            }
            std::map<QString, QString> after = state();
            for (const QString &part : watched.split(' ', Qt::SkipEmptyParts)) {
                answer += before.at(part) == after.at(part) ? "" : " " + part + "=" + after[part];
            }
            EXPECT_EQ(answer.simplified(), sides.value(1).simplified()) << row.toStdString();
        }
    }

    std::map<QString, QString> state() const {
        const Communication_Protocol &d = PLC_driver;
        const auto pair = [](int a, int b) {
            return QString("%1/%2").arg(a).arg(b);
        };
        QStringList requests;
        QStringList off;
        QStringList areas;
        for (const Protocol &request : d.requestList) {
            requests << text(request);
        }
        for (auto it = d.disabledStations.begin(); it != d.disabledStations.end(); ++it) {
            off << pair(it.key(), it.value());
        }
        for (auto station = DataStorage.begin(); station != DataStorage.end(); ++station) {
            for (auto area = station->begin(); area != station->end(); ++area) {
                const QString size = QString("%1 bytes").arg(area->size());
                areas << pair(station.key(), area.key()) + ":" +
                             (area->size() > 64 ? size : hex(area.value()));
            }
        }
        const RW_VAR &current = d.currentVar;
        return {{"W", text(d.writeList)},
                {"O", text(d.onceReadList)},
                {"C", text(d.readList)},
                {"kind", QString::number(d.listKind)},
                {"burst", pair(d.writeBurst, d.onceBurst)},
                {"pass", pair(d.passCount, info.scanDone)},
                {"failed", d.commFailed ? "1" : "0"},
                {"retry", QString::number(info.retryCount)},
                {"off", off.join(' ')},
                {"frames", pair(info.frameCount, info.frameIndex)},
                {"requests", requests.join(", ")},
                {"current", text(current) + "@" + pair(current.ownerId, current.itemId)},
                {"reports", reports.join(' ')},
                {"image", areas.join(' ')}};
    }

    // SetRegisterData of owner 1 and item 2, unless others are given.
    static int write(int regType, QString address, int station, QByteArray data, int count,
                     int ownerId = 1, int itemId = 2) {
        QString host = "host";
        return SetRegisterData(&host, regType, &address, station, &data, count, ownerId, itemId);
    }

    static QString read(int regType, const QString &address, int station, int count) {
        QByteArray answer = "old";
        const int result = GetRegisterData(nullptr, regType, address, station, &answer, count);
        return QString("%1 %2").arg(result).arg(hex(answer));
    }

    // The next request's frame.
    static QString asked() {
        const Protocol *request = ComCommunication();
        return request == nullptr ? "-" : hex(request->frame);
    }

    // Hands in a reply to the pending request and returns the result code.
    static int deliver(QByteArray reply) { return DataCom(&reply, reply.size())->result; }

    // One turn of the host's loop with the PLC answering: where the request came from.
    QString exchange() {
        const Protocol *request = ComCommunication();
        if (request == nullptr) {
            return "-";
        }
        QString list = QString("CWO").mid(PLC_driver.listKind, 1);
        deliver(plc.answer(request->frame));
        return list;
    }

    // Calls a function with a variable that it must not change.
    static void callWith(void (*function)(RW_VAR *), RW_VAR var) {
        const QString before = text(var);
        function(&var);
        EXPECT_EQ(text(var), before);
    }

    // Makes a command known; what its function returns is the answer.
    template <typename Function>
    void on(const char *name, Function function) {
        commands[name] = [function](const Words &w) {
            if constexpr (std::is_void_v<decltype(function(w))>) {
                function(w);
                return QString();
            } else {
                return QString("%1").arg(function(w));
            }
        };
    }

    ComInfo info{};
    MemoryPlc plc;
    std::map<QString, std::function<QString(const Words &)>> commands;
    const std::map<QString, int *> settings{
        {"blockLimit", &info.blockLimit}, {"defaultStation", &info.defaultStation},
        {"retryLimit", &info.retryLimit}, {"useVarStation", &info.useVarStation},
        {"remoteMode", &info.remoteMode}, {"commMode", &info.commMode},
        {"frameIndex", &info.frameIndex}, {"scanDone", &info.scanDone},
        {"retryCount", &info.retryCount}, {"passCount", &PLC_driver.passCount}};
};
