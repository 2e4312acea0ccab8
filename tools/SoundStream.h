// A recording that the audio library reads through us, and whether it may know where it ends.
#pragma once

#include <sndfile.h>

#include <cstddef>
#include <exception>
#include <span>

#include "InputFile.h"

namespace recognize {

// Not by a descriptor: that of a file it cannot open the audio library closes, whatever it is told,
// and another thread may have a file of that number by the time it is closed again.
class SoundStream {
  public:
    SoundStream() = default;
    virtual ~SoundStream() = default;
    SoundStream(const SoundStream&) = delete;
    SoundStream& operator=(const SoundStream&) = delete;

    // For the caller to close, before the stream goes. Null as sf_open gives it; then it may be
    // tried again, unless the recording is live.
    SNDFILE* Open(SF_INFO* info);

    // To be called before Open: the audio library learns no length, so that it estimates none.
    void HideEnd() { is_end_hidden_ = true; }

    // Throws what kept bytes from being read: AudioError, InterruptedError. The audio library, in
    // between, cannot pass it on, and takes it for the end.
    void RethrowFailure() const;

    // Whether the audio library, since it was opened, wanted more bytes than there are.
    bool HasRunOut() const { return has_run_out_; }

  protected:
    // Bytes as the audio library sees them, kNoEnd where that is not known.
    virtual sf_count_t Length() const = 0;
    // As InputFile::ReadAt.
    virtual std::size_t ReadAt(sf_count_t position, std::span<char> bytes) = 0;

    // Half the largest number, so that the audio library may add to it.
    static constexpr sf_count_t kNoEnd = SF_COUNT_MAX / 2;

    bool IsOpen() const { return is_open_; }

  private:
    sf_count_t Seek(sf_count_t offset, int whence);
    sf_count_t Read(char* bytes, sf_count_t count);

    sf_count_t position_ = 0;
    bool is_end_hidden_ = false;
    bool is_open_ = false;
    bool has_run_out_ = false;
    std::exception_ptr failure_;
};

// A file as it is. `input` must outlive it, and not be live.
class FileStream : public SoundStream {
  public:
    explicit FileStream(InputFile& input) : input_(input) {}

  protected:
    sf_count_t Length() const override { return input_.Length(); }
    std::size_t ReadAt(sf_count_t position, std::span<char> bytes) override {
        return input_.ReadAt(position, bytes);
    }

  private:
    InputFile& input_;
};

}  // namespace recognize
