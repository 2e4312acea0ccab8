// Appenders that stand between the log and those of log4cxx which are not fit for a host.
#pragma once

#include <log4cxx/appenderskeleton.h>
#include <log4cxx/asyncappender.h>
#include <log4cxx/fileappender.h>

#include <chrono>
#include <vector>

// Unlike those it may be destroyed; each holds a pool of 8 KB.
class FrontAppender : public log4cxx::AppenderSkeleton {
  public:
    bool requiresLayout() const override { return false; }
};

// What an AsyncAppender lets through goes to the appenders behind it at once. A forked child lacks
// its thread, and finds the locks that it held; and when that thread forks, to compress a file that
// is full, it would wait for threads that wait for it. It starts with the first line, so never.
class AppenderWithoutThread : public FrontAppender {
  public:
    AppenderWithoutThread(const log4cxx::AsyncAppender& async,
                          std::vector<log4cxx::AppenderPtr> behind);
    void close() override;

  protected:
    void append(const log4cxx::spi::LoggingEventPtr& event, log4cxx::helpers::Pool& pool) override;

  private:
    const std::vector<log4cxx::AppenderPtr> behind_;
};

// On standard error, with the given layout.
class ErrorStreamAppender : public FrontAppender {
  public:
    explicit ErrorStreamAppender(const log4cxx::LayoutPtr& layout) { setLayout(layout); }
    void close() override {}

  protected:
    void append(const log4cxx::spi::LoggingEventPtr& event, log4cxx::helpers::Pool& pool) override;
};

// A file that is opened again, once in a second, where log4cxx would write no more: when it was
// full and there was, for a moment, no descriptor or no room for the next one.
class LastingFileAppender : public FrontAppender {
  public:
    explicit LastingFileAppender(log4cxx::FileAppenderPtr file);
    void close() override;

  protected:
    void append(const log4cxx::spi::LoggingEventPtr& event, log4cxx::helpers::Pool& pool) override;

  private:
    using Clock = std::chrono::steady_clock;

    bool Reopen(log4cxx::helpers::Pool& pool);

    const log4cxx::FileAppenderPtr file_;
    Clock::time_point next_attempt_ = Clock::time_point::min();
};
