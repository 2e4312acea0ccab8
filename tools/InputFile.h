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

    // Makes the recording readable by its header. A container that is written front to back, such
    // as WAV, is left to flow, so that a microphone is heard at once. Others (FLAC, Ogg) jump
    // about while they are read: from a pipe they are first copied, whole, to a temporary file.
    // Throws AudioError, InterruptedError.
    void PrepareForHeader();

  private:
    bool StartsLikeFlowingContainer() const;
    void CopyToTemporaryFile();

    UniqueFd fd_;
    bool is_live_ = false;
    bool is_socket_ = false;
};

}  // namespace recognize
