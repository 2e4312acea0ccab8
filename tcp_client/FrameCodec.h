// The framing of the protocol, apart from any socket: 4 bytes of big-endian unsigned length, then
// that many bytes of one serialised MessageHeader, the same in both directions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace google::protobuf {
class MessageLite;
}

constexpr std::size_t kFramePrefixBytes = 4;
constexpr std::size_t kMaxFrameBodyBytes = std::size_t{64} << 20;

// Writes the length prefix for a body of `body_bytes` bytes to `out` (kFramePrefixBytes bytes).
void EncodeFramePrefix(std::uint32_t body_bytes, char* out);

// Replaces `frame` with the complete frame of `message`. False, with `frame` left empty, when the
// message cannot be serialised or its body is above INT_MAX bytes.
bool EncodeFrame(const google::protobuf::MessageLite& message, std::vector<char>* frame);

// Collects the bytes of incoming frames. The caller puts bytes where WritableArea says, tells
// Commit how many, and looks at GetStatus. The buffer grows as bytes arrive, up to the frame's
// size: a length prefix alone never allocates. Not for use by two threads at once.
class FrameReader {
  public:
    enum class Status {
        kNeedMore,  // no complete frame yet
        kComplete,  // Body() holds a frame
        kTooLarge   // the prefix announces a body above the limit; nothing more can be read
    };

    explicit FrameReader(std::size_t max_body_bytes = kMaxFrameBodyBytes);

    // At least one byte of room behind what was committed. Invalidates earlier spans and Body().
    std::span<char> WritableArea();
    // Takes over the first `count` bytes of the last WritableArea().
    void Commit(std::size_t count);

    Status GetStatus() const;
    // The body of the complete frame; valid until the next non-const call.
    std::string_view Body() const;
    // Bytes behind the complete frame: the start of the next one.
    bool HasBytesBehindFrame() const;
    // Whether no byte is held at all.
    bool IsEmpty() const { return size_ == 0; }

    // Both give the buffer back if it has grown beyond a common answer's size.
    void NextFrame();  // drops the complete frame and keeps what came behind it
    void Clear();      // drops everything

  private:
    void Shrink();
    std::size_t BodyBytes() const;  // what the prefix announces; needs kFramePrefixBytes bytes

    std::size_t max_body_bytes_;
    std::vector<char> buffer_;
    std::size_t size_ = 0;  // bytes of buffer_ in use
};
