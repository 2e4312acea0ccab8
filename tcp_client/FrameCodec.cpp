#include "FrameCodec.h"

#include <google/protobuf/message_lite.h>

#include <algorithm>
#include <climits>
#include <cstring>

namespace {

constexpr std::size_t kInitialBufferBytes = std::size_t{16} << 10;
constexpr std::size_t kKeptBufferBytes = std::size_t{256} << 10;

}  // namespace

void EncodeFramePrefix(std::uint32_t body_bytes, char* out) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        *out++ = static_cast<char>((body_bytes >> shift) & 0xFF);
    }
}

bool EncodeFrame(const google::protobuf::MessageLite& message, std::vector<char>* frame) {
    frame->clear();
    const std::size_t body_bytes = message.ByteSizeLong();
    if (body_bytes > INT_MAX) {
        return false;
    }
    frame->resize(kFramePrefixBytes + body_bytes);
    EncodeFramePrefix(static_cast<std::uint32_t>(body_bytes), frame->data());
    if (!message.SerializeToArray(frame->data() + kFramePrefixBytes,
                                  static_cast<int>(body_bytes))) {
        frame->clear();
        return false;
    }
    return true;
}

FrameReader::FrameReader(std::size_t max_body_bytes) : max_body_bytes_(max_body_bytes) {}

std::span<char> FrameReader::WritableArea() {
    if (size_ == buffer_.size()) {
        std::size_t bytes = std::max(kInitialBufferBytes, size_ * 2);
        if (size_ >= kFramePrefixBytes) {
            const std::size_t frame_bytes = kFramePrefixBytes + BodyBytes();
            if (frame_bytes > size_) bytes = std::min(bytes, frame_bytes);
        }
        buffer_.reserve(bytes);  // of which resize might make more
        buffer_.resize(bytes);
    }
    return std::span<char>(buffer_).subspan(size_);
}

void FrameReader::Commit(std::size_t count) {
    size_ += count;
}

std::size_t FrameReader::BodyBytes() const {
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < kFramePrefixBytes; ++i) {
        bytes = bytes << 8 | static_cast<unsigned char>(buffer_[i]);
    }
    return bytes;
}

FrameReader::Status FrameReader::GetStatus() const {
    if (size_ < kFramePrefixBytes) {
        return Status::kNeedMore;
    }
    const std::size_t body_bytes = BodyBytes();
    if (body_bytes > max_body_bytes_) {
        return Status::kTooLarge;
    }
    return size_ - kFramePrefixBytes < body_bytes ? Status::kNeedMore : Status::kComplete;
}

std::string_view FrameReader::Body() const {
    return {buffer_.data() + kFramePrefixBytes, BodyBytes()};
}

bool FrameReader::HasBytesBehindFrame() const {
    return size_ > kFramePrefixBytes + BodyBytes();
}

void FrameReader::NextFrame() {
    const std::size_t frame_bytes = kFramePrefixBytes + BodyBytes();
    std::memmove(buffer_.data(), buffer_.data() + frame_bytes, size_ - frame_bytes);
    size_ -= frame_bytes;
    Shrink();
}

void FrameReader::Clear() {
    size_ = 0;
    Shrink();
}

void FrameReader::Shrink() {
    if (buffer_.size() <= kKeptBufferBytes || size_ > kKeptBufferBytes) return;
    buffer_.resize(size_);
    buffer_.shrink_to_fit();
}
