#include "LogAppenders.h"

#include <log4cxx/helpers/transcoder.h>

#include <cstdio>
#include <string>
#include <utility>

#include "StreamPrint.h"

AppenderWithoutThread::AppenderWithoutThread(const log4cxx::AsyncAppender& async,
                                             std::vector<log4cxx::AppenderPtr> behind)
    : behind_(std::move(behind)) {
    setThreshold(async.getThreshold());
    if (async.getFirstFilter()) addFilter(async.getFirstFilter());
}

void AppenderWithoutThread::close() {
    for (const log4cxx::AppenderPtr& appender : behind_) appender->close();
}

void AppenderWithoutThread::append(const log4cxx::spi::LoggingEventPtr& event,
                                   log4cxx::helpers::Pool& pool) {
    for (const log4cxx::AppenderPtr& appender : behind_) appender->doAppend(event, pool);
}

void ErrorStreamAppender::append(const log4cxx::spi::LoggingEventPtr& event,
                                 log4cxx::helpers::Pool& pool) {
    log4cxx::LogString line;
    getLayout()->format(line, event, pool);
    std::string bytes;
    log4cxx::helpers::Transcoder::encodeUTF8(line, bytes);
    PrintOn(stderr, bytes);
}

LastingFileAppender::LastingFileAppender(log4cxx::FileAppenderPtr file) : file_(std::move(file)) {}

void LastingFileAppender::close() {
    file_->close();
}

void LastingFileAppender::append(const log4cxx::spi::LoggingEventPtr& event,
                                 log4cxx::helpers::Pool& pool) {
    file_->doAppend(event, pool);
    // Without a writer the line is not written.
    if (!file_->getWriter() && Reopen(pool)) file_->doAppend(event, pool);
}

bool LastingFileAppender::Reopen(log4cxx::helpers::Pool& pool) {
    const auto now = Clock::now();
    if (now < next_attempt_) return false;
    next_attempt_ = now + std::chrono::seconds(1);
    file_->setAppend(true);  // whatever the configuration says of the first time
    file_->activateOptions(pool);
    return file_->getWriter() != nullptr;
}
