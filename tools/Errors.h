// What can go wrong, by who has to act: the caller of the program (UsageError), the recording
// (AudioError), or the engine and its server (EngineError).
#pragma once

#include <Lexo.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include "ErrorNames.h"

namespace recognize {

// What a file does, or the program itself, where std::bad_alloc was thrown.
inline constexpr char kNoMemory[] = "takes more memory than there is";

// What could not be done, and why: by errno.
inline std::string ErrnoText(const char* doing, const std::string& where = {}) {
    const int error = errno;  // which the making of a text may change
    return doing + where + ": " + std::strerror(error);
}

class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class AudioError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The wait for audio was ended by the wish to stop.
class InterruptedError : public std::runtime_error {
  public:
    InterruptedError() : std::runtime_error("interrupted") {}
};

// what() is the code's enumerator and the meaning.
class EngineError : public std::runtime_error {
  public:
    EngineError(Lexo_ErrCode code, const std::string& meaning)
        : std::runtime_error(NameOf(code) + ": " + meaning), code_(code), meaning_(meaning) {}

    Lexo_ErrCode Code() const { return code_; }
    const std::string& Meaning() const { return meaning_; }

  private:
    Lexo_ErrCode code_;
    std::string meaning_;
};

}  // namespace recognize
