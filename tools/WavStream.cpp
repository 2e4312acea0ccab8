#include "WavStream.h"

#include <algorithm>
#include <cstdio>

namespace recognize {

namespace {

// What the audio library takes for the length of a recording without end; half the largest number,
// so that it may add to it.
constexpr sf_count_t kNoEnd = SF_COUNT_MAX / 2;

std::string LittleEndian(std::uint32_t number) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(number >> shift & 0xFF);
    }
    return bytes;
}

// With a length of 8 and no samples told, the audio library takes all that follows for samples.
std::string HeaderLike(const WavHeader& header) {
    return "RIFF" + LittleEndian(8) + "WAVE" + header.format +
           std::string(header.format.size() % 2, '\0') + "data" +
           LittleEndian(static_cast<std::uint32_t>(header.data_bytes));
}

}  // namespace

WavStream::WavStream(InputFile& input, const WavHeader& header)
    : input_(input),
      begin_(HeaderLike(header)),
      header_bytes_(static_cast<sf_count_t>(begin_.size())),
      data_begin_(header.data_begin),
      next_(header_bytes_) {}

SNDFILE* WavStream::Open(SF_INFO* info) {
    static SF_VIRTUAL_IO calls = {
        [](void* self) { return static_cast<WavStream*>(self)->Length(); },
        [](sf_count_t offset, int whence, void* self) {
            return static_cast<WavStream*>(self)->Seek(offset, whence);
        },
        [](void* bytes, sf_count_t count, void* self) {
            return static_cast<WavStream*>(self)->Read(static_cast<char*>(bytes), count);
        },
        [](const void*, sf_count_t, void*) { return sf_count_t{0}; },
        [](void* self) { return static_cast<WavStream*>(self)->position_; }};
    SNDFILE* file = ::sf_open_virtual(&calls, SFM_READ, info, this);
    is_open_ = true;
    return file;
}

void WavStream::RethrowFailure() const {
    if (failure_) {
        std::rethrow_exception(failure_);
    }
}

sf_count_t WavStream::Length() const {
    if (input_.IsLive()) {
        return kNoEnd;
    }
    return header_bytes_ + input_.Length() - data_begin_;
}

sf_count_t WavStream::Seek(sf_count_t offset, int whence) {
    const sf_count_t origin = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? position_ : Length();
    return position_ = std::max<sf_count_t>(origin + offset, 0);
}

sf_count_t WavStream::Read(char* bytes, sf_count_t count) {
    const std::span wanted(bytes, static_cast<std::size_t>(count));
    std::size_t got = 0;
    if (position_ < static_cast<sf_count_t>(begin_.size())) {
        got = begin_.copy(wanted.data(), wanted.size(), static_cast<std::size_t>(position_));
        position_ += static_cast<sf_count_t>(got);
    }
    // Behind the samples the audio library looks for more of a header: a pipe cannot jump there.
    if (got < wanted.size() && (!input_.IsLive() || position_ == next_)) {
        got += ReadSamples(wanted.subspan(got));
    }
    return static_cast<sf_count_t>(got);
}

std::size_t WavStream::ReadSamples(std::span<char> bytes) {
    std::size_t count = 0;
    try {
        count = input_.ReadAt(data_begin_ + position_ - header_bytes_, bytes);
        // The audio library looks at the first samples, and goes back to them.
        if (input_.IsLive() && !is_open_) begin_.append(bytes.data(), count);
    } catch (...) {
        failure_ = std::current_exception();
    }
    position_ += static_cast<sf_count_t>(count);
    next_ = position_;
    return count;
}

}  // namespace recognize
