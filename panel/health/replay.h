// A recorded line as a list of exchanges: which frames are requests, and what answered them.
#pragma once

#include "panel/health/capture_file.h"
#include "panel/health/frames.h"
#include "panel/line/exchange.h"

#include <functional>
#include <optional>

// Takes the packets of a capture in their order and hands on each exchange when it is over: at its
// answer, or at the next request. A packet need be no frame: some recorders have one for each read
// of their port. A recording does not say who sent what: a request is the master's
// unless it comes too soon behind another that has no answer yet, or is known not to be.
class Replay {
public:
    // Whether the master whose line it is asks so; when left out every request is the master's.
    using IsOurs = std::function<bool(const Frame &request)>;
    explicit Replay(ExchangeListener listener, IsOurs isOurs = nullptr);

    void take(const CapturedPacket &packet);
    // The recording is over: so is the exchange that is still open.
    void finish();

    // What belongs to no exchange: where there was none, all that was recorded.
    struct LeftOver {
        int bytes = 0;
        int frames = 0;   // with a good checksum
        int requests = 0; // of these
    };
    LeftOver leftOver() const;

private:
    using Time = std::chrono::system_clock::time_point;

    void takeRest();
    void takeFrame(const Frame &frame, Time at);
    bool isNewRequest(const Frame &frame, Time at) const;
    bool isEcho(const Frame &frame, Time at) const;
    void begin(const Frame &request, Time at);
    void hear(const Frame &frame, Time at);
    void answer(const Frame &frame, Time at);
    void judge(const Frame &frame);
    void end();

    ExchangeListener m_listener;
    IsOurs m_isOurs;
    std::optional<Frame> m_request; // open; of m_exchange
    Exchange m_exchange;
    std::vector<ReceivedBytes> m_between; // heard since the exchange before
    CapturedPacket m_rest;                // may be the beginning of a frame; mostly empty
    Time m_restUntil;                     // what comes later is not the end of that frame
};
