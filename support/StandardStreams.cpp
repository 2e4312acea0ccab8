#include "StandardStreams.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>

#include "FileDescriptor.h"
#include "MutexLock.h"

namespace {

constexpr int kStreams = STDERR_FILENO + 1;
constexpr std::int64_t kLookInterval = 100'000'000;  // nanoseconds

constinit std::atomic<bool> g_was_one_closed{false};
constinit std::atomic<std::int64_t> g_next_look{0};  // nanoseconds of the monotonic clock

constinit MutexLock g_lock;  // guards what follows, and is never held for long
constinit int g_takers = 0;
constinit int g_taken[kStreams] = {-1, -1, -1};

// For where the places are not taken: the host has closed a stream just now.
int AboveStreams(int fd) {
    if (fd < 0 || fd >= kStreams) return fd;
    g_was_one_closed = true;
    const int moved = ::fcntl(fd, F_DUPFD_CLOEXEC, kStreams);
    CloseDescriptor(fd);
    return moved;
}

bool IsClosed(int fd) {
    return ::fcntl(fd, F_GETFD) < 0;
}

bool WasOneClosed() {
    if (g_was_one_closed.load(std::memory_order_relaxed)) return true;
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    const std::int64_t time = now.tv_sec * std::int64_t{1'000'000'000} + now.tv_nsec;
    if (time < g_next_look.load(std::memory_order_relaxed)) return false;
    g_next_look.store(time + kLookInterval, std::memory_order_relaxed);
    for (int fd = 0; fd < kStreams; ++fd) {
        if (IsClosed(fd)) g_was_one_closed = true;
    }
    return g_was_one_closed;
}

// With something that is nowhere missing, and whose reading and writing fails as on a closed
// number. It gets the lowest number that is free, which may be another than the one seen closed.
void TakePlace() {
    const int fd = ::open("/", O_PATH | O_CLOEXEC);
    if (fd < kStreams) {
        if (fd >= 0) g_taken[fd] = fd;
    } else {
        CloseDescriptor(fd);
    }
}

// What the host has put there meanwhile, by open() or dup2(), is not.
bool IsOurs(int fd) {
    return ::fcntl(fd, F_GETFD) == FD_CLOEXEC && (::fcntl(fd, F_GETFL) & O_PATH) != 0;
}

void GiveBack() {
    for (int& fd : g_taken) {
        if (fd >= 0 && IsOurs(fd)) CloseDescriptor(fd);
        fd = -1;
    }
}

}  // namespace

void StandardStreams::LookAgain() {
    g_next_look.store(0, std::memory_order_relaxed);
}

int StandardStreams::OpenSocket(int domain, int type, int protocol) {
    const Taken taken;
    return AboveStreams(::socket(domain, type | SOCK_CLOEXEC, protocol));
}

int StandardStreams::OpenFile(const char* path, int flags) {
    const CancellationOff off;  // in open() a cancelled thread would lose the number
    const Taken taken;
    int fd;
    do {
        fd = ::open(path, flags | O_CLOEXEC, 0666);
    } while (fd < 0 && errno == EINTR);
    return AboveStreams(fd);
}

StandardStreams::Taken::Taken() : is_taking_(WasOneClosed()) {
    if (!is_taking_) return;
    const CancellationOff off;  // who is counted must give the places back
    const MutexGuard guard(g_lock);
    ++g_takers;
    for (int fd = 0; fd < kStreams; ++fd) {
        if (IsClosed(fd)) TakePlace();
    }
}

StandardStreams::Taken::~Taken() {
    if (!is_taking_) return;
    const int error = errno;  // of what was opened
    {
        const MutexGuard guard(g_lock);
        // In the child of a fork there are none.
        if (g_takers > 0 && --g_takers == 0) GiveBack();
    }
    errno = error;
}

void StandardStreams::HoldStill() {
    g_lock.Lock();
}

void StandardStreams::GoOn() {
    g_lock.Unlock();
}

void StandardStreams::GoOnInChild() {
    LookAgain();
    GiveBack();
    g_takers = 0;
    g_lock.Unlock();
}
