#include "proxy_params_mgr_tables.h"

#include "param_word.h"

const std::array<name_value_pair, 2> g_LEXO_PARAM_SAMPLERATE{{
    {"8000", WordOf(8000)},
    {"16000", WordOf(16000)},
}};

const std::array<name_value_pair, 8> g_LEXO_PARAM_AUDIOFORMAT{{
    {"pcm8k16bit", WordOf(0)},
    {"alaw", WordOf(1)},
    {"ulaw", WordOf(2)},
    {"vox6k4bit", WordOf(3)},
    {"vox8k4bit", WordOf(4)},
    {"gsm610", WordOf(5)},
    {"pcm16k16bit", WordOf(6)},
    {"v3_6k4bit", WordOf(7)},
}};

const std::array<name_value_pair, 5> g_LEXO_PARAM_STREAM{{
    {"no", WordOf(0)},
    {"yes", WordOf(1)},
    {"continue", WordOf(2)},
    {"continue-rt", WordOf(3)},
    {"yes-rt", WordOf(4)},
}};

const std::array<name_value_pair, 3> g_LEXO_PARAM_RESULT_TYPE{{
    {"sentence", WordOf(0)},
    {"wordlist", WordOf(1)},
    {"charlist", WordOf(2)},
}};

const std::array<name_value_pair, 2> g_LEXO_PARAM_MODE{{
    {"offline", WordOf(0)},
    {"online", WordOf(1)},
}};

const std::array<name_value_pair, 3> g_LEXO_PARAM_CHANNEL_TYPE{{
    {"mono", WordOf(0)},
    {"left_agent", WordOf(1)},
    {"right_agent", WordOf(2)},
}};

const std::array<name_value_pair, 2> g_LEXO_PARAM_NBEST_RESULT{{
    {"no", WordOf(0)},
    {"yes", WordOf(1)},
}};

const std::array<name_value_pair, 2> g_LEXO_PARAM_ADD_PUNC{{
    {"no", WordOf(0)},
    {"yes", WordOf(1)},
}};

const std::array<name_value_pair, 2> g_LEXO_PARAM_PROPERTY_MODEL_TYPE{{
    {"8k", WordOf(0)},
    {"16k", WordOf(1)},
}};

// In the order in which names are tried and written, which is not the order of the bits.
const std::array<name_value_pair, 4> g_LEXO_PARAM_FT_POST_PROCESS{{
    {"punctuate", WordOf(1)},
    {"smooth", WordOf(4)},
    {"numnormal", WordOf(2)},
    {"paragraph", WordOf(8)},
}};

namespace {

params_item IntRange(const char* name, Lexo_ParamKey key, int smallest, int largest,
                     const char* default_value) {
    return {name,          key,          kParamIntRange, WordOf(smallest), WordOf(largest),
            default_value, LEXO_ERR_NONE};
}

params_item Text(const char* name, Lexo_ParamKey key, const char* default_value) {
    return {name, key, kParamText, WordOf(1), WordOf(100), default_value, LEXO_ERR_NONE};
}

template <std::size_t kRows>
params_item Table(const char* name, Lexo_ParamKey key, ParamValueType type,
                  const std::array<name_value_pair, kRows>& rows, const char* default_value) {
    return {name, key, type, rows.data(), WordOf(kRows), default_value, LEXO_ERR_NONE};
}

}  // namespace

const std::array<params_item, 17> g_params_family{{
    IntRange("vad_head", LEXO_PARAM_VAD_HEAD, 0, 1800000, "10000"),
    IntRange("vad_tail", LEXO_PARAM_VAD_TAIL, 0, 30000, "500"),
    IntRange("vad_threshold", LEXO_PARAM_VAD_THRESHOLD, 1, 100, "10"),
    IntRange("max_seconds", LEXO_PARAM_MAX_SECONDS, 1, 60, "30"),
    IntRange("vad_threshold", LEXO_PARAM_VAD_THRESHOLD, 1, 100, "10"),
    Text("property_language", LEXO_PARAM_PROPERTY_LANGUAGE, "10"),
    Text("property_domain", LEXO_PARAM_PROPERTY_DOMAIN, "10"),
    Table("audio_format", LEXO_PARAM_AUDIOFORMAT, kParamEnumerated, g_LEXO_PARAM_AUDIOFORMAT,
          "pcm8k16bit"),
    Table("nbest_result", LEXO_PARAM_NBEST_RESULT, kParamEnumerated, g_LEXO_PARAM_NBEST_RESULT,
          "no"),
    Table("add_punc", LEXO_PARAM_ADD_PUNC, kParamEnumerated, g_LEXO_PARAM_ADD_PUNC, "no"),
    Table("stream_recog", LEXO_PARAM_STREAM, kParamEnumerated, g_LEXO_PARAM_STREAM, "no"),
    Table("result_type", LEXO_PARAM_RESULT_TYPE, kParamEnumerated, g_LEXO_PARAM_RESULT_TYPE,
          "sentence"),
    Table("analysis_mode", LEXO_PARAM_MODE, kParamEnumerated, g_LEXO_PARAM_MODE, "offline"),
    Table("channel_type", LEXO_PARAM_CHANNEL_TYPE, kParamEnumerated, g_LEXO_PARAM_CHANNEL_TYPE,
          "mono"),
    Table("property_model_type", LEXO_PARAM_PROPERTY_MODEL_TYPE, kParamEnumerated,
          g_LEXO_PARAM_PROPERTY_MODEL_TYPE, "8k"),
    Text("qa_paramter", LEXO_PARAM_POST_PROCESS, ""),
    Table("textpostproc", LEXO_PARAM_FT_POST_PROCESS, kParamFlagSet, g_LEXO_PARAM_FT_POST_PROCESS,
          ""),
}};

const std::array<StringParamPair, 15> g_param_list{{
    {"sample_rate", LEXO_PARAM_SAMPLERATE},
    {"vad_head", LEXO_PARAM_VAD_HEAD},
    {"vad_tail", LEXO_PARAM_VAD_TAIL},
    {"max_seconds", LEXO_PARAM_MAX_SECONDS},
    {"audio_format", LEXO_PARAM_AUDIOFORMAT},
    {"vad_threshold", LEXO_PARAM_VAD_THRESHOLD},
    {"nbest_result", LEXO_PARAM_NBEST_RESULT},
    {"add_punc", LEXO_PARAM_ADD_PUNC},
    {"stream", LEXO_PARAM_STREAM},
    {"result_type", LEXO_PARAM_RESULT_TYPE},
    {"mode", LEXO_PARAM_MODE},
    {"channel_type", LEXO_PARAM_CHANNEL_TYPE},
    {"property_language", LEXO_PARAM_PROPERTY_LANGUAGE},
    {"property_model_type", LEXO_PARAM_PROPERTY_MODEL_TYPE},
    {"property_domain", LEXO_PARAM_PROPERTY_DOMAIN},
}};
