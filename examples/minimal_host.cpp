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

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    QSerialPort port(application.arguments().value(1, "/dev/ttyS0"));
    port.setBaudRate(QSerialPort::Baud19200);
    port.setParity(QSerialPort::EvenParity);
    if (!port.open(QIODevice::ReadWrite)) {
        qFatal("%s", qPrintable(port.errorString()));
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
            if (DataCom(&reply, reply.size())->result == 1) {
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
