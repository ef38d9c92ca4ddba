// Linked into the test programs of the ThreadSanitizer build only
// (scripts/check.sh). Debian's Qt is not instrumented, so ThreadSanitizer
// cannot see QMutex lock and unlock: to it, every list and map that Ostrel
// guards with a QMutex looks unguarded. These definitions take the place of
// Qt's for Ostrel's code (an executable's symbol wins over a shared
// library's), call Qt's own, and tell ThreadSanitizer what happened. Qt's
// calls inside its own library still go to its own functions.
#include <QMutex>
#include <QThread>

#include <dlfcn.h>

extern "C" {
void __tsan_acquire(void *addr);
void __tsan_release(void *addr);
}

namespace {
template <typename F> F real(const char *symbol)
{
    void *f = dlsym(RTLD_NEXT, symbol);
    if (!f)
        qFatal("TsanQtMutex: %s not found in Qt", symbol);
    return reinterpret_cast<F>(f);
}
} // namespace

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto f = real<void (*)(QMutex *)>("_ZN6QMutex4lockEv");
    f(this);
    __tsan_acquire(this);
}

bool QMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto f = real<bool (*)(QMutex *, int)>("_ZN6QMutex7tryLockEi");
    const bool locked = f(this, timeout);
    if (locked)
        __tsan_acquire(this);
    return locked;
}

void QMutex::unlock() noexcept
{
    static const auto f = real<void (*)(QMutex *)>("_ZN6QMutex6unlockEv");
    __tsan_release(this);
    f(this);
}
