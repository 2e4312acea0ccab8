// The server's view of a task configuration text: "name=value" pairs joined by ",".
#pragma once

#include <optional>
#include <string>

#include "AudioFormat.h"
#include "Capability.h"
#include "Failure.h"
#include "Outcome.h"

namespace orvx {

enum class StreamMode { kNo, kYes, kContinue, kContinueRt, kYesRt };
enum class ResultType { kSentence, kWordlist, kCharlist };
enum class ChannelType { kMono, kLeftAgent, kRightAgent };

// Bits of the text post-processing.
enum PostProcess { kPunctuate = 1, kNumnormal = 2, kSmooth = 4, kParagraph = 8 };

// Initialised with the values of a task that names none.
struct TaskParameters {
    int vad_head_ms = 10000;
    int vad_tail_ms = 500;
    int vad_threshold = 10;
    int max_seconds = 30;
    AudioFormat audio_format = AudioFormat::kPcm8k16bit;
    bool wants_nbest = false;
    bool wants_punctuation = false;
    StreamMode stream = StreamMode::kNo;
    ResultType result_type = ResultType::kSentence;
    bool is_online = false;  // analysis_mode
    ChannelType channel_type = ChannelType::kMono;
    bool wants_16k_model = false;
    std::string language;
    std::string domain;
    std::string post_process;  // qa_paramter
    unsigned text_post_process = 0;

    // Whether the audio comes in several requests.
    bool IsRealTime() const { return stream != StreamMode::kNo || is_online; }
    // In the audio, which alternate sample by sample.
    std::size_t Channels() const { return channel_type == ChannelType::kMono ? 1 : 2; }
    // Who speaks on a channel; the left one is 0.
    Role RoleOf(std::size_t channel) const;
};

// Reads `text` into `parameters`. A failure names the first pair, in the order of names, that is
// unknown (LEXO_ERR_NOT_SUPPORT) or has a bad value (LEXO_ERR_PARAM_INVALID); `parameters` is then
// partly filled.
std::optional<Failure> ParseTaskParameters(const std::string& text, TaskParameters* parameters);

// What of the parameters this server cannot do for the capability.
std::optional<Failure> CheckParameters(Capability capability, const TaskParameters& parameters);

}  // namespace orvx
