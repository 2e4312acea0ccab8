#include "StreamPrint.h"

#include <limits.h>
#include <poll.h>

#include <algorithm>
#include <atomic>

namespace {

constexpr int kPatienceMs = 1000;
constexpr std::size_t kPiece = PIPE_BUF;  // a pipe with any room takes so much at once

constinit std::atomic<bool> g_is_stuck[] = {false, false};  // standard output, standard error

class StreamLock {
  public:
    explicit StreamLock(std::FILE* stream) : stream_(stream) { ::flockfile(stream_); }
    ~StreamLock() { ::funlockfile(stream_); }
    StreamLock(const StreamLock&) = delete;
    StreamLock& operator=(const StreamLock&) = delete;

  private:
    std::FILE* const stream_;
};

bool HasRoom(std::FILE* stream) {
    const int fd = ::fileno(stream);
    if (fd < 0) return true;  // none that could be waited for
    std::atomic<bool>& is_stuck = g_is_stuck[stream == stdout ? 0 : 1];
    pollfd entry{fd, POLLOUT, 0};
    int ready = ::poll(&entry, 1, is_stuck ? 0 : kPatienceMs);
    if (ready < 0) ready = ::poll(&entry, 1, 0);  // a signal came
    is_stuck = ready == 0;
    return ready != 0;
}

}  // namespace

void PrintOn(std::FILE* stream, std::string_view text) {
    const StreamLock lock(stream);
    while (!text.empty() && HasRoom(stream)) {
        const std::size_t count = std::min(text.size(), kPiece);
        std::fwrite(text.data(), 1, count, stream);
        std::fflush(stream);
        text.remove_prefix(count);
    }
}
