#include "Logger.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <memory>
#include <type_traits>
#include <utility>

#include "LogBackend.h"

constinit Logger g_logger;
static_assert(std::is_trivially_destructible_v<Logger>);

namespace {

// What a log call leaves as it found it: errno, the signals, and whether the thread can be
// cancelled. Writing is a cancellation point, and a thread that ends in the middle of a line would
// end the process. So would the signals of a pipe without a reader and of a file at its limit, but
// for a host that handles them: they stay away, and the line is lost.
class CallerState {
  public:
    CallerState() : errno_(errno) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state_);
        sigemptyset(&raised_);
        sigaddset(&raised_, SIGPIPE);
        sigaddset(&raised_, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &raised_, &mask_);
        // What the host has blocked itself is its own, and may be pending already.
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            if (sigismember(&mask_, signal) == 1) sigdelset(&raised_, signal);
        }
    }
    ~CallerState() {
        constexpr std::timespec kNow{};
        while (sigtimedwait(&raised_, nullptr, &kNow) > 0 || errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        pthread_setcancelstate(cancel_state_, nullptr);
        errno = errno_;
    }
    CallerState(const CallerState&) = delete;
    CallerState& operator=(const CallerState&) = delete;

  private:
    const int errno_;
    int cancel_state_ = PTHREAD_CANCEL_ENABLE;
    sigset_t raised_;  // the signals that are blocked here alone
    sigset_t mask_;
};

const char* BaseName(const char* path) {
    const char* const slash = std::strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

__attribute__((format(printf, 2, 0))) void AppendFormatted(std::string* line, const char* format,
                                                           va_list args) {
    char start[512];
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(start, sizeof start, format, args);
    if (length < 0) {  // above INT_MAX bytes, or wide text that cannot be converted
        line->append(format);
    } else if (static_cast<std::size_t>(length) < sizeof start) {
        line->append(start, static_cast<std::size_t>(length));
    } else {
        const std::size_t former = line->size();
        line->resize(former + static_cast<std::size_t>(length));
        std::vsnprintf(line->data() + former, static_cast<std::size_t>(length) + 1, format, again);
    }
    va_end(again);
}

__attribute__((format(printf, 3, 0))) std::string FormatLine(const char* file, int line_number,
                                                             const char* format, va_list args) {
    std::string line = std::to_string(getpid());
    line.append(" : (").append(BaseName(file)).append(":");
    line.append(std::to_string(line_number)).append(") ");
    AppendFormatted(&line, format, args);
    return line;
}

// Through the stream, so that the line keeps its place among what the host itself prints.
void PrintLine(std::string line) {
    line.push_back('\n');
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
}

}  // namespace

bool Logger::Init(const char* configuration_file, const char* logger_name) noexcept {
    const CallerState caller;
    // Held while the file is read: were the former log file still written while the new
    // configuration opens it anew, lines would overwrite one another.
    const RWLockGuard guard(backend_lock_, kWriteLockAction);
    if (is_closed_) return false;
    std::unique_ptr<LogBackend> fresh = LogBackend::Load(configuration_file, logger_name);
    // Whenever log4cxx may have built static objects: what is registered after them runs before
    // they are destroyed.
    if (!std::exchange(was_tried_, true) || (fresh && !backend_)) std::atexit(CloseAtExit);
    if (!fresh) return false;
    if (backend_) backend_->Close();
    fresh->Keep(backend_);
    backend_ = fresh.release();
    threshold_.store(backend_->Threshold(), std::memory_order_relaxed);
    return true;
}

void Logger::CloseAtExit() {
    const CallerState caller;
    const RWLockGuard guard(g_logger.backend_lock_, kWriteLockAction);
    if (g_logger.backend_ && !g_logger.is_closed_) g_logger.backend_->Close();
    g_logger.is_closed_ = true;
}

void Logger::Write(LogLevel level, const char* file, int line, const char* format, ...) noexcept {
    if (!IsEnabled(level)) return;
    const CallerState caller;
    va_list args;
    va_start(args, format);
    try {
        HandOn(level, FormatLine(file, line, format, args));
    } catch (const std::exception& error) {  // out of memory: the message is lost
        std::fprintf(stderr, "orvx: logging: %s\n", error.what());
    }
    va_end(args);
}

void Logger::HandOn(LogLevel level, std::string line) {
    {
        const RWLockGuard guard(backend_lock_, kReadLockAction);
        if (backend_ && !is_closed_) return backend_->Append(level, line);
    }
    PrintLine(std::move(line));
}
