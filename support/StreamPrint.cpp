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
using Milliseconds = std::chrono::milliseconds;

constexpr Milliseconds kPatience{1000};
constexpr Milliseconds kBetweenTries{1};
constexpr std::size_t kPiece = PIPE_BUF;  // a pipe with any room takes so much at once

struct StreamState {
    std::atomic<bool> is_stuck;
    std::atomic<Clock::rep> last_taken;  // when it took something of ours
};
constinit StreamState g_out{};
constinit StreamState g_error{};

// How long one text waits: from its beginning, or from when the stream took another one, for then
// its reader is only slow.
class Patience {
  public:
    explicit Patience(const StreamState& state) : state_(state) {}

    Milliseconds Left() const {
        if (is_used_up_) return Milliseconds(0);
        const Clock::time_point taken{Clock::duration(state_.last_taken)};
        const auto left = std::max(start_, taken) + kPatience - Clock::now();
        return std::max(std::chrono::ceil<Milliseconds>(left), Milliseconds(0));
    }

  private:
    const StreamState& state_;
    const Clock::time_point start_ = Clock::now();
    const bool is_used_up_ = state_.is_stuck;
};

// Another thread of the host that prints may wait for ever, and holds the stream meanwhile.
class StreamLock {
  public:
    StreamLock(std::FILE* stream, const Patience& patience) : stream_(stream) {
        while (!(is_ours_ = ::ftrylockfile(stream_) == 0) && patience.Left().count() > 0) {
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

bool HasRoom(int fd, const Patience& patience) {
    pollfd entry{fd, POLLOUT, 0};
    int ready = 0;
    do {  // signals of the host interrupt it
        ready = ::poll(&entry, 1, static_cast<int>(patience.Left().count()));
    } while (ready <= 0 && patience.Left().count() > 0);
    return ready > 0;
}

// Only a file takes any length at once.
std::size_t LongestPiece(int fd, std::size_t size) {
    struct stat status {};
    return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) ? size : kPiece;
}

bool Put(int fd, std::string_view text, const Patience& patience, StreamState* state) {
    const std::size_t piece = LongestPiece(fd, text.size());
    while (!text.empty()) {
        if (!HasRoom(fd, patience)) return false;
        const ssize_t written = ::write(fd, text.data(), std::min(text.size(), piece));
        if (written < 0 && errno != EINTR && errno != EAGAIN) return true;  // nor will it later
        if (written <= 0) continue;
        state->last_taken = Clock::now().time_since_epoch().count();
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace

void PrintOn(std::FILE* stream, std::string_view text) {
    StreamState& state = stream == stdout ? g_out : g_error;
    const Patience patience(state);
    const StreamLock lock(stream, patience);
    const int fd = ::fileno(stream);
    if (lock.IsOurs() && fd < 0) {  // the host has it print into memory, say
        std::fwrite(text.data(), 1, text.size(), stream);
        std::fflush(stream);
        return;
    }
    state.is_stuck = !lock.IsOurs() || !HasRoom(fd, patience);
    if (state.is_stuck) return;
    std::fflush(stream);
    // To the descriptor: a stream that the host uses for wide characters takes no others.
    state.is_stuck = !Put(fd, text, patience, &state);
}
