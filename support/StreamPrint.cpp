#include "StreamPrint.h"

#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

constexpr Milliseconds kPatience{1000};
constexpr Milliseconds kBetweenTries{1};
constexpr std::size_t kPiece = PIPE_BUF;  // a pipe with any room takes so much at once

struct StreamState {
    // Of the texts, one by one; they wait for it in the kernel, where hundreds do not mind.
    std::timed_mutex turn;
    std::atomic<bool> is_stuck;          // since a text waited in vain, until it takes one
    std::atomic<Clock::rep> last_taken;  // when it took something of ours

    void Took() {
        last_taken = Clock::now().time_since_epoch().count();
        is_stuck = false;
    }
};
static_assert(std::is_trivially_destructible_v<StreamState>);
constinit StreamState g_out{};
constinit StreamState g_error{};

// How long one text waits: from its beginning, or from when the stream took another one, for then
// its reader is only slow; and not at all for a stream that is stuck.
class Patience {
  public:
    explicit Patience(const StreamState& state) : state_(state) {}

    Clock::time_point End() const {
        if (state_.is_stuck) return start_;
        const Clock::time_point taken{Clock::duration(state_.last_taken)};
        return std::max(start_, taken) + kPatience;
    }
    Milliseconds Left() const {
        const auto left = std::chrono::ceil<Milliseconds>(End() - Clock::now());
        return std::max(left, Milliseconds(0));
    }
    bool HasBeenLong() const { return Clock::now() - start_ >= kPatience; }

  private:
    const StreamState& state_;
    const Clock::time_point start_ = Clock::now();
};

// The turn, and the stream's own lock. Another thread of the host that prints may wait for ever,
// and holds the latter meanwhile; who tries it again gives way to the others first, one of which
// may hold it already.
class StreamLock {
  public:
    StreamLock(std::FILE* stream, StreamState* state, const Patience& patience)
        : stream_(stream), turn_(state->turn, std::defer_lock) {
        while (!TryUntil(patience.End()) && patience.Left().count() > 0) {
            std::this_thread::sleep_for(kBetweenTries);
        }
    }
    ~StreamLock() {
        if (IsOurs()) ::funlockfile(stream_);
    }
    StreamLock(const StreamLock&) = delete;
    StreamLock& operator=(const StreamLock&) = delete;

    bool IsOurs() const { return turn_.owns_lock(); }

  private:
    bool TakeTurnUntil(Clock::time_point end) {
#if defined(__SANITIZE_THREAD__)  // it does not see a lock that is waited for by this clock
        return turn_.try_lock_until(std::chrono::system_clock::now() + (end - Clock::now()));
#else
        return turn_.try_lock_until(end);
#endif
    }
    bool TryUntil(Clock::time_point end) {
        if (!TakeTurnUntil(end)) return false;
        if (::ftrylockfile(stream_) == 0) return true;
        turn_.unlock();
        return false;
    }

    std::FILE* const stream_;
    std::unique_lock<std::timed_mutex> turn_;
};

mode_t KindOf(int fd) {
    struct stat status {};
    return ::fstat(fd, &status) == 0 ? status.st_mode & S_IFMT : 0;
}

bool HasRoom(int fd, mode_t kind, const Patience& patience) {
    if (kind == S_IFREG) return true;
    pollfd entry{fd, POLLOUT, 0};
    int ready = 0;
    do {  // signals of the host interrupt it
        ready = ::poll(&entry, 1, static_cast<int>(patience.Left().count()));
    } while (ready <= 0 && patience.Left().count() > 0);
    return ready > 0;
}

// A socket that has some room waits for the rest.
ssize_t WriteAtOnce(int fd, mode_t kind, std::string_view text) {
    if (kind == S_IFSOCK) return ::send(fd, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    return ::write(fd, text.data(), text.size());
}

bool Put(int fd, mode_t kind, std::string_view text, const Patience& patience, StreamState* state) {
    const std::size_t piece = kind == S_IFREG ? text.size() : kPiece;  // a file takes any length
    while (!text.empty()) {
        if (!HasRoom(fd, kind, patience)) return false;
        const ssize_t written = WriteAtOnce(fd, kind, text.substr(0, piece));
        if (written < 0 && errno == EAGAIN) {  // less than poll() thought, and perhaps none
            if (patience.Left().count() == 0) return false;
            std::this_thread::sleep_for(kBetweenTries);
        } else if (written < 0 && errno != EINTR) {
            return true;  // nor will it later
        } else if (written > 0) {
            state->Took();
            text.remove_prefix(static_cast<std::size_t>(written));
        }
    }
    return true;
}

}  // namespace

void PrintOn(std::FILE* stream, std::string_view text) {
    StreamState& state = stream == stdout ? g_out : g_error;
    const Patience patience(state);
    const StreamLock lock(stream, &state, patience);
    if (!lock.IsOurs()) {
        // Of a stream that was stuck already another thread may know better by now.
        if (patience.HasBeenLong()) state.is_stuck = true;
        return;
    }
    const int fd = ::fileno(stream);
    if (fd < 0) {  // the host has it print into memory, say
        std::fwrite(text.data(), 1, text.size(), stream);
        std::fflush(stream);
        state.Took();
        return;
    }
    const mode_t kind = KindOf(fd);
    if (!HasRoom(fd, kind, patience)) {
        state.is_stuck = true;
        return;
    }
    std::fflush(stream);
    // To the descriptor: a stream that the host uses for wide characters takes no others.
    if (!Put(fd, kind, text, patience, &state)) state.is_stuck = true;
}

bool HasRoomNow(std::FILE* stream) {
    pollfd entry{::fileno(stream), POLLOUT, 0};
    return entry.fd < 0 || ::poll(&entry, 1, 0) != 0;
}

void GoOnPrintingInChild() {
    for (StreamState* const state : {&g_out, &g_error}) std::construct_at(&state->turn);
}
