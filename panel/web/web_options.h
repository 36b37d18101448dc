// Where the page listens, and who may write from it.
#pragma once

#include <QByteArray>
#include <QString>

struct WebOptions {
    QString address = "127.0.0.1"; // IPv4, or IPv6 without brackets
    int port = 0;                  // 0: any that is free
    QByteArray token;              // empty: nobody may write
    int requestSeconds = 15;       // to ask, and to take the answer

    bool isLoopback() const;
    // Every address that the machine has.
    bool isAny() const;
};

// From "[ADDRESS:]PORT" and the name of the file whose first line is the token, empty for none. One
// line when they do not fit: who listens beyond this machine needs a token.
QString readWebOptions(const QString &where, const QString &tokenFile, WebOptions *options);
