#include "WavStream.h"

#include <algorithm>

namespace recognize {

namespace {

std::string FourBytes(std::uint32_t number, bool is_big_endian) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(number >> (is_big_endian ? 24 - shift : shift) & 0xFF);
    }
    return bytes;
}

// With a length of 8 and no samples told, the audio library takes all that follows for samples.
std::string HeaderLike(const WavHeader& header) {
    const bool is_told = !header.is_endless && header.data_bytes <= UINT32_MAX;
    const auto number = [&](std::int64_t value) {
        return FourBytes(static_cast<std::uint32_t>(value), header.is_big_endian);
    };
    return (header.is_big_endian ? "RIFX" : "RIFF") + number(8) + "WAVE" + header.format +
           std::string(header.format.size() % 2, '\0') + "data" +
           number(is_told ? header.data_bytes : 0);
}

}  // namespace

WavStream::WavStream(InputFile& input, const WavHeader& header)
    : input_(input),
      begin_(HeaderLike(header)),
      header_bytes_(static_cast<sf_count_t>(begin_.size())),
      header_(header),
      next_(header_bytes_) {}

sf_count_t WavStream::Length() const {
    if (input_.IsLive()) {
        return kNoEnd;
    }
    const sf_count_t there = std::max<sf_count_t>(input_.Length() - header_.data_begin, 0);
    const bool is_all = header_.is_unfinished || header_.is_endless;
    return header_bytes_ + (is_all ? there : std::min(there, header_.data_bytes));
}

std::size_t WavStream::ReadAt(sf_count_t position, std::span<char> bytes) {
    const sf_count_t left = std::max<sf_count_t>(Length() - position, 0);
    bytes = bytes.first(std::min(bytes.size(), static_cast<std::size_t>(left)));
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
    const std::size_t count = input_.ReadAt(header_.data_begin + position - header_bytes_, bytes);
    // The audio library looks at the first samples, and goes back to them.
    if (input_.IsLive() && !IsOpen()) begin_.append(bytes.data(), count);
    next_ = position + static_cast<sf_count_t>(count);
    return count;
}

}  // namespace recognize
