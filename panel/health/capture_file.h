// Capture files of link type 147, which tshark and wireshark decode as Modbus RTU when told to: a
// packet for each frame, with the time of its first byte.
#pragma once

#include <QByteArray>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>

struct CapturedPacket {
    std::chrono::system_clock::time_point at;
    QByteArray bytes;
};

// Where the program was built without libpcap, each function says so and does nothing.
class CaptureWriter {
public:
    CaptureWriter();
    ~CaptureWriter();
    CaptureWriter(const CaptureWriter &) = delete;
    CaptureWriter &operator=(const CaptureWriter &) = delete;

    // An earlier capture is written anew, any other file is left as it is; "-" is no file. Each
    // returns one line on failure.
    QString open(const QString &path);
    QString write(const CapturedPacket &packet);
    QString flush();
    // Any thread: from now on a reader that takes nothing for a second is given up.
    void hurry();

private:
    struct File;
    std::unique_ptr<File> m_file;
};

// Hands on the packets of a capture, one after the other. One line when it is none, or of another
// link type. A capture whose end is missing is read as far as it goes; `isCut` says so.
QString readCapture(const QString &path, const std::function<void(const CapturedPacket &)> &take,
                    bool *isCut);
