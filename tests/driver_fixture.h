// What the tests of the driver start from: the driver as it is after loading, the settings of a
// host, and a verb for each thing that a host does.
#pragma once

#include "fresh_driver.h"
#include "plc_driver.h"

#include <QStringList>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

// How GoogleTest prints a text.
inline void PrintTo(const QString &text, std::ostream *out) {
    *out << text.toStdString();
}

// The line of a test that calls a verb: a mistake in the test is told there.
struct Place {
    const char *file;
    int line;

    static Place here(const char *file = __builtin_FILE(), int line = __builtin_LINE()) {
        return {file, line};
    }
    void fail(const std::string &why) const { ADD_FAILURE_AT(file, line) << why; }
};

// Bytes from upper case hex with a space between them.
inline QByteArray bytes(const char *hex, Place place = Place::here()) {
    QByteArray data = QByteArray::fromHex(hex);
    if (data.toHex(' ').toUpper() != hex) {
        place.fail("this is no hex: " + std::string(hex));
    }
    return data;
}

inline std::string hex(const QByteArray &data) {
    return data.toHex(' ').toUpper().toStdString();
}

// Every field of a record: one more or fewer in RW_VAR, and this does not compile.
inline auto fieldsOf(const RW_VAR &var) {
    const auto &[ownerId, itemId, isWrite, remoteMode, portId, result, hostText, addressText,
                 regType, address, station, count, saveMode, spare, value] = var;
    return std::tie(ownerId, itemId, isWrite, remoteMode, portId, result, hostText, addressText,
                    regType, address, station, count, saveMode, spare, value);
}

// A write with a value of its own in every field, for what must not lose any.
inline RW_VAR filledRecord() {
    return {1, 2, 1, 4, 5, 6, "host", "100", 7, 100, 11, 1, 13, 14, bytes("34 12")};
}

// The part of PLC memory that a queued request is for, and what it writes there.
struct Piece {
    int station, regType, address, count;
    std::string value{}; // hex
};

inline bool operator==(const Piece &a, const Piece &b) {
    return std::tie(a.station, a.regType, a.address, a.count, a.value) ==
           std::tie(b.station, b.regType, b.address, b.count, b.value);
}

inline void PrintTo(const Piece &piece, std::ostream *out) {
    *out << "station " << piece.station << " type " << piece.regType << ": " << piece.count
         << " from " << piece.address << (piece.value.empty() ? "" : " = ") << piece.value;
}

using Pieces = std::vector<Piece>;

inline Piece pieceOf(const RW_VAR &var) {
    return {var.station, var.regType, var.address, var.count, hex(var.value)};
}

inline Pieces piecesOf(const QList<RW_VAR> &list) {
    Pieces pieces;
    for (const RW_VAR &var : list) {
        pieces.push_back(pieceOf(var));
    }
    return pieces;
}

// A variable of port 1, as a host hands it to the queues, or as framing gets it.
inline RW_VAR variable(const Piece &piece, Place place = Place::here()) {
    RW_VAR var;
    var.ownerId = 3;
    var.itemId = 7;
    var.portId = 1;
    var.regType = piece.regType;
    var.address = piece.address;
    var.addressText = QString::number(piece.address);
    var.station = piece.station;
    var.count = piece.count;
    var.value = bytes(piece.value.c_str(), place);
    return var;
}

inline VARDEF definition(int station, int regType, const QString &address, int count) {
    VARDEF made;
    made.station = static_cast<unsigned char>(station);
    made.regType = static_cast<unsigned char>(regType);
    made.addressText = address;
    made.hostText = "text of " + address;
    made.count = count;
    return made;
}

class Driver : public testing::Test {
protected:
    Driver() { restart(); }

    // The driver as it is after loading, with a host of useful settings.
    void restart() {
        resetDriver();
        reports.clear();
        info = ComInfo();
        info.blockLimit = 100;
        info.defaultStation = 9;
        info.useVarStation = 1;
        info.portId = 1;
        info.commMode = 2;
        info.hostContext = &reports;
        SetComInfo(&info);
        RegistCallBackFuncIntf(onFinish, onFail);
    }

    // A screen's calls, of owner 3 unless another is given; each returns what the driver does.

    static int write(int regType, const char *address, int count, const QByteArray &value,
                     int station = 1, int itemId = 7, int ownerId = 3) {
        QString host = "host";
        QString text = address;
        QByteArray data = value;
        return SetRegisterData(&host, regType, &text, station, &data, count, ownerId, itemId);
    }

    static int queueRead(int regType, const char *address, int count, int station = 1,
                         int itemId = 7, int ownerId = 3) {
        RW_VAR var = variable({station, regType, 0, count});
        var.addressText = address;
        var.itemId = itemId;
        var.ownerId = ownerId;
        return AddListOnceReadVar(&var, 0);
    }

    static std::string screen(int regType, const char *address, int count, int station = 1) {
        QByteArray shown = "old";
        EXPECT_EQ(GetRegisterData(nullptr, regType, address, station, &shown, count), 1);
        return hex(shown);
    }

    // Puts a value into the image alone.
    void show(int regType, const char *address, int count, const QByteArray &value) {
        info.commMode = 1;
        EXPECT_EQ(write(regType, address, count, value), 1);
        info.commMode = 2;
    }

    // The communication thread's turn.

    // The frame that goes out next.
    static std::string ask() {
        const Protocol *request = ComCommunication();
        if (request == nullptr) {
            return "nothing";
        }
        EXPECT_EQ(request->frameLength, request->frame.size());
        return hex(request->frame);
    }

    // Hands in what came back and returns the result code.
    static int answer(const char *reply, Place place = Place::here()) {
        QByteArray received = bytes(reply, place);
        if (PLC_driver.requestList.isEmpty()) {
            place.fail("nothing is in flight that could be answered");
        }
        return DataCom(&received, received.size())->result;
    }

    static int noAnswer(Place place = Place::here()) { return answer("", place); }

    // A request is given up, and the line counts as failed until the next good reply.
    static void failTheLine() {
        queueRead(7, "0", 1);
        ask();
        noAnswer();
        reports.clear();
        ASSERT_TRUE(PLC_driver.commFailed);
    }

    // The reports to the host since the last time.
    static std::string takeReports() {
        const QString joined = reports.join("; ");
        reports.clear();
        return joined.toStdString();
    }

    ComInfo info{};
    // The number of writes, and the item that ended last, as the callbacks saw them.
    static inline std::pair<int, int> atReport, atFailure;

private:
    static int onFinish(void *context, int ownerId, int itemId, int status) {
        EXPECT_EQ(context, &reports);
        const QString end = QStringList{"0", "answered", "given up"}.value(status, "unknown");
        reports << QString("owner %1 item %2 %3").arg(ownerId).arg(itemId).arg(end);
        atReport = {PLC_driver.writeList.size(), PLC_driver.currentVar.itemId};
        return 0;
    }

    static int onFail(QList<RW_VAR> *list, int ownerId, int flag) {
        EXPECT_TRUE(list->isEmpty());
        EXPECT_EQ(flag, 1);
        reports << QString("owner %1 failed").arg(ownerId);
        atFailure = {PLC_driver.writeList.size(), PLC_driver.currentVar.itemId};
        return 0;
    }

    static inline QStringList reports;
};
