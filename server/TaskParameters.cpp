#include "TaskParameters.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <span>
#include <string_view>

#include "LogText.h"
#include "TaskConfig.h"

namespace orvx {
namespace {

// A parser returns what would be right when the value is not.
using Expectation = std::optional<std::string>;

struct ParameterRule {
    const char* name;
    std::function<Expectation(std::string_view value, TaskParameters* parameters)> parse;
};

ParameterRule Integer(const char* name, int TaskParameters::*field, int lowest, int highest) {
    return {name, [=](std::string_view value, TaskParameters* parameters) -> Expectation {
                int number = 0;
                const char* const end = value.data() + value.size();
                const auto [rest, error] = std::from_chars(value.data(), end, number);
                if (error == std::errc() && rest == end && number >= lowest && number <= highest) {
                    parameters->*field = number;
                    return std::nullopt;
                }
                return "an integer from " + std::to_string(lowest) + " to " +
                       std::to_string(highest);
            }};
}

// The names stand for the values 0, 1, 2 ...
template <typename Value>
ParameterRule Choice(const char* name, Value TaskParameters::*field,
                     const std::vector<std::string_view>& choices) {
    return {name, [=](std::string_view value, TaskParameters* parameters) -> Expectation {
                const auto found = std::find(choices.begin(), choices.end(), value);
                if (found != choices.end()) {
                    parameters->*field = static_cast<Value>(found - choices.begin());
                    return std::nullopt;
                }
                std::string expected;
                for (const std::string_view choice : choices) {
                    expected.append(expected.empty() ? "one of " : ", ").append(choice);
                }
                return expected;
            }};
}

ParameterRule Text(const char* name, std::string TaskParameters::*field) {
    return {name, [=](std::string_view value, TaskParameters* parameters) -> Expectation {
                parameters->*field = value;
                return std::nullopt;
            }};
}

Expectation ParseAudioFormat(std::string_view value, TaskParameters* parameters) {
    const std::optional<AudioFormat> format = FindAudioFormat(value);
    if (!format) return "one of " + AudioFormatNames();
    parameters->audio_format = *format;
    return std::nullopt;
}

Expectation ParsePostProcess(std::string_view value, TaskParameters* parameters) {
    constexpr std::pair<std::string_view, PostProcess> kFlags[] = {{"punctuate", kPunctuate},
                                                                   {"smooth", kSmooth},
                                                                   {"numnormal", kNumnormal},
                                                                   {"paragraph", kParagraph}};
    unsigned flags = 0;
    for (bool is_last = value.empty(); !is_last;) {
        const std::size_t end = value.find(';');
        const std::string_view name = value.substr(0, end);
        const auto flag = std::find_if(std::begin(kFlags), std::end(kFlags),
                                       [&](const auto& known) { return known.first == name; });
        if (flag == std::end(kFlags)) {
            return "names of punctuate, smooth, numnormal, paragraph joined by \";\"";
        }
        flags |= flag->second;
        is_last = end == std::string_view::npos;
        value.remove_prefix(is_last ? value.size() : end + 1);
    }
    parameters->text_post_process = flags;
    return std::nullopt;
}

std::span<const ParameterRule> Rules() {
    using P = TaskParameters;
    static const std::vector<ParameterRule> rules{
        Integer("vad_head", &P::vad_head_ms, 0, 1800000),
        Integer("vad_tail", &P::vad_tail_ms, 0, 30000),
        Integer("vad_threshold", &P::vad_threshold, 1, 100),
        Integer("max_seconds", &P::max_seconds, 1, 60),
        {"audio_format", ParseAudioFormat},
        Choice("nbest_result", &P::wants_nbest, {"no", "yes"}),
        Choice("add_punc", &P::wants_punctuation, {"no", "yes"}),
        Choice("stream_recog", &P::stream, {"no", "yes", "continue", "continue-rt", "yes-rt"}),
        Choice("result_type", &P::result_type, {"sentence", "wordlist", "charlist"}),
        Choice("analysis_mode", &P::is_online, {"offline", "online"}),
        Choice("channel_type", &P::channel_type, {"mono", "left_agent", "right_agent"}),
        Choice("property_model_type", &P::wants_16k_model, {"8k", "16k"}),
        Text("property_language", &P::language),
        Text("property_domain", &P::domain),
        Text("qa_paramter", &P::post_process),
        {"textpostproc", ParsePostProcess},
    };
    return rules;
}

std::string KnownNames() {
    std::string names;
    for (const ParameterRule& rule : Rules()) {
        names.append(names.empty() ? "" : ", ").append(rule.name);
    }
    return names;
}

Failure NotBuilt(const std::string& what) {
    return {LEXO_ERR_NOT_SUPPORT, what};
}

std::optional<Failure> CheckIsNoAnalysis(const TaskParameters& parameters) {
    if (parameters.is_online) {
        return NotBuilt(
            "analysis_mode online belongs to asr.cloud.analysis; "
            "the other capabilities stream with stream_recog");
    }
    if (parameters.channel_type != ChannelType::kMono) {
        return NotBuilt("channel_type other than mono belongs to asr.cloud.analysis");
    }
    return std::nullopt;
}

std::optional<Failure> CheckAnalysis(const TaskParameters& parameters) {
    if (parameters.stream != StreamMode::kNo) {
        return NotBuilt(
            "stream_recog belongs to the other capabilities; "
            "asr.cloud.analysis streams with analysis_mode online");
    }
    const AudioFormatInfo& format = DescribeAudioFormat(parameters.audio_format);
    if (parameters.Channels() > 1 && format.block_samples > 1) {
        return NotBuilt(std::string("audio_format ") + format.name +
                        ": two channels can alternate in pcm8k16bit, pcm16k16bit, alaw and ulaw "
                        "only; use one of them or channel_type mono");
    }
    return std::nullopt;
}

}  // namespace

std::optional<Failure> ParseTaskParameters(const std::string& text, TaskParameters* parameters) {
    const TaskConfig config(text);
    for (const auto& [name, value] : config.GetMapConfig()) {
        const auto rule =
            std::find_if(Rules().begin(), Rules().end(),
                         [&name = name](const ParameterRule& known) { return known.name == name; });
        if (rule == Rules().end()) {
            return Failure{LEXO_ERR_NOT_SUPPORT, "task_config: unknown parameter " + Quote(name) +
                                                     "; known are " + KnownNames()};
        }
        if (const Expectation expected = rule->parse(value, parameters)) {
            return Failure{LEXO_ERR_PARAM_INVALID, "task_config: " + name + " is " + Quote(value) +
                                                       ", but must be " + *expected};
        }
    }
    return std::nullopt;
}

Role TaskParameters::RoleOf(std::size_t channel) const {
    if (channel_type == ChannelType::kMono) return Role::kUnknown;
    const bool is_left_agent = channel_type == ChannelType::kLeftAgent;
    return (channel == 0) == is_left_agent ? Role::kAgent : Role::kUser;
}

std::optional<Failure> CheckParameters(Capability capability, const TaskParameters& parameters) {
    if (parameters.audio_format == AudioFormat::kV3_6k4bit) {
        return NotBuilt(
            "audio_format v3_6k4bit: there is no decoder for it here; "
            "send vox6k4bit or vox8k4bit for 4-bit ADPCM");
    }
    if (parameters.result_type == ResultType::kCharlist) {
        return NotBuilt(
            "result_type charlist: this engine gives times for whole words only; "
            "use wordlist or sentence");
    }
    if (parameters.wants_punctuation) {
        return NotBuilt("add_punc yes: this engine makes no punctuation; use no");
    }
    if (parameters.text_post_process != 0) {
        return NotBuilt("textpostproc: this engine's text is not post-processed; leave it out");
    }
    return capability == Capability::kAnalysis ? CheckAnalysis(parameters)
                                               : CheckIsNoAnalysis(parameters);
}

}  // namespace orvx
