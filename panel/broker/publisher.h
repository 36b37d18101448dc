// What is published when: the present of each variable first, then what the broker has missed.
// Knows nothing of connections; whoever owns it says how they are doing.
#pragma once

#include "panel/broker/spool.h"
#include "panel/feed/value_change.h"
#include "panel/file/panel_file.h"

#include <QByteArray>

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <vector>

// On one thread.
class Publisher {
public:
    using Clock = std::chrono::steady_clock;
    // Sends with acknowledgement: its id, or nothing when it cannot be sent.
    using Send = std::function<std::optional<int>(const QByteArray &topic,
                                                  const QByteArray &payload, bool isRetained)>;

    // Both outlive the publisher. Without a spool, what the broker misses is lost and counted.
    Publisher(const PanelFile &panel, Spool *spool, Send send);

    void take(const ValueChange &change, Clock::time_point now);

    void connected();
    void acknowledged(int id);
    // What was under way goes to the spool.
    void lost();
    // As lost(); there is no next connection. Without a spool, what has not arrived never will.
    void end();

    // Sends what is due and what there is room for.
    void pump(Clock::time_point now);
    // When pump() has something to do again, events aside.
    std::optional<Clock::time_point> nextDue() const;
    // What waits for its interval is due now.
    void hurry();

    bool isIdle() const { return m_underWay.empty(); }
    quint64 published() const { return m_published; } // acknowledged
    quint64 lostForGood() const { return m_lost; }    // beside what the spool dropped

private:
    // A variable as it stands.
    struct Present {
        QByteArray payload;
        quint64 number = 0;       // of the change, from 1; 0: nothing known yet
        quint64 acknowledged = 0; // the newest change that the broker has
        qint64 row = 0;           // of the change in the spool; 0: not there
        bool isUnsent = false;    // in m_unsent
        Clock::time_point nextAt; // no earlier is the next change sent
        std::optional<ValueChange> waiting;
    };
    struct UnderWay {
        int id = 0;
        qint64 row = 0;
        std::optional<std::size_t> variable; // its present; nothing: a missed change
        quint64 number = 0;
        QByteArray payload;
        Clock::time_point since;
    };

    void publish(std::size_t variable, const ValueChange &change);
    bool canSend() const;
    bool sendPresent(std::size_t variable);
    void sendDue(Clock::time_point until);
    void sendPresents();
    void sendMissed();
    void noteStall(Clock::time_point now);
    // The change goes to the spool unless it is there or at the broker.
    void lost(const UnderWay &message);
    void secure(UnderWay *message);
    void secureAll();
    qint64 keep(std::size_t variable, const QByteArray &payload);
    void markUnsent(std::size_t variable);
    void superseded(const Present &present);

    const PanelFile &m_panel;
    Spool *m_spool;
    Send m_send;
    Clock::duration m_interval;
    QByteArray m_prefix;

    std::vector<Present> m_presents; // by variable
    std::deque<std::size_t> m_unsent;
    std::set<std::pair<Clock::time_point, std::size_t>> m_waiting;
    std::deque<UnderWay> m_underWay; // oldest first
    std::size_t m_presentsUnderWay = 0;
    std::set<qint64> m_rowsUnderWay;
    qint64 m_lastMissed = 0; // row
    bool m_isConnected = false;
    bool m_isStalled = false; // the broker does not acknowledge
    Clock::time_point m_now;
    quint64 m_number = 0;
    quint64 m_published = 0;
    quint64 m_lost = 0;
};
