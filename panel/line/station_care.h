// Who gets the line's time: stations that answer are polled, those that do not rest and get a try
// now and then, out of a budget that all of them share.
#pragma once

#include "panel/line/exchange.h"
#include "panel/line/line_time.h"

#include <QString>

#include <chrono>
#include <map>
#include <optional>
#include <set>

// Pure but for the times handed in, which never go back.
class StationCare {
public:
    using Clock = std::chrono::steady_clock;

    // `polled` are the stations with something to poll; they are strangers until they have
    // answered.
    StationCare(const LineSettings &settings, const std::set<int> &polled, Clock::time_point now);

    enum class Change { None, Rests, Returns };
    // Every exchange of the line. What a failure costs while the station counts as answering is
    // charged when it goes to rest.
    Change observe(const Exchange &exchange, Clock::time_point now);
    // Nobody had anything to ask: a try delays no other station.
    void idle() { m_wasTry = false; }
    // The device was away: everybody who does not answer is tried at once.
    void startAfresh(Clock::time_point now);

    // Whether its blocks are to be polled.
    bool isAnswering(int station) const;
    // Whether a request that fails is sent again at once: not while that would delay others.
    bool isRepeated(int station) const { return isAnswering(station) || m_stations.size() < 2; }
    bool isAnyoneAnswering() const;
    // Whether requests other than tries go to it: all but those that rest.
    bool isResting(int station) const;

    // The station whose try may go out now, with the wait for its answer.
    struct Try {
        int station;
        std::chrono::microseconds responseTimeout;
    };
    std::optional<Try> dueTry(Clock::time_point now) const;
    // A station that nothing can be asked of counts as answering again when its rest is over.
    void trust(int station);
    // Whether a pass that began then lacks no try: each stranger has had a long one, or some time
    // is over; and while nobody answers everybody has had one.
    bool hasTriedEnough(Clock::time_point passBegan, Clock::time_point now) const;

    // By station: "no answer for 2 min, next try in 12 s".
    std::map<int, QString> texts(Clock::time_point now) const;

private:
    enum class State { Stranger, Answering, Resting };
    struct Station {
        State state = State::Answering;
        bool isPolled = false;
        std::chrono::microseconds slowest{0}; // the longest reply time seen
        LineTime lost{0};                     // since its last answer, not charged yet
        int badInARow = 0;                    // requests given up though something came back
        bool isSilent = true;                 // no byte of its own came last
        int tries = 0;                        // since its last answer
        std::chrono::microseconds waited{0};  // the longest of them
        Clock::duration rest{0};
        Clock::time_point lastTry;
        Clock::time_point nextTry;
        Clock::time_point since; // its last answer, or the start
    };

    void earn(Clock::time_point now);
    LineTime earned(Clock::time_point now) const;
    void charge(LineTime time);
    Change answered(const Exchange &exchange, Station *station, Clock::time_point now);
    Change failed(const Exchange &exchange, Station *station, Clock::time_point now);
    Clock::duration firstRest() const;
    void rest(Station *station, Clock::time_point now) const;
    void failedTry(const Exchange &exchange, Station *station, Clock::time_point now);
    std::chrono::microseconds responseTimeout(const Station &station) const;
    LineTime expectedCost(const Station &station) const;
    LineTime costOf(std::chrono::microseconds responseTimeout) const;
    Clock::time_point dueAt(const Station &station) const;
    bool isBefore(const Station &a, const Station &b) const;
    bool mayTry(const Station &station, Clock::time_point now) const;
    bool isAsSlowAsOthers(const Station &station) const;
    bool deservesTry(const Station &station) const;
    bool lacksTry(const Station &station, Clock::time_point passBegan) const;
    std::chrono::microseconds fullTimeout() const;
    std::chrono::microseconds timeOfSlowStations() const;

    LineSettings m_settings;
    std::map<int, Station> m_stations;
    std::chrono::microseconds m_slowest{0};      // reply time of all stations
    std::chrono::microseconds m_slowestFirst{0}; // the same, of first answers alone
    LineTime m_balance{0};                       // line time that tries may take now
    Clock::time_point m_earnedUntil;
    bool m_wasTry = false;       // the last exchange
    bool m_hasTriedLong = false; // a stranger, as long as a poll would wait
};
