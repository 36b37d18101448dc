// What the page's server is asked, and what it answers.
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include <functional>
#include <memory>

class EventStream;

struct Request {
    QByteArray method;
    QByteArray path;
    QMap<QByteArray, QString> query;
    QByteArray body;
    QString client; // its address

    // Headers, empty when they are missing.
    QByteArray host;
    QByteArray origin;
    QByteArray fetchSite; // what the browser says of the page that asks
    QByteArray authorization;
    QByteArray contentType;
    // Where the request arrived, "192.168.1.5:8080".
    QByteArray local;
};

struct Answer {
    int status = 200;
    QByteArray type = "application/json";
    QByteArray body;
    // In the place of a body: goes on until one of both ends it.
    std::shared_ptr<EventStream> stream;
    QByteArray allow = {}; // of a 405: the methods that the path takes
};

// Called once, on any thread.
using Reply = std::function<void(Answer)>;

// {"ok": false, "error": "..."}
Answer refusal(int status, const QString &reason);
