// The communication loop of one line: asks the driver for the next request, exchanges it, hands
// back what came, and sees to it that silent stations, refused registers and a device that goes
// away cost the others as little as can be.
#pragma once

#include "panel/line/driver_library.h"
#include "panel/line/line_status.h"
#include "panel/line/owed_answers.h"
#include "panel/line/plan.h"
#include "panel/line/poll_list.h"
#include "panel/line/request_ledger.h"
#include "panel/line/serial_port.h"
#include "panel/line/station_care.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <set>

class CommLoop {
public:
    // All parts outlive the loop. The port block is the driver's.
    struct Parts {
        const PanelFile &panel;
        std::size_t line; // index in PanelFile::lines
        const Driver &driver;
        ComInfo &port;
        SerialPort &serial;
        RequestLedger &ledger;
        Blocks driversOwn; // see driverBlocks
        ExchangeListener listener;
        const std::atomic<bool> &stopRequested; // the serial port's too
    };
    explicit CommLoop(Parts parts);

    // Opens the device. Nothing, or one line that says why it cannot be had.
    QString open();
    // Returns when a stop is requested; a device that goes away, or is not open yet, is waited for.
    void run();

    // Any thread.
    LineStatus status() const;
    quint64 passes() const; // the same as in status(), at less cost

private:
    using Clock = std::chrono::steady_clock;

    void takeTurn();
    void prepareTurn(Clock::time_point now);
    void queueTry(Clock::time_point now);
    void askRefusedAgain(Clock::time_point now);
    void queueOnce(const RegisterSpan &block, int itemId);
    void idle();

    void exchange(const Protocol &request);
    void waitForOwedAnswers(const QByteArray &frame);
    std::chrono::microseconds responseTimeout(const RW_VAR &var) const;
    bool isRepeated(const Exchange &exchange) const;
    int handOn(Exchange *exchange);
    void learn(Exchange *exchange, const RegisterSpan &block, int itemId);
    void learnFromRead(const Exchange &exchange, int itemId);
    void learnOfStation(Exchange *exchange);
    void takeMeasuredTimes(Clock::time_point now);
    void polledBlocksChanged();

    void stationRests(int station);
    void stationReturns(const Exchange &exchange);
    void noteWhatIsQueued(const Protocol *request);

    void waitForDevice();
    void deviceGone();
    void deviceBack();
    void tellOfLoss();
    void dropAllQueued();

    Parts m_parts;
    const LineSettings m_settings;
    std::set<int> m_stations; // of all variables of the line, 0 included

    mutable std::mutex m_mutex; // guards, against status(), all down to m_goneSince
    Plan m_plan;
    PollList m_polls;
    StationCare m_care;
    QStringList m_remarks; // what the device cannot do
    QString m_problem;     // why what is there could not be opened last
    bool m_wasOpen = false;
    bool m_isGone = false;
    Clock::time_point m_goneSince;

    OwedAnswers m_owed;
    int m_attempt = 0;         // of the request in flight
    bool m_isLossTold = false; // the last exchange found the device gone
    bool m_haveBlocksChanged = true;
    bool m_isTryQueued = false;
    StationCare::Try m_try{}; // the one that is queued
    std::set<int> m_dropping; // stations that are off until nothing of theirs is queued
    int m_emptyTurns = 0;     // in a row that found both queues empty
    std::size_t m_reasked = 0;
    Clock::time_point m_reaskAt;
    StationReplyTimes m_replyTimes;
    Clock::time_point m_measureAt;
};
