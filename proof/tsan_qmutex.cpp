// ThreadSanitizer does not see QMutex: Qt is not built with it, and where nobody waits a QMutex is
// one atomic word inside QtCore. This file, linked into a program of an instrumented build, stands
// before QtCore's lock and unlock and tells the sanitizer of every lock, so that its race detector
// knows what the locks order and its deadlock detector knows their order.
//
// The same for the reference counts of shared payloads: where QtCore drops the last reference, the
// sanitizer misses that the other owners have dropped theirs before. The functions by which the
// driver's threads do that stand here as well, in the words of Qt's own inline functions.
#include <QByteArray>
#include <QMutex>
#include <QString>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

namespace {

using Operation = void (*)(QMutex *);
using TryOperation = bool (*)(QMutex *, int);

template <typename Function>
Function realFunction(const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

// The driver's mutexes are made once and never destroyed while it works; the sanitizer takes a
// mutex that it hears of for the first time as one that exists.
void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT {
    static const auto realLock = realFunction<Operation>("_ZN6QMutex4lockEv");
    __tsan_mutex_pre_lock(this, 0);
    realLock(this);
    __tsan_mutex_post_lock(this, 0, 0);
}

void QMutex::unlock() noexcept {
    static const auto realUnlock = realFunction<Operation>("_ZN6QMutex6unlockEv");
    __tsan_mutex_pre_unlock(this, 0);
    realUnlock(this);
    __tsan_mutex_post_unlock(this, 0);
}

bool QMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT {
    static const auto realTryLock = realFunction<TryOperation>("_ZN6QMutex7tryLockEi");
    __tsan_mutex_pre_lock(this, __tsan_mutex_try_lock);
    const bool locked = realTryLock(this, timeout);
    __tsan_mutex_post_lock(
        this, locked ? __tsan_mutex_try_lock : __tsan_mutex_try_lock | __tsan_mutex_try_lock_failed,
        0);
    return locked;
}

QByteArray &QByteArray::operator=(const QByteArray &other) noexcept {
    QByteArray copy(other);
    swap(copy);
    return *this;
}

void QByteArray::clear() {
    QByteArray empty;
    swap(empty);
}

QString &QString::operator=(const QString &other) noexcept {
    QString copy(other);
    swap(copy);
    return *this;
}
