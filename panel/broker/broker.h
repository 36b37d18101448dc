// The way to the broker of the plant: publishes what changes, keeps what the broker misses, hands
// on what its clients want written. Everything happens on threads of its own.
//
//   PREFIX/status               retained: online, and offline when the panel is gone
//   PREFIX/value/LINE/NAME      retained: each variable as it stands, at each change
//   PREFIX/missed/LINE/NAME     what changed while the broker was away, in order
//   PREFIX/health               retained: the report, each minute
//   PREFIX/set/LINE/NAME        a client's write, where acceptWrites is on
//   PREFIX/result/LINE/NAME     what became of it
#pragma once

#include "panel/feed/value_change.h"
#include "panel/file/panel_file.h"
#include "panel/line/writer.h"

#include <QJsonObject>
#include <QString>

#include <functional>
#include <memory>

class Broker {
public:
    // What it needs from the rest of the panel; what is left empty is not used.
    struct Links {
        // Takes a write and says later, on any thread, what became of it; returns at once.
        std::function<void(const WriteOrder &order, const WriteDone &done)> write;
        // One line about each write that a client asks for, done or refused; any thread.
        std::function<void(const QString &line)> log;
        // The health report. Called on the broker's thread.
        std::function<QJsonObject()> report;
        // One line for the log, as when the connection comes or goes. Called on the broker's
        // thread, and by start().
        std::function<void(const QString &line)> note;
    };

    // The panel has a broker, and outlives this one.
    Broker(const PanelFile &panel, Links links);
    // As stop() does.
    ~Broker();
    Broker(const Broker &) = delete;
    Broker &operator=(const Broker &) = delete;

    // One line when the panel file names a file that cannot be used, or this build has no MQTT. A
    // broker that is away is no error: it is looked for until stop().
    QString start();
    // A ValueListener; never waits.
    void take(const ValueChange &change);
    // Takes a few seconds where the broker does not answer; what it has not got then waits in the
    // spool for the next start. Whoever writes and reports is still there.
    void stop();

    // How it is doing, for the health report. Any thread.
    //   {"connected", "reason": null or why not, "published", "waiting": changes in the spool,
    //    "dropped": changes lost for good since the spool was made, "lost": those of this run,
    //    "writesLeftOut": of clients that sent too many at a time, neither tried nor answered,
    //    "error": null or what is wrong with the spool}
    QJsonObject status() const;

private:
    class Work;
    std::unique_ptr<Work> m_work;
};
