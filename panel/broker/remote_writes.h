// What clients of the broker want written.
#pragma once

#include "panel/broker/mqtt_link.h"
#include "panel/feed/bounded_log.h"
#include "panel/file/panel_file.h"
#include "panel/line/writer.h"

#include <QByteArray>
#include <QHash>

#include <cstddef>
#include <functional>

class RemoteWrites {
public:
    using Write = std::function<void(const WriteOrder &order, const WriteDone &done)>;
    // Any thread. The topic is the line's and the variable's name, as the client had it.
    using Tell = std::function<void(const QByteArray &variableTopic, const QByteArray &result)>;

    // One line for the log. Any thread; may be left out.
    using Log = std::function<void(const QString &line)>;

    // The panel outlives the writes, and all that `tell` and `log` need.
    RemoteWrites(const PanelFile &panel, Write write, Tell tell, Log log);

    // What to subscribe to.
    QByteArray topics() const;
    // Carries it out or refuses it; the client is told in any case. One thread calls it.
    void take(const MqttMessage &message);

private:
    // Why it is refused; empty when `order` can be given to the writer. Its variable is set where
    // there is one of that name.
    QString check(const MqttMessage &message, const QByteArray &name, WriteOrder *order) const;

    const PanelFile &m_panel;
    Write m_write;
    Tell m_tell;
    Log m_log;
    BoundedLog m_refusals;
    QByteArray m_prefix; // of the topics, up to the names
    QHash<QByteArray, std::size_t> m_variables;
};
