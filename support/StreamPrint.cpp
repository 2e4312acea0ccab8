#include "StreamPrint.h"

#include <limits.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPatience{1000};
constexpr std::chrono::milliseconds kBetweenTries{1};
constexpr std::size_t kPiece = PIPE_BUF;  // a pipe with any room takes so much at once

constinit std::atomic<bool> g_is_stuck[] = {false, false};  // standard output, standard error

// Another thread of the host that prints may wait for ever, and holds the stream meanwhile.
class StreamLock {
  public:
    StreamLock(std::FILE* stream, Clock::time_point deadline) : stream_(stream) {
        while (!(is_ours_ = ::ftrylockfile(stream_) == 0) && Clock::now() < deadline) {
            std::this_thread::sleep_for(kBetweenTries);
        }
    }
    ~StreamLock() {
        if (is_ours_) ::funlockfile(stream_);
    }
    StreamLock(const StreamLock&) = delete;
    StreamLock& operator=(const StreamLock&) = delete;

    bool IsOurs() const { return is_ours_; }

  private:
    std::FILE* const stream_;
    bool is_ours_ = false;
};

bool HasRoom(int fd, Clock::time_point deadline) {
    pollfd entry{fd, POLLOUT, 0};
    int ready = 0;
    do {  // signals of the host interrupt it
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        ready = ::poll(&entry, 1, static_cast<int>(std::max<decltype(left)>(left, 0)));
    } while (ready < 0 && errno == EINTR && Clock::now() < deadline);
    return ready > 0;
}

// Only a file takes any length at once.
std::size_t LongestPiece(int fd, std::size_t size) {
    struct stat status {};
    return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) ? size : kPiece;
}

bool Put(int fd, std::string_view text, Clock::time_point deadline) {
    const std::size_t piece = LongestPiece(fd, text.size());
    while (!text.empty()) {
        if (!HasRoom(fd, deadline)) return false;
        const ssize_t written = ::write(fd, text.data(), std::min(text.size(), piece));
        if (written < 0 && errno != EINTR && errno != EAGAIN) return true;  // nor will it later
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    return true;
}

}  // namespace

void PrintOn(std::FILE* stream, std::string_view text) {
    std::atomic<bool>& is_stuck = g_is_stuck[stream == stdout ? 0 : 1];
    const auto deadline = Clock::now() + (is_stuck ? std::chrono::milliseconds(0) : kPatience);
    const StreamLock lock(stream, deadline);
    const int fd = ::fileno(stream);
    if (lock.IsOurs() && fd < 0) {  // the host prints into its own memory
        std::fwrite(text.data(), 1, text.size(), stream);
        return;
    }
    is_stuck = !lock.IsOurs() || !HasRoom(fd, deadline);
    if (is_stuck) return;
    std::fflush(stream);
    // To the descriptor: a stream that the host uses for wide characters takes no others.
    is_stuck = !Put(fd, text, deadline);
}
