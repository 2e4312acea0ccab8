// A lock that many readers or one writer may hold.
#pragma once

#include <pthread.h>

#include <type_traits>

// With prefer_writers a waiting writer goes before readers that come later: with the other kind,
// readers that overlap one another keep a writer out for ever. The price is that a thread must not
// take the read lock twice, as a writer that waits in between blocks both for good.
// Usable before any constructor and after every destructor of static objects.
class RWLock {
  public:
    explicit constexpr RWLock(bool prefer_writers)
        : lock_(prefer_writers ? pthread_rwlock_t PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP
                               : pthread_rwlock_t PTHREAD_RWLOCK_INITIALIZER) {}
    RWLock(const RWLock&) = delete;
    RWLock& operator=(const RWLock&) = delete;

  private:
    friend class RWLockGuard;
    pthread_rwlock_t lock_;
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
