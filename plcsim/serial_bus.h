// The line with its stations: hands each request to the station it names, and its answer back when
// the line's timing lets it.
#pragma once

#include "dice.h"
#include "line_timing.h"
#include "options.h"
#include "port.h"
#include "request_cutter.h"
#include "station.h"
#include "tally.h"
#include "wire.h"

#include <map>
#include <optional>

class SerialBus {
public:
    // Both outlive the bus.
    SerialBus(const Options &options, Port &port);

    // Sets up every station. One line on failure.
    QString open();

    // Takes what the host has sent, at the time when it is seen.
    void takeBytes(TimePoint now);
    // Does what is due by now: bytes of answers go out, what never became a request is dropped.
    void advance(TimePoint now);
    // When advance() has something to do next.
    std::optional<TimePoint> nextDue() const;
    // The line was cut: what was on it is lost.
    void clear();

    // From outside, while it runs. False when there is no such station, or no such register.
    bool mute(int station, bool isMute);
    bool set(int station, Table table, int address, int value);
    void setFaults(const Faults &faults) { m_faults = faults; }
    Tally tally() const;

private:
    struct Outlet {
        explicit Outlet(int number) : station(number) {}
        Station station;
        TimePoint busyUntil; // it works on an earlier request
    };

    void hear(QByteArray bytes, TimePoint now);
    void answerGarbage();
    void serveRequest(const QByteArray &request);
    void serveStation(int number, Outlet *outlet, const QByteArray &request);
    void disturbLine(int target, const QByteArray &request);
    void letOtherMasterTalk();
    QByteArray answerOf(Outlet *outlet, const QByteArray &request, StationTally *tally);
    void send(const QByteArray &frame, Outlet *outlet, FaultCounts *counts);
    const Fault *strike(FaultKind kind, int station, FaultCounts *counts);
    bool isSilent(int number, const StationTally &tally) const;
    TimePoint answerTime(int number, const Outlet &outlet) const;
    TimePoint partIsOver() const;
    void noteSilence(TimePoint now);

    const Options &m_options;
    Port &m_port;
    LineTiming m_timing;
    Wire m_wire;
    RequestCutter m_cutter;
    Dice m_dice;
    Faults m_faults;
    std::map<int, Outlet> m_outlets; // by station number
    StationNumbers m_mute;
    TimePoint m_heardUntil;    // when the last byte of the host is through
    TimePoint m_answeredUntil; // when the last byte of the last answer is through
    Tally m_tally;
};
