// The process's log. Every message goes through g_logger, by one of the ORVX_LOG_ macros below.
//
// A line is "PID : (FILE:LINE) MESSAGE". Until Init has succeeded once it is printed to standard
// output, whatever its level; from then on it goes to log4cxx if its level is enabled there. Each
// message is one line handed on in one piece, of any length. Its bytes are passed on as they are:
// the caller's encoding is neither checked nor converted.
//
// No log4cxx header is included here, so that only the logger's own source depends on the back end.
#pragma once

#include <atomic>
#include <string>

#include "RWLock.h"

class LogBackend;

enum LogLevel { kLogDebug, kLogInfo, kLogWarning, kLogError };

// There is one Logger, g_logger. Its members may be called by any thread at any time, also from
// constructors and destructors of static objects, and none throws. It has no destructor: exit
// closes the log files, and what is written after that goes to standard output.
class Logger {
  public:
    constexpr Logger() = default;
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // Reads a log4cxx XML file and, if log4cxx accepts it, sends all later messages to the log4cxx
    // logger `logger_name` of that file. May be called again: on success the new configuration
    // replaces the former one, on failure the former one (or standard output) stays in use.
    // False if the file is missing, empty, no regular file or no log4cxx configuration.
    bool Init(const char* configuration_file, const char* logger_name) noexcept;

    bool IsStarted() const noexcept { return Threshold() != kNotStarted; }
    // Whether Write passes on a message of this level; always true before the start.
    bool IsEnabled(LogLevel level) const noexcept { return level >= Threshold(); }
    // Whether the logger is started and writes messages of the debug level.
    bool IsTracing() const noexcept { return Threshold() == kLogDebug; }

    // Formats and writes one message, if its level is enabled. `format` and what follows are
    // printf's; only the base name of `file` appears in the line. errno is left as it was.
    void Write(LogLevel level, const char* file, int line, const char* format, ...) noexcept
        __attribute__((format(printf, 5, 6)));

    // Whether this thread is within the log, which forks by itself to compress a file that is full.
    static bool IsAtWorkHere() noexcept { return is_at_work_here_; }

    // Around any other fork: no line is being written in between.
    void HoldStill() noexcept { backend_lock_.LockForWriting(); }
    void GoOn() noexcept { backend_lock_.Unlock(); }
    void GoOnInChild() noexcept { backend_lock_.Renew(); }

  private:
    class Work;

    static constexpr int kNotStarted = -1;

    int Threshold() const noexcept { return threshold_.load(std::memory_order_relaxed); }
    void HandOn(LogLevel level, std::string line);
    static void CloseAtExit();

    static thread_local bool is_at_work_here_;

    // The lowest level that log4cxx writes, as it was at Init, or kNotStarted. A copy, so that a
    // message that is not wanted costs one load and one comparison.
    std::atomic<int> threshold_{kNotStarted};

    RWLock backend_lock_{true};  // read: writing a message; write: changing what stands below
    LogBackend* backend_ = nullptr;
    bool was_tried_ = false;  // Init ran
    bool is_closed_ = false;  // the process ends, and log4cxx with it
};

extern Logger g_logger;

#define ORVX_LOG_AT(level, ...)                                       \
    do {                                                              \
        if (g_logger.IsEnabled(level)) {                              \
            g_logger.Write((level), __FILE__, __LINE__, __VA_ARGS__); \
        }                                                             \
    } while (false)

// printf's arguments. They are evaluated only if the level is enabled.
#define ORVX_LOG_DEBUG(...) ORVX_LOG_AT(kLogDebug, __VA_ARGS__)
#define ORVX_LOG_INFO(...) ORVX_LOG_AT(kLogInfo, __VA_ARGS__)
#define ORVX_LOG_WARNING(...) ORVX_LOG_AT(kLogWarning, __VA_ARGS__)
#define ORVX_LOG_ERROR(...) ORVX_LOG_AT(kLogError, __VA_ARGS__)
