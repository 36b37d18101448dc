// The broker that values go to, as the panel file gives it.
#pragma once

#include <QString>

struct BrokerSettings {
    QString host;
    int port = 1883;      // 8883 where there is a caFile
    QString prefix;       // of every topic, "plant/press 3"; never empty
    QString user;         // empty: nobody in particular
    QString passwordFile; // its first line is the password
    QString caFile;       // PEM; empty: no TLS
    QString certFile;     // PEM, both or none: who we are, for a broker that asks
    QString keyFile;
    int minIntervalMs = 0;     // between two messages of a variable; 0 every change
    bool acceptWrites = false; // whether the broker's clients may write what is writable
    QString spoolFile;         // SQLite; empty: what changes while the broker is away is lost
    int spoolMegabytes = 64;   // its greatest size
};
