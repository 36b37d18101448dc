#include "panel/broker/spool.h"

#include <QFile>
#include <QFileInfo>

namespace {

// What the file says of itself.
constexpr DatabaseMark Mark{"spool", 0x5053504C, 1}; // "PSPL"

constexpr qint64 PageBytes = 4096;
constexpr qint64 PagesOfMegabyte = 1024 * 1024 / PageBytes;
// The log beside the file (wal_autocheckpoint and one transaction), and what a row may take at
// once.
constexpr qint64 ReservedPages = 96;
constexpr qint64 MostUncommittedBytes = 128 * 1024;
// A part of this size makes room at a time: one row would do, but slowly.
constexpr qint64 RoomShare = 16;

constexpr char Layout[] = R"(
    PRAGMA locking_mode = EXCLUSIVE;
    PRAGMA journal_mode = WAL;
    PRAGMA synchronous = NORMAL;
    PRAGMA wal_autocheckpoint = 32;
    PRAGMA journal_size_limit = 262144;
    CREATE TABLE IF NOT EXISTS missed(
        id INTEGER PRIMARY KEY AUTOINCREMENT, topic TEXT NOT NULL, payload TEXT NOT NULL);
    CREATE TABLE IF NOT EXISTS dropped(rows INTEGER NOT NULL);
    INSERT INTO dropped SELECT 0 WHERE NOT EXISTS (SELECT * FROM dropped);)";

QString freeName(const QString &path) {
    QString name = path + ".broken";
    for (int number = 2; QFileInfo::exists(name) || QFileInfo::exists(name + "-wal"); ++number)
        name = QString("%1.broken.%2").arg(path).arg(number);
    return name;
}

} // namespace

struct Spool::Statements {
    explicit Statements(Database *database)
        : add(database, "INSERT INTO missed(topic, payload) VALUES(?1, ?2) RETURNING id"),
          remove(database, "DELETE FROM missed WHERE id = ?1 RETURNING id"),
          next(database,
               "SELECT id, topic, payload FROM missed WHERE id > ?1 ORDER BY id LIMIT ?2"),
          makeRoom(database, "DELETE FROM missed WHERE id IN "
                             "(SELECT id FROM missed ORDER BY id LIMIT ?1)"),
          drop(database, "UPDATE dropped SET rows = ?1"), pages(database, "PRAGMA page_count"),
          freePages(database, "PRAGMA freelist_count") {}

    Statement add;
    Statement remove;
    Statement next;
    Statement makeRoom;
    Statement drop;
    Statement pages;
    Statement freePages;
};

Spool::Spool() = default;

Spool::~Spool() {
    commit();
}

QString Spool::open(const QString &path, int megabytes) {
    m_path = path;
    m_mostPages = megabytes * PagesOfMegabyte - ReservedPages;
    const QString reason = refuseForeign(path, Mark);
    if (!reason.isEmpty())
        return path + ": " + reason;
    prepare();
    const QString damage = findDamage();
    if (!damage.isEmpty())
        return beginAnew(damage);
    noteError();
    return m_error;
}

// Empty when the file is sound, or fails for another reason.
QString Spool::findDamage() {
    QString found = "ok";
    if (!m_database.hasFailed())
        found = m_database.text("PRAGMA quick_check(1)");
    if (m_database.isBroken())
        return m_database.takeError();
    return m_database.hasFailed() || found == "ok" ? QString() : found.simplified();
}

// With the log beside it, which may hold what the file does not.
QString Spool::beginAnew(const QString &damage) {
    m_statements.reset();
    m_database.close();
    const QString aside = freeName(m_path);
    if (!QFile::rename(m_path, aside))
        return m_path + ": " + damage + ", and it cannot be put aside";
    QFile::rename(m_path + "-wal", aside + "-wal");
    m_remark = QString("%1: %2; kept as %3, begun anew").arg(m_path, damage, aside);
    prepare();
    noteError();
    return m_error;
}

bool Spool::prepare() {
    const bool isNew = QFileInfo(m_path).size() == 0;
    if (!m_database.open(m_path, Database::Access::ReadWrite))
        return false;
    if (isNew && !m_database.mark(Mark))
        return false;
    if (!m_database.run(Layout))
        return false;
    m_statements = std::make_unique<Statements>(&m_database);
    m_count = m_database.number("SELECT count(*) FROM missed");
    m_dropped = m_database.number("SELECT rows FROM dropped");
    return !m_database.hasFailed();
}

qint64 Spool::add(const QByteArray &topic, const QByteArray &payload) {
    begin();
    if (isFull())
        makeRoom();
    Statement &add = m_statements->add;
    add.bind(1, QString::fromUtf8(topic)).bind(2, QString::fromUtf8(payload));
    const qint64 id = add.step() ? add.whole(0) : 0;
    if (!add.finish() || id == 0) {
        noteError();
        ++m_dropped;
        return 0;
    }
    ++m_count;
    m_uncommittedBytes += topic.size() + payload.size();
    if (m_uncommittedBytes > MostUncommittedBytes)
        commit();
    return id;
}

void Spool::remove(qint64 id) {
    begin();
    Statement &remove = m_statements->remove;
    // It may have made room meanwhile.
    if (remove.bind(1, id).step())
        --m_count;
    remove.finish();
    noteError();
}

std::vector<Spool::Row> Spool::next(qint64 after, int most) {
    std::vector<Row> rows;
    Statement &next = m_statements->next;
    next.bind(1, after).bind(2, qint64(most));
    while (next.step())
        rows.push_back({next.whole(0), next.text(1).toUtf8(), next.text(2).toUtf8()});
    noteError();
    return rows;
}

void Spool::commit() {
    if (!m_isOpen)
        return;
    m_isOpen = false;
    m_uncommittedBytes = 0;
    if (!m_database.run("COMMIT")) {
        noteError();
        m_database.run("ROLLBACK");
        static_cast<void>(m_database.takeError()); // there may be nothing to roll back
    }
}

void Spool::begin() {
    if (!m_isOpen)
        m_isOpen = m_database.run("BEGIN");
    noteError();
}

bool Spool::isFull() {
    const auto number = [](Statement &statement) {
        const qint64 found = statement.step() ? statement.whole(0) : 0;
        statement.finish();
        return found;
    };
    return number(m_statements->pages) - number(m_statements->freePages) >= m_mostPages;
}

void Spool::makeRoom() {
    const qint64 rows = m_count / RoomShare + 1;
    if (!m_statements->makeRoom.bind(1, rows).finish())
        return noteError();
    m_count -= rows;
    drop(rows);
}

void Spool::drop(qint64 rows) {
    m_dropped += rows;
    m_statements->drop.bind(1, m_dropped).finish();
    noteError();
}

void Spool::noteError() {
    const QString error = m_database.takeError();
    if (m_error.isEmpty() && !error.isEmpty())
        m_error = m_path + ": " + error;
}
