#include "plc_driver.h"

#include <QCoreApplication>
#include <QSerialPort>
#include <QTextStream>
#include <QThread>

static QByteArray exchange(QSerialPort &port, const Protocol &request) {
    QThread::msleep(2);             // 3.5 characters of silence part two frames
    port.clear(QSerialPort::Input); // a late reply is not the answer to this request
    port.write(request.frame.constData(), request.frameLength);
    port.waitForBytesWritten(1000);
    QByteArray reply;
    while (reply.size() < request.replyLength &&
           (port.bytesAvailable() > 0 || port.waitForReadyRead(reply.isEmpty() ? 300 : 20))) {
        reply += port.read(request.replyLength - reply.size());
    }
    return reply;
}

// A late answer to another request has the right station and checksum, too.
static bool isAnswer(const QByteArray &reply, const Protocol &request) {
    if (reply.size() < 6 || reply.at(1) != request.frame.at(1)) {
        return false; // another function, or an exception
    }
    const bool isRead = request.dataLength > 0;
    return isRead ? static_cast<unsigned char>(reply.at(2)) == request.dataLength
                  : reply.mid(2, 4) == request.frame.mid(2, 4); // register and count
}

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    QSerialPort port(application.arguments().value(1, "/dev/ttyS0"));
    port.setBaudRate(QSerialPort::Baud19200);
    port.setParity(QSerialPort::EvenParity);
    if (!port.open(QIODevice::ReadWrite)) {
        qCritical("%s: %s", qPrintable(port.portName()), qPrintable(port.errorString()));
        return 1;
    }
    static ComInfo info{};  // the driver keeps its address
    info.blockLimit = 100;  // registers in one request
    info.retryLimit = 2;    // failures before a request is given up
    info.useVarStation = 1; // every variable names its own station
    info.commMode = 2;      // writes go to the PLC
    SetComInfo(&info);

    VARDEF counters; // station 1, holding registers 0 and 1
    counters.station = 1;
    counters.regType = 7;
    counters.addressText = "0";
    counters.count = 2;
    QList<VARDEF> definitions{counters};
    ReCreatReadVarList(&definitions);

    for (int turn = 0; turn < 20; ++turn) {
        if (const Protocol *request = ComCommunication()) {
            QByteArray reply = exchange(port, *request);
            const int length = isAnswer(reply, *request) ? reply.size() : 0; // 0: as none
            if (DataCom(&reply, length)->result == 1) {
                info.retryCount = 0; // or failures of different requests would add up
            } else {
                QThread::msleep(500); // let a late reply come and go before the next request
            }
        }
        QByteArray values;
        GetRegisterData(nullptr, 7, "0", 1, &values, 2); // any thread, without waiting
        QTextStream(stdout) << values.toHex(' ') << '\n';
    }
}
