// A mutual-exclusion lock that may be a static object.
#pragma once

#include <mutex>
#include <type_traits>

// Not recursive. Usable before any constructor and after every destructor of static objects.
class MutexLock {
  public:
    constexpr MutexLock() = default;
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    // For the two ends of a fork alone, which no guard can span.
    void Lock() { mutex_.lock(); }
    void Unlock() { mutex_.unlock(); }

  private:
    friend class MutexGuard;
    std::mutex mutex_;
};

static_assert(std::is_trivially_destructible_v<MutexLock>);

// Holds the lock from construction to destruction.
class [[nodiscard]] MutexGuard {
  public:
    explicit MutexGuard(MutexLock& lock) : guard_(lock.mutex_) {}
    MutexGuard(const MutexGuard&) = delete;
    MutexGuard& operator=(const MutexGuard&) = delete;

  private:
    std::lock_guard<std::mutex> guard_;
};
