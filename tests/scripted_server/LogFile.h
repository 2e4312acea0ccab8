// Reads the log that a test's home configures, record by record.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace scripted {

struct LogRecord {
    std::string level;  // "DEBUG", "INFO", ...
    int process = 0;
    std::string source;  // the source file's name
    int line = 0;
    std::string text;  // without the prefix; lines of one record joined by '\n'
};
std::ostream& operator<<(std::ostream& out, const LogRecord& record);

using LogRecords = std::vector<LogRecord>;

// The records in a text of lines "LEVEL PID : (FILE:LINE) TEXT"; lines of another form continue
// the record before them.
LogRecords ParseLog(std::string_view text);

// One file, of which every call of New gives what was added since the last.
class LogFile {
  public:
    explicit LogFile(std::string path) : path_(std::move(path)) {}

    LogRecords New();

  private:
    std::string path_;
    std::size_t seen_ = 0;  // bytes
};

// Whether a record of that level has exactly this text, or matches the regular expression as a
// whole. On failure the message lists all records.
::testing::AssertionResult Logged(const LogRecords& records, std::string_view level,
                                  std::string_view text);
::testing::AssertionResult LoggedLike(const LogRecords& records, std::string_view level,
                                      const std::string& pattern);
// Whether no record of that level is there.
::testing::AssertionResult NothingLogged(const LogRecords& records, std::string_view level);

}  // namespace scripted
