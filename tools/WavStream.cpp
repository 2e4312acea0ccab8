#include "WavStream.h"

namespace recognize {

namespace {

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

sf_count_t WavStream::Length() const {
    if (input_.IsLive()) {
        return kNoEnd;
    }
    return header_bytes_ + input_.Length() - data_begin_;
}

std::size_t WavStream::ReadAt(sf_count_t position, std::span<char> bytes) {
    std::size_t got = 0;
    if (position < static_cast<sf_count_t>(begin_.size())) {
        got = begin_.copy(bytes.data(), bytes.size(), static_cast<std::size_t>(position));
        position += static_cast<sf_count_t>(got);
    }
    // Behind the samples the audio library looks for more of a header: a pipe cannot jump there.
    if (got < bytes.size() && (!input_.IsLive() || position == next_)) {
        got += ReadSamples(position, bytes.subspan(got));
    }
    return got;
}

std::size_t WavStream::ReadSamples(sf_count_t position, std::span<char> bytes) {
    const std::size_t count = input_.ReadAt(data_begin_ + position - header_bytes_, bytes);
    // The audio library looks at the first samples, and goes back to them.
    if (input_.IsLive() && !IsOpen()) begin_.append(bytes.data(), count);
    next_ = position + static_cast<sf_count_t>(count);
    return count;
}

}  // namespace recognize
