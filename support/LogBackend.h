// One log4cxx configuration in use. Private to the logger.
//
// The idea: each configuration is a log4cxx hierarchy of its own, built aside and used only when it
// is good. log4cxx's process-wide default hierarchy, the usual way, was rejected: a second start
// that fails would leave it half changed, its getLogger silently loads a file from the current
// folder when nothing is configured yet, and it belongs to the host, which may use log4cxx too.
#pragma once

#include <log4cxx/hierarchy.h>
#include <log4cxx/logger.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <memory>
#include <string>

#include "Logger.h"

// Never destroyed, only closed, whether it was in use or refused: log4cxx 1.0 deletes the policies
// of a rolling appender as objects of the wrong size, which a checking allocator takes for a fatal
// error.
class LogBackend {
  public:
    // Null, with the reason on standard error, if log4cxx does not accept the file or no appender
    // would get the messages of `logger_name`. Never throws. One thread at a time.
    static std::unique_ptr<LogBackend> Load(const char* path, const char* logger_name) noexcept;

    LogBackend(const LogBackend&) = delete;
    LogBackend& operator=(const LogBackend&) = delete;

    // The lowest LogLevel that is written, or the number above the highest one if none is.
    int Threshold() const;

    // Writes the line if its level is enabled. Any thread. Never throws: a line that cannot be
    // written, say because the disk is full, is lost.
    void Append(LogLevel level, const std::string& line) noexcept;

    // Closes the log files. No Append may come after it.
    void Close() noexcept;
    // Keeps an older configuration, closed, for as long as this one.
    void Keep(LogBackend* former) { former_ = former; }

  private:
    LogBackend(log4cxx::HierarchyPtr hierarchy, const char* logger_name);
    static std::unique_ptr<LogBackend> Configure(const char* path, const char* logger_name);
    bool HasAppender() const;
    // Lets standard error take the place of log files that could not be opened, appenders without a
    // thread that of those that would have one, and lasting ones that of all other log files; gives
    // those without a layout the usual one.
    void ReplaceUnfitAppenders();
    log4cxx::AppenderPtr FitAppender(const log4cxx::AppenderPtr& appender);
    log4cxx::AppenderPtr MakeFit(const log4cxx::AppenderPtr& appender);

    const pid_t owner_ = getpid();  // the process that it was made in
    const log4cxx::HierarchyPtr hierarchy_;
    const log4cxx::LoggerPtr logger_;
    const log4cxx::LevelPtr levels_[4];  // log4cxx's level of each LogLevel
    // What takes the place of each appender, perhaps nothing; the former are kept, as said above.
    std::map<log4cxx::AppenderPtr, log4cxx::AppenderPtr> fits_;
    LogBackend* former_ = nullptr;
    std::atomic_flag has_complained_;  // of a line that could not be written
};
