#include "panel/health/frames.h"

#include "modbus/checksums.h"

#include <array>
#include <optional>

namespace {

constexpr int ShortestFrame = 4;
constexpr int RefusalLength = 5;
constexpr int LongestFrame = 256;

// Writes of one, and of a mask over one.
bool isAboutOne(int function) {
    return function == 5 || function == 6 || function == 22;
}

bool isAboutMany(int function) {
    const bool isRead = function >= 1 && function <= 4;
    return isRead || function == 15 || function == 16 || function == 23;
}

// What a frame of a function may look like.
struct Form {
    int function;
    FrameShape shape;
    int length;  // without what it counts
    int countAt; // the byte that says how much more there is; 0: none
};

// The longer of two that share a beginning first: a reply may begin like a request, and the
// checksum tells.
constexpr std::array<Form, 29> Forms{{
    {1, FrameShape::Reply, 5, 2},      {1, FrameShape::Request, 8, 0}, // reads
    {2, FrameShape::Reply, 5, 2},      {2, FrameShape::Request, 8, 0},
    {3, FrameShape::Reply, 5, 2},      {3, FrameShape::Request, 8, 0},
    {4, FrameShape::Reply, 5, 2},      {4, FrameShape::Request, 8, 0},
    {5, FrameShape::Echo, 8, 0},       {6, FrameShape::Echo, 8, 0},     // writes of one
    {7, FrameShape::Reply, 5, 0},      {7, FrameShape::Request, 4, 0},  // exception status
    {8, FrameShape::Echo, 8, 0},                                        // diagnostics
    {11, FrameShape::Reply, 8, 0},     {11, FrameShape::Request, 4, 0}, // event counter
    {12, FrameShape::Reply, 5, 2},     {12, FrameShape::Request, 4, 0}, // event log
    {15, FrameShape::Request, 9, 6},   {15, FrameShape::Echo, 8, 0},    // writes of many
    {16, FrameShape::Request, 9, 6},   {16, FrameShape::Echo, 8, 0},
    {17, FrameShape::Reply, 5, 2},     {17, FrameShape::Request, 4, 0}, // name
    {22, FrameShape::Echo, 10, 0},                                      // mask over one
    {23, FrameShape::Request, 13, 10}, {23, FrameShape::Reply, 5, 2},   // write and read
    {24, FrameShape::Request, 6, 0},   {24, FrameShape::Reply, 6, 3},   // queue
    {43, FrameShape::Request, 7, 0},                                    // identification in parts
}};

int byteAt(const QByteArray &bytes, int at) {
    return at < bytes.size() ? static_cast<uchar>(bytes.at(at)) : 0;
}

// The checksum over a frame with its own is 0.
bool hasGoodChecksum(const QByteArray &frame) {
    return crcOf(frame, frame.size()) == 0;
}

// Registers have two bytes each; a request for register 768 and on has an odd number there.
bool canCount(const Form &form, int counted) {
    const bool isOfRegisters = form.function == 3 || form.function == 4;
    return !isOfRegisters || counted % 2 == 0;
}

std::optional<Frame> frameOf(FrameShape shape, int length, const QByteArray &rest, int offset) {
    const QByteArray bytes = rest.left(length);
    if (length < ShortestFrame || length > rest.size() || !hasGoodChecksum(bytes))
        return {};
    return Frame{shape, offset, bytes};
}

std::optional<Frame> frameAt(const QByteArray &bytes, int offset) {
    const QByteArray rest = bytes.mid(offset, LongestFrame);
    const int code = byteAt(rest, 1);
    if (code >= 0x80)
        return frameOf(FrameShape::Refusal, RefusalLength, rest, offset);
    for (const Form &form : Forms) {
        const int counted = form.countAt > 0 ? byteAt(rest, form.countAt) : 0;
        if (form.function != code || !canCount(form, counted))
            continue;
        if (auto frame = frameOf(form.shape, form.length + counted, rest, offset))
            return frame;
    }
    return {};
}

bool isReplyOf(int dataBytes, const Frame &frame) {
    return frame.shape == FrameShape::Reply && byteAt(frame.bytes, 2) == dataBytes;
}

void addNoise(const QByteArray &bytes, int offset, std::vector<Frame> *frames) {
    const bool goesOn = !frames->empty() && frames->back().shape == FrameShape::Noise;
    if (!goesOn)
        frames->push_back({FrameShape::Noise, offset, {}});
    frames->back().bytes += bytes.at(offset);
}

} // namespace

int Frame::word(int at) const {
    return byteAt(bytes, at) << 8 | byteAt(bytes, at + 1);
}

int Frame::firstRegister() const {
    return registers() > 0 ? word(2) : 0;
}

int Frame::registers() const {
    if (isAboutOne(function()))
        return 1;
    return isAboutMany(function()) ? word(4) : 0;
}

std::vector<Frame> cutFrames(const QByteArray &bytes) {
    std::vector<Frame> frames;
    int offset = 0;
    while (offset < bytes.size()) {
        const auto frame = frameAt(bytes, offset);
        if (frame) {
            frames.push_back(*frame);
            offset += frame->bytes.size();
        } else {
            addNoise(bytes, offset++, &frames);
        }
    }
    for (Frame &frame : frames) {
        const bool isLong = frame.bytes.size() >= ShortestFrame;
        if (frame.shape == FrameShape::Noise && isLong && hasGoodChecksum(frame.bytes))
            frame.shape = FrameShape::Other;
    }
    return frames;
}

bool answers(const Frame &reply, const Frame &request) {
    if (reply.shape == FrameShape::Noise || reply.station() != request.station() ||
        reply.function() != request.function()) {
        return false;
    }
    if (reply.shape == FrameShape::Refusal)
        return true;
    switch (request.function()) {
    case 1:
    case 2:
        return isReplyOf((request.registers() + 7) / 8, reply);
    case 3:
    case 4:
    case 23:
        return isReplyOf(request.registers() * 2, reply);
    case 5:
    case 6:
    case 15:
    case 16:
    case 22:
        return reply.shape == FrameShape::Echo && reply.bytes.mid(2, 4) == request.bytes.mid(2, 4);
    default:
        return reply.shape != FrameShape::Request;
    }
}
