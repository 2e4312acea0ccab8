// A lock that many readers or one writer may hold.
#pragma once

#include <pthread.h>

#include <type_traits>

// With prefer_writers a waiting writer goes before readers that come later: with the other kind,
// readers that overlap one another keep a writer out for ever. The price is that a thread must not
// take the read lock twice, as a writer that waits in between blocks both for good.
// In turn, writers that overlap one another would keep the readers out for ever. So whoever wants
// such a lock waits for it at a gate, one thread at a time: nobody overtakes the one that is there.
//
// Usable before any constructor and after every destructor of static objects.
class RWLock {
  public:
    explicit constexpr RWLock(bool prefer_writers)
        : prefer_writers_(prefer_writers), lock_(Free(prefer_writers)) {}
    RWLock(const RWLock&) = delete;
    RWLock& operator=(const RWLock&) = delete;

    // For the two ends of a fork alone, which no guard can span. In the child Renew takes the place
    // of the unlocking, and of that by the threads that are gone: nobody holds the lock any more.
    void LockForWriting() { Lock(pthread_rwlock_wrlock); }
    void Unlock() { pthread_rwlock_unlock(&lock_); }
    void Renew() {
        lock_ = Free(prefer_writers_);
        gate_ = PTHREAD_MUTEX_INITIALIZER;
    }

  private:
    friend class RWLockGuard;

    static constexpr pthread_rwlock_t Free(bool prefer_writers) {
        return prefer_writers ? pthread_rwlock_t PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP
                              : pthread_rwlock_t PTHREAD_RWLOCK_INITIALIZER;
    }

    // Waits with `take`, whose error it returns.
    int Lock(int (*take)(pthread_rwlock_t*)) {
        if (prefer_writers_) pthread_mutex_lock(&gate_);
        const int error = take(&lock_);
        if (prefer_writers_) pthread_mutex_unlock(&gate_);
        return error;
    }

    const bool prefer_writers_;
    pthread_rwlock_t lock_;
    pthread_mutex_t gate_ = PTHREAD_MUTEX_INITIALIZER;
};

static_assert(std::is_trivially_destructible_v<RWLock>);

enum RWLockAction { kReadLockAction = 0, kWriteLockAction = 1 };

// Holds the lock from construction to destruction. The constructor waits; it throws
// std::system_error if the calling thread holds the lock for writing already.
class [[nodiscard]] RWLockGuard {
  public:
    RWLockGuard(RWLock& lock, RWLockAction action);
    ~RWLockGuard() { pthread_rwlock_unlock(&lock_.lock_); }
    RWLockGuard(const RWLockGuard&) = delete;
    RWLockGuard& operator=(const RWLockGuard&) = delete;

  private:
    RWLock& lock_;
};
