// An open recording: a file, standard input, a named pipe or a socket.
#pragma once

#include <cstddef>
#include <cstdint>
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

    // Whether bytes may be long in coming, and each can be read once.
    bool IsLive() const { return is_live_; }

    // Waits until bytes or the end can be read; throws InterruptedError.
    void WaitForBytes() const;

    // Bytes from where the recording began to its end; 0 while the recording is live.
    std::int64_t Length() const;

    // Fills `bytes` with what stands at `at`, counted from where the recording began; returns how
    // many, fewer only at its end. Of a live recording what lies before `at` is lost, so `at` must
    // not go back. Throws AudioError, InterruptedError.
    std::size_t ReadAt(std::int64_t at, std::span<char> bytes);

    // What stands before `at` belongs to it no more. Not of a live recording.
    void BeginAt(std::int64_t at) { begin_ += at; }

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
    std::size_t ReadSome(std::int64_t at, std::span<char> bytes);

    UniqueFd fd_;
    std::int64_t begin_ = 0;  // in the file
    std::int64_t taken_ = 0;  // bytes of a live recording
    bool is_live_ = false;
    bool is_socket_ = false;  // otherwise a live recording is a pipe
};

}  // namespace recognize
