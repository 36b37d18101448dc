#include "panel/feed/history.h"

#include "panel/feed/history_query.h"
#include "panel/feed/history_rows.h"

#include <QLockFile>

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>

namespace {

using std::chrono::milliseconds;

// How long changes are gathered before they are written.
constexpr milliseconds Gathering{500};
constexpr std::size_t MostAtATime = 5'000;

qint64 nowMs() {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<milliseconds>(since).count();
}

} // namespace

struct History::Work {
    explicit Work(const PanelFile &panel) : rows(panel) {}

    void run();
    // After a while, or at the end; false then.
    bool takeAll(std::vector<ValueChange> *changes);
    // Writes what is pending, unless there is nothing to say.
    void write();
    bool writePending(qint64 now);
    void note(bool isWritten, bool isBroken, const QString &failure);

    QString path;
    std::unique_ptr<QLockFile> lock; // no second panel writes the same file
    // Of the writing thread.
    HistoryStore store;
    HistoryRows rows;
    std::vector<HistoryRow> pending; // not yet taken by the disk
    qint64 aliveAt = 0;

    mutable std::mutex mutex; // guards what follows
    std::condition_variable changed;
    std::vector<ValueChange> queue;
    std::size_t waiting = 0; // rows that the disk did not take
    bool isEnding = false;
    quint64 lost = 0;
    QString error;
    QString lastFailure;    // also when the disk takes something again
    bool isDamaged = false; // nothing more is written

    std::thread thread;
};

bool History::Work::takeAll(std::vector<ValueChange> *changes) {
    std::unique_lock guard(mutex);
    changed.wait_for(guard, Gathering, [this] { return isEnding; });
    *changes = std::exchange(queue, {});
    return !isEnding;
}

void History::Work::write() {
    const qint64 now = nowMs();
    if (pending.empty() && now - aliveAt < HistoryStore::AliveMs)
        return;
    const bool isWritten = !isDamaged && writePending(now);
    if (isWritten)
        aliveAt = now;
    const bool isBroken = store.isBroken();
    note(isWritten, isBroken, store.takeError());
    if (isWritten || isDamaged)
        pending.clear();
}

// In parts, so that what waited long does not outgrow the size of the file at once.
bool History::Work::writePending(qint64 now) {
    do {
        const auto part = static_cast<std::ptrdiff_t>(std::min(pending.size(), MostAtATime));
        if (!store.write({pending.begin(), pending.begin() + part}, now))
            return false;
        pending.erase(pending.begin(), pending.begin() + part);
    } while (!pending.empty());
    return true;
}

void History::Work::note(bool isWritten, bool isBroken, const QString &failure) {
    const std::lock_guard guard(mutex);
    if (isBroken) {
        isDamaged = true;
        error = path + ": damaged, nothing more is written: " + failure;
    }
    if (!isDamaged)
        error = failure;
    if (!error.isEmpty())
        lastFailure = error;
    if (isDamaged && !isWritten)
        lost += pending.size();
    waiting = isWritten || isDamaged ? 0 : pending.size();
}

void History::Work::run() {
    bool goesOn = true;
    while (goesOn) {
        std::vector<ValueChange> changes;
        goesOn = takeAll(&changes);
        for (const ValueChange &change : changes)
            rows.append(change, &pending);
        if (!goesOn)
            aliveAt = 0; // the values held to the end
        write();
    }
}

History::History() = default;

History::~History() {
    close();
}

void History::close() {
    if (!m_work || !m_work->thread.joinable())
        return;
    {
        const std::lock_guard guard(m_work->mutex);
        m_work->isEnding = true;
    }
    m_work->changed.notify_one();
    m_work->thread.join();
    const std::lock_guard guard(m_work->mutex);
    m_work->lost += std::exchange(m_work->waiting, 0);
    if (m_work->error.isEmpty() && m_work->lost > 0)
        m_work->error = m_work->lastFailure;
}

QString History::open(const QString &path, const PanelFile &panel) {
    m_work = std::make_unique<Work>(panel);
    m_work->path = path;
    m_work->lock = std::make_unique<QLockFile>(path + ".lock");
    m_work->lock->setStaleLockTime(0);
    if (!m_work->lock->tryLock())
        return path + ": kept by another panel, or its folder cannot be written";
    const HistoryLimits limits{panel.historyDays, panel.historyMegabytes};
    QString error = m_work->store.open(path, limits, nowMs());
    if (error.isEmpty()) {
        m_work->rows.setIds(m_work->store.idsOf(m_work->rows.names()));
        error = m_work->store.takeError();
    }
    if (error.isEmpty())
        m_work->thread = std::thread([work = m_work.get()] { work->run(); });
    return error;
}

void History::observe(const ValueChange &change) {
    const std::lock_guard guard(m_work->mutex);
    if (!m_work->isDamaged && m_work->queue.size() + m_work->waiting < Capacity) {
        m_work->queue.push_back(change);
    } else {
        ++m_work->lost;
    }
}

Trend History::trend(const TrendRequest &request) const {
    return readTrend(m_work->path, request);
}

quint64 History::lost() const {
    const std::lock_guard guard(m_work->mutex);
    return m_work->lost;
}

QString History::error() const {
    const std::lock_guard guard(m_work->mutex);
    return m_work->error;
}
