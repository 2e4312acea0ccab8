// The requests and answers of the benchmark, as the message classes have them.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "Audio.h"

namespace quorlan::protocol {
class LexoResponseMessage;
class MessageHeader;
}  // namespace quorlan::protocol

namespace exchange {

// A stamp as text: an answer returns it at the begin of its sentence.
constexpr std::size_t kStampTextBytes = 16;
using StampText = std::array<char, kStampTextBytes>;
StampText TextOf(Stamp stamp);

constexpr char kFiller = 't';  // the rest of the sentence
constexpr int kScore = 87;
constexpr int kWordMs = 310;  // word i lasts from i to i + 1 times that

constexpr std::string_view kCapability = "asr.cloud.freetalk";

// A one-shot request as the library makes it with a session's default parameters.
void FillRequest(std::string_view identify, std::string_view audio,
                 quorlan::protocol::MessageHeader* header);

// A frame, prefix included, as three parts around the audio.
struct RequestFrame {
    std::string before;
    std::string after;
};
RequestFrame FrameAround(const std::string& audio, std::string_view identify);

// A frame, prefix included, whose identity and stamp are to be patched.
struct AnswerFrame {
    AnswerFrame(std::size_t body_bytes, std::size_t identify_bytes);
    void Patch(std::string_view identify, Stamp stamp);

    std::string bytes;
    std::size_t identify_bytes;

  private:
    std::size_t identify_at_;
    std::size_t stamp_at_;
};

// The number of words in an answer of that size.
int WordsOf(std::size_t body_bytes);

}  // namespace exchange
