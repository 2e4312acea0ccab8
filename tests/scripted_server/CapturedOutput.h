// What a piece of a test writes to standard output or standard error, whoever writes it: the
// descriptor itself is diverted to a file for as long as the object lives.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace scripted {

class CapturedOutput {
  public:
    explicit CapturedOutput(std::FILE* stream)  // stdout or stderr
        : stream_(stream),
          original_(::fcntl(::fileno(stream), F_DUPFD_CLOEXEC, 3)),
          file_(::memfd_create("captured", MFD_CLOEXEC)) {
        Divert(file_);
    }
    ~CapturedOutput() {
        Divert(original_);
        ::close(original_);
        ::close(file_);
    }
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    // Everything written so far.
    std::string Text() const {
        std::fflush(stream_);
        std::string text(static_cast<std::size_t>(::lseek(file_, 0, SEEK_CUR)), '\0');
        text.resize(static_cast<std::size_t>(::pread(file_, text.data(), text.size(), 0)));
        return text;
    }

  private:
    void Divert(int target) {
        std::fflush(stream_);
        ::dup2(target, ::fileno(stream_));
    }

    std::FILE* stream_;
    int original_;  // where the stream's descriptor pointed before
    int file_;
};

}  // namespace scripted
