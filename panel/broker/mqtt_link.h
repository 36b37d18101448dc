// The connection to the broker, kept by a thread of its own: made, lost, made again.
#pragma once

#include "panel/file/broker_settings.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

struct MqttMessage {
    QByteArray topic;
    QByteArray payload;
    bool isRetained = false; // was there before the subscription
};

class MqttLink {
public:
    // All on the link's thread; they must not wait. A session is one connection; sessions count
    // from 1, and an event of one that is over tells nothing of the next.
    struct Events {
        std::function<void(int session)> connected;
        std::function<void(int session, int id)> acknowledged;
        std::function<void(int session, const MqttMessage &message)> received;
        // Also after a try that led to nothing.
        std::function<void(int session, const QString &reason)> lost;
    };
    // What is left behind when the connection breaks, retained.
    struct Will {
        QByteArray topic;
        QByteArray payload;
    };

    MqttLink(BrokerSettings settings, Will will, Events events);
    // As stop() does.
    ~MqttLink();
    MqttLink(const MqttLink &) = delete;
    MqttLink &operator=(const MqttLink &) = delete;

    // One line when the settings name files that cannot be read.
    QString start();
    // Says goodbye, so that no will is left. Does not wait for a name server that does not answer.
    void stop();

    // Any thread; returns at once. With acknowledgement (QoS 1): `acknowledged` names the id.
    // Nothing when the session is over.
    std::optional<int> publish(int session, const QByteArray &topic, const QByteArray &payload,
                               bool isRetained);
    void subscribe(int session, const QByteArray &topics);

private:
    class Thread;
    std::shared_ptr<Thread> m_thread; // shared with the thread itself, which may outlive the link
};
