#include "StandardStreams.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <atomic>

#include "FileDescriptor.h"
#include "MutexLock.h"

namespace {

constexpr int kStreams = STDERR_FILENO + 1;
constexpr int kAttempts = 3;  // a host may close one just now

constinit std::atomic<bool> g_was_one_closed{false};

constinit MutexLock g_lock;  // guards what follows, and is never held for long
constinit int g_takers = 0;
constinit int g_taken[kStreams] = {-1, -1, -1};

bool IsClosed(int fd) {
    return ::fcntl(fd, F_GETFD) < 0;
}

// What the host has put there meanwhile, by open() or dup2(), is not.
bool IsOurs(int fd) {
    struct stat status {};
    return ::fcntl(fd, F_GETFD) == FD_CLOEXEC && ::fstat(fd, &status) == 0 &&
           S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 3);
}

void GiveBack() {
    for (int& fd : g_taken) {
        if (fd >= 0 && IsOurs(fd)) CloseDescriptor(fd);
        fd = -1;
    }
}

}  // namespace

void StandardStreams::Look() {
    for (int fd = 0; fd < kStreams; ++fd) {
        if (IsClosed(fd)) g_was_one_closed = true;
    }
}

int StandardStreams::OpenSocket(int domain, int type, int protocol) {
    int fd = -1;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        {
            const Taken taken;
            fd = ::socket(domain, type | SOCK_CLOEXEC, protocol);
        }
        if (fd < 0 || fd >= kStreams) return fd;
        g_was_one_closed = true;
        CloseDescriptor(fd);
        fd = -1;
    }
    return fd;
}

StandardStreams::Taken::Taken() : is_taking_(g_was_one_closed.load(std::memory_order_relaxed)) {
    if (!is_taking_) return;
    const MutexGuard guard(g_lock);
    ++g_takers;
    for (int fd = 0; fd < kStreams; ++fd) {
        if (g_taken[fd] < 0 && IsClosed(fd)) g_taken[fd] = OpenFile("/dev/null", O_RDWR);
    }
}

StandardStreams::Taken::~Taken() {
    if (!is_taking_) return;
    const MutexGuard guard(g_lock);
    // In the child of a fork there are none.
    if (g_takers > 0 && --g_takers == 0) GiveBack();
}

void StandardStreams::HoldStill() {
    g_lock.Lock();
}

void StandardStreams::GoOn() {
    g_lock.Unlock();
}

void StandardStreams::GoOnInChild() {
    GiveBack();
    g_takers = 0;
    g_lock.Unlock();
}
