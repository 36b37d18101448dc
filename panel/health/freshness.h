// How far each value can be trusted, from what became of the requests: the driver's image alone
// cannot tell, what was never read is zero there and what can no longer be read stays as it was.
#pragma once

#include "panel/file/panel_file.h"
#include "panel/health/quality.h"
#include "panel/line/exchange.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

class Freshness {
public:
    using Time = std::chrono::system_clock::time_point;

    // What has become of a variable since it was last taken.
    struct Change {
        std::size_t variable = 0; // index in PanelFile::variables
        bool isBrought = false;   // all its registers were read anew: the image has its value
        // Never: it was asked for in vain, and has not been read before.
        Quality quality = Quality::Never;
        Time lastGood; // when all its registers had come
        Time oldSince; // when it was found not to hold; not while it is good
    };

    // The panel outlives it.
    explicit Freshness(const PanelFile &panel);

    // An ExchangeListener, for all lines. The driver has the reply by then. A good read makes what
    // it covers good. One that was given up makes that old; the whole station where nothing of it
    // was heard or it is left alone from then on; the whole line when the device is gone. What
    // is read once keeps its quality until it is read again. What was never read stays so, which is
    // a change the first time. A write changes nothing: the read that comes after it does.
    void observe(const Exchange &exchange);

    // Blocks until something has changed, and takes it: by variable, ascending. Empty once it is
    // closed and all is taken. For one thread.
    std::vector<Change> waitForChanges();
    // Nothing more will be observed.
    void close();

    // Any thread, by the variable's index.
    Quality quality(std::size_t variable) const;
    Time lastGood(std::size_t variable) const; // the epoch while never read
    bool wasRead(std::size_t variable) const { return quality(variable) != Quality::Never; }
    bool isCurrent(std::size_t variable) const { return quality(variable) == Quality::Good; }

private:
    struct State {
        RegisterSpan span;
        std::vector<bool> isAnew; // by register, since all were; long variables come in pieces
        Change change;
        bool isMissed = false; // was asked for in vain before it was ever read
        bool isChanged = false;
    };
    using StationVariables = std::vector<std::size_t>;

    void readGood(const Exchange &exchange);
    void readFailed(const Exchange &exchange);
    void stationSilent(std::size_t line, int station);
    void lineGone(std::size_t line);
    void bring(State *state);
    void age(State *state);
    // The variables of a station, none when it has none.
    const StationVariables &variablesOf(std::size_t line, int station) const;

    const PanelFile &m_panel;
    std::map<std::pair<std::size_t, int>, StationVariables> m_stations; // by line and station

    mutable std::mutex m_mutex; // guards all below; held for no longer than a look at each variable
    std::condition_variable m_wake;
    std::vector<State> m_states; // by variable
    bool m_hasChanges = false;
    bool m_isClosed = false;
};
