// An open recording: a file, standard input, a named pipe or a socket.
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "UniqueFd.h"

namespace recognize {

// The name that stands for standard input.
inline constexpr char kStandardInput[] = "-";

class InputFile {
  public:
    // Opens `name`. Throws AudioError.
    explicit InputFile(const std::string& name);

    int Fd() const { return fd_.Get(); }

    // Whether bytes may be long in coming, so that a reader waits through WaitForBytes.
    bool IsLive() const { return is_live_; }

    // Waits until bytes or the end can be read; throws InterruptedError.
    void WaitForBytes() const;

    // Makes the recording readable by its header. A WAV file of plain samples is left to flow
    // through its pipe, so that a microphone is heard at once. Whatever else comes by a pipe is
    // first copied, whole, to a temporary file: its header cannot be read without jumping about.
    // Throws AudioError, InterruptedError.
    void PrepareForHeader();

  private:
    bool StartsLikePlainWav() const;
    bool IsAtEnd() const;
    std::string Peek(std::size_t bytes) const;
    void CopyToTemporaryFile();

    UniqueFd fd_;
    bool is_live_ = false;
    bool is_socket_ = false;  // otherwise a live recording is a pipe
};

}  // namespace recognize
