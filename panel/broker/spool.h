// Changes that the broker has not got yet, in an SQLite file of bounded size. What is committed
// survives the end of the process, whatever ends it.
#pragma once

#include "panel/feed/sqlite.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <vector>

// On one thread.
class Spool {
public:
    struct Row {
        qint64 id; // ascends with time, from 1
        QByteArray topic;
        QByteArray payload;
    };

    Spool();
    ~Spool();
    Spool(const Spool &) = delete;
    Spool &operator=(const Spool &) = delete;

    // Makes a file that is missing. A damaged spool is put aside and begun anew, see remark(). One
    // line on failure; what is no spool is not touched.
    QString open(const QString &path, int megabytes);
    // What open() did that people have to know, one line; empty when there is nothing.
    QString remark() const { return m_remark; }

    // The new row's id; 0 when it could not be kept, which counts as dropped. When there is no room
    // the oldest rows make some.
    qint64 add(const QByteArray &topic, const QByteArray &payload);
    void remove(qint64 id);
    // The rows behind an id, oldest first.
    std::vector<Row> next(qint64 after, int most);

    // To the file with what was added and removed since the last time.
    void commit();

    qint64 count() const { return m_count; }
    // Rows given up since the file was made: for newer ones, or because of the disk.
    qint64 dropped() const { return m_dropped; }
    // The first failure of the disk, one line; empty when there was none.
    QString error() const { return m_error; }

private:
    struct Statements;

    bool prepare();
    QString findDamage();
    QString beginAnew(const QString &damage);
    bool isFull();
    void makeRoom();
    void begin();
    void drop(qint64 rows);
    void noteError();

    QString m_path;
    Database m_database;
    std::unique_ptr<Statements> m_statements; // ends before the database
    qint64 m_mostPages = 0;
    qint64 m_count = 0;
    qint64 m_dropped = 0;
    bool m_isOpen = false; // a transaction
    qint64 m_uncommittedBytes = 0;
    QString m_error;
    QString m_remark;
};
