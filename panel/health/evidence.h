// What a line has shown of each station, gathered from its exchanges: the facts from which the
// likely cause of a failure is read (causes.h).
#pragma once

#include "panel/health/frames.h"
#include "panel/line/exchange.h"

#include <QString>

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <vector>

// A refusal: an exception and the registers that it is about.
struct Refusal {
    int code = 0;
    int function = 0;
    int firstRegister = 0;
    int registers = 0;
    bool operator<(const Refusal &other) const;
};

// Counts over one station's last exchanges, so that what was cured is forgotten.
struct Evidence {
    int exchanges = 0;
    int good = 0;
    int refused = 0;
    int silent = 0;       // not one byte of it came
    int silences = 0;     // stretches of them, however long
    int unfitting = 0;    // its good answer does not fit what was asked
    int garbled = 0;      // bytes came, and no good frame
    int others = 0;       // a good answer came at once, from another station
    int echoed = 0;       // our own request came back first, whatever came then
    int silentInARow = 0; // the latest ones
    // Of each good answer that came when its wait was over, which is a short one for a station that
    // rests: from the end of its request.
    std::vector<std::chrono::microseconds> late;
    std::set<int> answeredBy;                             // the other stations
    std::set<Refusal> refusals;                           // each once
    std::chrono::system_clock::time_point lastAnsweredAt; // the epoch: never
    QString lastAnswered; // the request, in words; a refusal is an answer
};

// What was heard on the line and belongs to nobody here.
struct Strangers {
    int exchanges = 0; // of all stations, over which the others were counted
    int requests = 0;  // good requests that are not ours
    int answers = 0;   // good answers to nothing that was asked
};

// Gathers the evidence of one line. Its owner sees to it that one thread at a time is in here.
class EvidenceKeeper {
public:
    void observe(const Exchange &exchange);
    // Of one station; without exchanges when it was not asked.
    Evidence station(int number) const;
    Strangers strangers() const;

private:
    using Clock = std::chrono::steady_clock;

    enum class Kind { Good, Refused, Silent, Garbled, Late, Unfitting, OtherStation };
    struct Finding {
        Kind kind = Kind::Silent;
        bool isEchoed = false;
        int answeredBy = 0;                // another station
        std::chrono::microseconds late{0}; // after the end of the request
        Refusal refusal;
    };
    // The last request of a station whose answer may still come.
    struct Unanswered {
        Frame request;
        Clock::time_point ended; // when the request had gone out
    };
    struct Station {
        std::deque<Finding> findings; // the latest last
        std::optional<Unanswered> unanswered;
        std::chrono::system_clock::time_point lastAnsweredAt;
        QString lastAnswered;
    };
    struct Strange {
        bool isRequest = false;
        bool isAnswer = false;
    };
    // A frame heard that is neither our request nor the reply to it.
    struct Stray {
        Frame frame;
        Clock::time_point at;
        bool isAfterRequest = false;
    };

    static std::vector<Stray> straysOf(const Exchange &exchange, bool *hasEcho);
    static Evidence evidenceOf(const Station &station);
    void sortStray(const Exchange &exchange, const Stray &stray, Finding *finding);
    bool takeLateAnswer(const Stray &stray);
    void noteStranger(bool isRequest);
    void remember(const Exchange &exchange, const Finding &finding);

    std::map<int, Station> m_stations;
    std::deque<Strange> m_strange;         // an entry for each of the last exchanges of the line
    std::optional<Frame> m_strangeRequest; // the last one, whose answer is a stranger's too
};
