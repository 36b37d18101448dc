#include "panel/feed/sqlite.h"

#include <QFile>
#include <QtEndian>

#include <sqlite3.h>

#include <utility>

namespace {

// Long enough for a reader from outside to let go.
constexpr int BusyMs = 2000;
constexpr int PrimaryCode = 0xFF; // the rest of a result code says more of the same

// Of the file's header.
constexpr int VersionAt = 60;
constexpr int ApplicationAt = 68;
constexpr int HeaderBytes = 100;

} // namespace

QString refuseForeign(const QString &path, const DatabaseMark &mark) {
    QFile file(path);
    if (!file.exists() || file.size() == 0)
        return {};
    if (!file.open(QIODevice::ReadOnly))
        return file.errorString();
    const QByteArray header = file.read(HeaderBytes);
    if (header.size() < HeaderBytes || !header.startsWith("SQLite format 3"))
        return QString("damaged or not a %1, left as it is").arg(mark.kind);
    if (qFromBigEndian<quint32>(header.constData() + ApplicationAt) != mark.application)
        return QString("not a %1, left as it is").arg(mark.kind);
    const auto version = qFromBigEndian<quint32>(header.constData() + VersionAt);
    if (version == mark.version)
        return {};
    return QString("a %1 of version %2, this panel keeps %3")
        .arg(mark.kind)
        .arg(version)
        .arg(mark.version);
}

Database::Database() = default;

Database::~Database() {
    close();
}

bool Database::open(const QString &path, Access access) {
    close();
    const int flags = access == Access::ReadOnly ? SQLITE_OPEN_READONLY
                                                 : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    if (sqlite3_open_v2(path.toUtf8().constData(), &m_handle, flags, nullptr) != SQLITE_OK) {
        fail();
        return false;
    }
    sqlite3_extended_result_codes(m_handle, 1);
    return sqlite3_busy_timeout(m_handle, BusyMs) == SQLITE_OK;
}

void Database::close() {
    sqlite3_close_v2(m_handle);
    m_handle = nullptr;
}

bool Database::mark(const DatabaseMark &mark, const char *before) {
    return run(QString("BEGIN; %1; PRAGMA application_id = %2; PRAGMA user_version = %3; COMMIT;")
                   .arg(before)
                   .arg(mark.application)
                   .arg(mark.version)
                   .toLatin1());
}

bool Database::run(const char *sql) {
    if (sqlite3_exec(m_handle, sql, nullptr, nullptr, nullptr) == SQLITE_OK)
        return true;
    fail();
    return false;
}

qint64 Database::number(const char *sql) {
    Statement statement(this, sql);
    return statement.step() ? statement.whole(0) : 0;
}

QString Database::text(const char *sql) {
    Statement statement(this, sql);
    return statement.step() ? statement.text(0) : QString();
}

QString Database::takeError() {
    m_isBroken = false;
    return std::exchange(m_error, QString());
}

void Database::fail() {
    if (hasFailed())
        return;
    const int code = m_handle ? sqlite3_errcode(m_handle) : SQLITE_NOMEM;
    m_error = m_handle ? QString::fromUtf8(sqlite3_errmsg(m_handle)) : "out of memory";
    m_isBroken = (code & PrimaryCode) == SQLITE_CORRUPT || (code & PrimaryCode) == SQLITE_NOTADB;
}

Statement::Statement(Database *database, const char *sql) : m_database(database) {
    if (sqlite3_prepare_v3(database->m_handle, sql, -1, SQLITE_PREPARE_PERSISTENT, &m_handle,
                           nullptr) != SQLITE_OK)
        database->fail();
}

Statement::~Statement() {
    sqlite3_finalize(m_handle);
}

Statement::Statement(Statement &&other) noexcept
    : m_database(other.m_database), m_handle(std::exchange(other.m_handle, nullptr)) {}

// Parameters of a statement under way cannot be bound.
sqlite3_stmt *Statement::anew() {
    if (sqlite3_stmt_busy(m_handle))
        sqlite3_reset(m_handle);
    return m_handle;
}

Statement &Statement::bound(int code) {
    if (code != SQLITE_OK)
        m_database->fail();
    return *this;
}

Statement &Statement::bind(int parameter, qint64 number) {
    return bound(sqlite3_bind_int64(anew(), parameter, number));
}

Statement &Statement::bind(int parameter, double number) {
    return bound(sqlite3_bind_double(anew(), parameter, number));
}

Statement &Statement::bind(int parameter, const QString &text) {
    const QByteArray bytes = text.toUtf8();
    return bound(
        sqlite3_bind_text(anew(), parameter, bytes.constData(), bytes.size(), SQLITE_TRANSIENT));
}

Statement &Statement::bindNull(int parameter) {
    return bound(sqlite3_bind_null(anew(), parameter));
}

bool Statement::step() {
    const int code = sqlite3_step(m_handle);
    if (code == SQLITE_ROW)
        return true;
    if (code != SQLITE_DONE)
        m_database->fail();
    sqlite3_reset(m_handle);
    return false;
}

bool Statement::finish() {
    while (step())
        continue;
    return !m_database->hasFailed();
}

qint64 Statement::whole(int column) const {
    return sqlite3_column_int64(m_handle, column);
}

double Statement::real(int column) const {
    return sqlite3_column_double(m_handle, column);
}

QString Statement::text(int column) const {
    const auto *bytes = reinterpret_cast<const char *>(sqlite3_column_text(m_handle, column));
    return QString::fromUtf8(bytes, sqlite3_column_bytes(m_handle, column));
}

bool Statement::isNumber(int column) const {
    const int type = sqlite3_column_type(m_handle, column);
    return type == SQLITE_INTEGER || type == SQLITE_FLOAT;
}
