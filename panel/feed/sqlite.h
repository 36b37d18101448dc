// SQLite as the panel uses it: a file, statements, and the first thing that went wrong.
#pragma once

#include <QString>

struct sqlite3;
struct sqlite3_stmt;

// What a file of ours says of itself.
struct DatabaseMark {
    const char *kind; // "history"
    quint32 application;
    quint32 version;
};

// Why an existing file is not to be opened: "not a history, left as it is"; empty when it bears the
// mark, or is missing or empty. Reads the bytes themselves: SQLite would leave files of its own
// beside a foreign one.
QString refuseForeign(const QString &path, const DatabaseMark &mark);

// One connection, for one thread at a time. After a failure its calls still do nothing worse than
// fail; error() keeps the first one until takeError().
class Database {
public:
    enum class Access { ReadOnly, ReadWrite }; // ReadWrite makes a file that is missing

    Database();
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    // False when it fails, as for all below.
    bool open(const QString &path, Access access);
    void close();
    // For a file that is new, in a transaction before all else: whatever ends the panel, a file
    // that holds anything says what it is. `before` is a statement that has to come first.
    bool mark(const DatabaseMark &mark, const char *before = "");
    // One or more statements without parameters.
    bool run(const char *sql);
    // The first column of the first row, 0 when there is none.
    qint64 number(const char *sql);
    QString text(const char *sql);

    bool hasFailed() const { return !m_error.isEmpty(); }
    // Whether the first failure is one that no second try mends.
    bool isBroken() const { return m_isBroken; }
    // The first failure in words, which is forgotten.
    QString takeError();

private:
    friend class Statement;
    void fail();

    sqlite3 *m_handle = nullptr;
    QString m_error;
    bool m_isBroken = false;
};

// A statement made once and run many times: bind(), step() until false, again.
class Statement {
public:
    // The database outlives it.
    Statement(Database *database, const char *sql);
    ~Statement();
    Statement(Statement &&other) noexcept;
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;
    Statement &operator=(Statement &&) = delete;

    // Parameters count from 1. The statement begins anew with the first.
    Statement &bind(int parameter, qint64 number);
    Statement &bind(int parameter, double number);
    Statement &bind(int parameter, const QString &text);
    Statement &bindNull(int parameter);

    // True while there is a row; false at the end and on a failure.
    bool step();
    // Runs it to its end.
    bool finish();

    // Of the row; columns count from 0.
    qint64 whole(int column) const;
    double real(int column) const;
    QString text(int column) const;
    bool isNumber(int column) const;

private:
    sqlite3_stmt *anew();
    Statement &bound(int code);

    Database *m_database;
    sqlite3_stmt *m_handle = nullptr;
};
