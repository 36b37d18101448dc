// Modbus RTU frames in what was heard on a line, where nothing says where one begins, who sent it
// or what for.
#pragma once

#include <QByteArray>

#include <vector>

enum class FrameShape {
    Noise,   // no frame with a good checksum begins here
    Request, // a read, or a write with its data
    Reply,   // data that were read
    Refusal, // an exception
    Echo,    // request and acknowledgement of a write of one alike, acknowledgement of many
    Other,   // of a function whose form is not known here: a request or an answer
};

struct Frame {
    FrameShape shape = FrameShape::Noise;
    int offset = 0; // in the bytes that were cut
    QByteArray bytes;

    int station() const { return static_cast<uchar>(bytes.at(0)); }
    int function() const { return static_cast<uchar>(bytes.at(1)) & 0x7F; }
    // Of a request and of an acknowledgement: the first register and how many. One for a write of
    // one; 0 of a function that is not about registers.
    int firstRegister() const;
    int registers() const;
    // Of a refusal.
    int exceptionCode() const { return static_cast<uchar>(bytes.at(2)); }

private:
    int word(int at) const;
};

// Cuts bytes into frames with a good checksum and the noise between them, which lose no byte. A
// stretch between two whose checksum is good as a whole is a frame, whatever its function.
std::vector<Frame> cutFrames(const QByteArray &bytes);

// Whether `reply` answers `request`, in station, function, registers and length.
bool answers(const Frame &reply, const Frame &request);
