#include "Logger.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <type_traits>
#include <utility>

#include "CallerState.h"
#include "LogBackend.h"
#include "StreamPrint.h"

constinit Logger g_logger;
static_assert(std::is_trivially_destructible_v<Logger>);

constinit thread_local bool Logger::is_at_work_here_ = false;

// Holds the lock over the back end.
class Logger::Work {
  public:
    explicit Work(RWLockAction action) : guard_(g_logger.backend_lock_, action) {
        is_at_work_here_ = true;
    }
    ~Work() { is_at_work_here_ = false; }
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;

  private:
    const RWLockGuard guard_;
};

namespace {

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

}  // namespace

bool Logger::Init(const char* configuration_file, const char* logger_name) noexcept {
    const CallerState caller;
    // Held while the file is read: were the former log file still written while the new
    // configuration opens it anew, lines would overwrite one another.
    const Work work(kWriteLockAction);
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
    if (is_at_work_here_) return;  // a child of the log's own that found no program to run
    const CallerState caller;
    const Work work(kWriteLockAction);
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
        char text[128];
        std::snprintf(text, sizeof text, "orvx: logging: %s\n", error.what());
        PrintOn(stderr, text);
    }
    va_end(args);
}

void Logger::HandOn(LogLevel level, std::string line) {
    {
        const Work work(kReadLockAction);
        if (backend_ && !is_closed_) return backend_->Append(level, line);
    }
    line.push_back('\n');
    PrintOn(stdout, line);
}
