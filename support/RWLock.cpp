#include "RWLock.h"

#include <cerrno>
#include <system_error>

RWLockGuard::RWLockGuard(RWLock& lock, RWLockAction action) : lock_(lock) {
    int error;
    do {
        // EAGAIN: more readers at once than the lock can count; they will leave.
        error =
            lock_.Lock(action == kWriteLockAction ? pthread_rwlock_wrlock : pthread_rwlock_rdlock);
    } while (error == EAGAIN);
    if (error != 0) throw std::system_error(error, std::generic_category(), "RWLock");
}
