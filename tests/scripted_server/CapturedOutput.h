// What a piece of a test writes to standard output or standard error, whoever writes it: the
// descriptor itself is diverted to a file for as long as the object lives.
#pragma once

#include <cstdio>
#include <string>

namespace scripted {

class CapturedOutput {
  public:
    explicit CapturedOutput(std::FILE* stream);  // stdout or stderr
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    // Everything written so far.
    std::string Text() const;

  private:
    std::FILE* stream_;
    int descriptor_;  // of the stream
    int original_;    // where it pointed before
    int file_;
};

}  // namespace scripted
