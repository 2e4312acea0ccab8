#include "Console.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <new>

#include "Interruption.h"
#include "PlainText.h"

namespace recognize {

namespace {

using std::chrono::steady_clock;

constexpr auto kBarDelay = std::chrono::seconds(1);
constexpr auto kBarInterval = std::chrono::milliseconds(100);
constexpr int kBarCells = 30;

UniqueFd Duplicate(int fd) {
    return UniqueFd(::fcntl(fd, F_DUPFD_CLOEXEC, 3));
}

void PointAtNothing(int fd) {
    const UniqueFd nothing(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    ::dup2(nothing.Get(), fd);
}

// 0, or the errno of the write that failed.
int WriteAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(fd, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {  // whoever shares the stream made it non-blocking
            pollfd entry = {fd, POLLOUT, 0};
            ::poll(&entry, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

}  // namespace

void OccupyStandardStreams() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(fd, F_GETFD) >= 0) continue;
        ::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

Console::Console(bool verbose)
    : verbose_(verbose),
      has_terminal_(::isatty(STDERR_FILENO) == 1),
      start_(steady_clock::now()),
      results_(Duplicate(STDOUT_FILENO)) {
    if (verbose) {
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
        std::setvbuf(stdout, nullptr, _IOLBF, 0);  // lines of the engine at their time, and whole
    } else {
        PointAtNothing(STDOUT_FILENO);
    }
}

void Console::WriteResult(std::string_view text) {
    const std::lock_guard lock(mutex_);
    if (results_lost_ || text.empty()) {
        return;
    }
    EraseBar();
    const int error = WriteAll(results_.Get(), text);
    if (error != 0) {
        results_lost_ = true;
        RequestInterruption();
        // A reader such as head ends on purpose and needs no message.
        if (error != EPIPE) {
            char line[128];
            std::snprintf(line, sizeof line, "orvx-recognize: cannot write the results: %s\n",
                          std::strerror(error));
            WriteAll(STDERR_FILENO, line);
        }
    }
}

void Console::Message(std::string_view text) {
    const std::lock_guard lock(mutex_);
    EraseBar();
    try {
        WriteAll(STDERR_FILENO, "orvx-recognize: " + PlainText(text) + "\n");
    } catch (const std::bad_alloc&) {  // another file's thread may be the one that writes it
        WriteAll(STDERR_FILENO, "orvx-recognize: a message takes more memory than there is\n");
    }
}

void Console::ShowProgress(double fraction, const char* text) {
    const std::lock_guard lock(mutex_);
    const auto now = steady_clock::now();
    if (!has_terminal_ || now - start_ < kBarDelay || now - last_drawn_ < kBarInterval) {
        return;
    }
    const double shown = std::clamp(fraction, 0.0, 1.0);
    char bar[kBarCells + 1] = {};
    std::fill_n(bar, kBarCells, '.');
    std::fill_n(bar, static_cast<std::size_t>(shown * kBarCells), '#');
    char line[160];  // on no heap: where memory is short, the work goes on all the same
    std::snprintf(line, sizeof line, "\r\033[K[%s] %3d %%  %s", bar, static_cast<int>(shown * 100),
                  text);
    WriteAll(STDERR_FILENO, line);
    bar_shown_ = true;
    last_drawn_ = now;
}

void Console::EndProgress() {
    const std::lock_guard lock(mutex_);
    EraseBar();
}

void Console::EraseBar() {
    if (bar_shown_) {
        WriteAll(STDERR_FILENO, "\r\033[K");
        bar_shown_ = false;
    }
}

QuietStandardError::QuietStandardError(bool verbose) {
    if (!verbose) {
        saved_ = Duplicate(STDERR_FILENO);
        PointAtNothing(STDERR_FILENO);
    }
}

QuietStandardError::~QuietStandardError() {
    // What the engine left in the buffers of its streams belongs to the silence too.
    std::fflush(nullptr);
    std::cout.flush();
    if (saved_) {
        ::dup2(saved_.Get(), STDERR_FILENO);
    }
}

}  // namespace recognize
