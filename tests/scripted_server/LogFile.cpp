#include "LogFile.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>

#include "Pattern.h"

namespace scripted {
namespace {

std::string List(const LogRecords& records) {
    std::ostringstream out;
    for (const LogRecord& record : records) {
        out << "\n  " << record;
    }
    return out.str();
}

::testing::AssertionResult AnyOf(const LogRecords& records, std::string_view level,
                                 const std::string& wanted,
                                 const std::function<bool(const std::string&)>& fits) {
    const bool found = std::any_of(records.begin(), records.end(), [&](const LogRecord& record) {
        return record.level == level && fits(record.text);
    });
    if (found) {
        return ::testing::AssertionSuccess() << "logged at " << level << ": " << wanted;
    }
    return ::testing::AssertionFailure()
           << "not logged at " << level << ": " << wanted << "\nrecords:" << List(records);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const LogRecord& record) {
    return out << record.level << " (" << record.source << ":" << record.line << ") "
               << record.text;
}

LogRecords ParseLog(std::string_view text) {
    LogRecords records;
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        char level[16];
        char source[256];
        LogRecord record;
        int prefix_bytes = 0;
        std::sscanf(line.c_str(), "%15[A-Z] %d : (%255[^:]:%d)%n", level, &record.process, source,
                    &record.line, &prefix_bytes);
        // One blank ends the prefix; more of them belong to the text.
        if (prefix_bytes > 0 && line[static_cast<std::size_t>(prefix_bytes)] == ' ') {
            record.level = level;
            record.source = source;
            record.text = line.substr(static_cast<std::size_t>(prefix_bytes) + 1);
            records.push_back(record);
        } else if (!records.empty()) {
            records.back().text += '\n' + line;
        }
    }
    return records;
}

LogRecords LogFile::New() {
    std::ifstream file(path_, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(seen_));
    std::ostringstream text;
    text << file.rdbuf();
    seen_ += text.str().size();
    return ParseLog(text.str());
}

::testing::AssertionResult Logged(const LogRecords& records, std::string_view level,
                                  std::string_view text) {
    return AnyOf(records, level, std::string(text),
                 [&](const std::string& candidate) { return candidate == text; });
}

::testing::AssertionResult LoggedLike(const LogRecords& records, std::string_view level,
                                      const std::string& pattern) {
    return AnyOf(records, level, pattern, [&](const std::string& candidate) {
        return !MatchWhole(candidate, pattern).empty();
    });
}

::testing::AssertionResult NothingLogged(const LogRecords& records, std::string_view level) {
    for (const LogRecord& record : records) {
        if (record.level == level) {
            return ::testing::AssertionFailure() << "logged: " << record;
        }
    }
    return ::testing::AssertionSuccess();
}

}  // namespace scripted
