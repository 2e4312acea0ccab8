#include "EngineLog.h"

#include <fcntl.h>
#include <ftw.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string_view>
#include <utility>

#include "TemporaryFolder.h"

namespace recognize {

namespace {

// Every line begins with the thread that wrote it, as log4cxx names threads: the address of its
// descriptor.
constexpr char kConfiguration[] = R"(<?xml version="1.0" encoding="UTF-8" ?>
<log4j:configuration xmlns:log4j="http://jakarta.apache.org/log4j/">
  <appender name="file" class="org.apache.log4j.FileAppender">
    <param name="File" value="${QUORLAN_HOME}/log"/>
    <param name="Encoding" value="UTF-8"/>
    <layout class="org.apache.log4j.PatternLayout">
      <param name="ConversionPattern" value="%t %m%n"/>
    </layout>
  </appender>
  <root>
    <level value="error"/>
    <appender-ref ref="file"/>
  </root>
</log4j:configuration>
)";

// What stands around the server's words: that it cannot recognise, or grants no access.
struct Marks {
    std::string_view before;
    std::string_view behind_code;
    std::string_view end;
};
constexpr Marks kMarks[] = {{" Server response error ", ", ", ""},
                            {" Server response:", ":[", "]"}};

std::optional<std::string_view> WordsIn(std::string_view message) {
    for (const Marks& marks : kMarks) {
        const std::size_t found = message.find(marks.before);
        if (found == message.npos) {
            continue;
        }
        const std::size_t code = found + marks.before.size();
        const std::size_t code_end =
            std::min(message.find(marks.behind_code, code), message.size());
        message.remove_prefix(std::min(code_end + marks.behind_code.size(), message.size()));
        if (message.ends_with(marks.end)) {
            message.remove_suffix(marks.end.size());
        }
        return message;
    }
    return std::nullopt;
}

// Where the line ends that begins there: the server's words may have lines, too.
std::size_t EndOfLine(std::string_view text, std::size_t begin) {
    constexpr std::size_t kLeastDigits = 8;  // of a thread's address
    for (std::size_t end = begin; (end = text.find("\n0x", end)) != text.npos; ++end) {
        const std::size_t behind = text.find_first_not_of("0123456789abcdef", end + 3);
        if (behind >= end + 3 + kLeastDigits && behind < text.size() && text[behind] == ' ') {
            return end;
        }
    }
    return text.size() - 1;
}

std::string ThisThread() {
    char text[32];
    std::snprintf(text, sizeof text, "0x%lx ", static_cast<unsigned long>(::pthread_self()));
    return text;
}

// What was written behind `*position`, which moves to the end.
std::string ReadOn(int fd, off_t* position) {
    std::string text;
    char block[4096];
    for (ssize_t count = 0; (count = ::pread(fd, block, sizeof block, *position)) > 0;) {
        text.append(block, static_cast<std::size_t>(count));
        *position += count;
    }
    return text;
}

int RemoveEntry(const char* path, const struct stat*, int, FTW*) {
    ::remove(path);
    return 0;
}

}  // namespace

EngineLog::EngineLog(const std::optional<std::filesystem::path>& home) {
    if (!home) {
        return;
    }
    try {
        MakeHome(*home);
    } catch (const std::exception&) {  // no space, no memory
    }
    ::setenv("QUORLAN_HOME", log_ ? folder_.c_str() : home->c_str(), 1);
}

EngineLog::~EngineLog() {
    if (!folder_.empty()) {
        ::nftw(folder_.c_str(), RemoveEntry, 1, FTW_DEPTH | FTW_PHYS);  // which throws nothing
    }
}

void EngineLog::MakeHome(const std::filesystem::path& home) {
    std::string name = TemporaryFolder() / "orvx-recognize-XXXXXX";
    const bool is_pattern = name.find("${") != name.npos;  // to log4cxx, of another name
    if (is_pattern || ::mkdtemp(name.data()) == nullptr) {
        return;
    }
    folder_ = std::move(name);  // which takes no memory: from here on it is removed
    const std::filesystem::path folder = folder_;
    std::filesystem::create_directory(folder / "conf");
    std::filesystem::copy(home / "conf" / "Lexo_SDK.conf", folder / "conf");
    std::ofstream configuration(folder / "conf" / "Lexo_SDK_log.xml");
    configuration << kConfiguration;
    if (configuration.flush()) {
        log_ = UniqueFd(
            ::open((folder / "log").c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
    }
}

std::optional<std::string> EngineLog::ServerWords() const {
    thread_local off_t position = 0;
    if (!log_) {
        return std::nullopt;
    }
    const std::string text = ReadOn(log_.Get(), &position);
    const std::string thread = ThisThread();
    std::optional<std::string> words;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = EndOfLine(text, begin);
        const std::string_view message = std::string_view(text).substr(begin, end - begin);
        begin = end + 1;
        const auto found = message.starts_with(thread) ? WordsIn(message) : std::nullopt;
        if (found) {
            words = *found;
        }
    }
    return words;
}

}  // namespace recognize
