// The requests and answers of the benchmark, as the message classes have them.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "Audio.h"

namespace quorlan::protocol::capbility {
class CapbilityAccessMessage;
}

namespace exchange {

// A stamp as text: an answer returns it at the begin of its sentence.
constexpr std::size_t kStampTextBytes = 16;
using StampText = std::array<char, kStampTextBytes>;
StampText TextOf(Stamp stamp);

constexpr char kFiller = 't';  // the rest of the sentence
constexpr int kScore = 87;
constexpr int kWordMs = 310;  // word i lasts from i to i + 1 times that

// A one-shot request as the library makes it with a session's default parameters.
constexpr const char* kCapability = "asr.cloud.freetalk";
constexpr const char* kIdentify = "123456_140737353971392_2026-01-02T03:04:05_12345,task=recognise";
constexpr const char* kTaskConfig =
    "vad_head=10000,vad_tail=500,max_seconds=30,audio_format=pcm8k16bit,vad_threshold=10,"
    "add_punc=no,stream_recog=no,result_type=sentence";
// Everything of the access layer but its data.
void FillAccess(quorlan::protocol::capbility::CapbilityAccessMessage* access);

// What is around the audio in a frame, prefix included.
struct RequestFrame {
    std::string before;
    std::string after;
    friend bool operator==(const RequestFrame&, const RequestFrame&) = default;
};
// The frame of a request with so much audio. It is made once for all threads: the memory that it
// takes to make must not count for each.
const RequestFrame& FrameAround(std::size_t audio_bytes);

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
