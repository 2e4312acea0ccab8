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

// clang-format off: a row a line
const std::array<params_item, 17> g_params_family{{
    {"vad_head", LEXO_PARAM_VAD_HEAD, kParamIntRange, WordOf(0), WordOf(1800000), "10000",
     LEXO_ERR_NONE},
    {"vad_tail", LEXO_PARAM_VAD_TAIL, kParamIntRange, WordOf(0), WordOf(30000), "500",
     LEXO_ERR_NONE},
    {"vad_threshold", LEXO_PARAM_VAD_THRESHOLD, kParamIntRange, WordOf(1), WordOf(100), "10",
     LEXO_ERR_NONE},
    {"max_seconds", LEXO_PARAM_MAX_SECONDS, kParamIntRange, WordOf(1), WordOf(60), "30",
     LEXO_ERR_NONE},
    {"vad_threshold", LEXO_PARAM_VAD_THRESHOLD, kParamIntRange, WordOf(1), WordOf(100), "10",
     LEXO_ERR_NONE},
    {"property_language", LEXO_PARAM_PROPERTY_LANGUAGE, kParamText, WordOf(1), WordOf(100), "10",
     LEXO_ERR_NONE},
    {"property_domain", LEXO_PARAM_PROPERTY_DOMAIN, kParamText, WordOf(1), WordOf(100), "10",
     LEXO_ERR_NONE},
    {"audio_format", LEXO_PARAM_AUDIOFORMAT, kParamEnumerated, g_LEXO_PARAM_AUDIOFORMAT.data(),
     WordOf(8), "pcm8k16bit", LEXO_ERR_NONE},
    {"nbest_result", LEXO_PARAM_NBEST_RESULT, kParamEnumerated, g_LEXO_PARAM_NBEST_RESULT.data(),
     WordOf(2), "no", LEXO_ERR_NONE},
    {"add_punc", LEXO_PARAM_ADD_PUNC, kParamEnumerated, g_LEXO_PARAM_ADD_PUNC.data(), WordOf(2),
     "no", LEXO_ERR_NONE},
    {"stream_recog", LEXO_PARAM_STREAM, kParamEnumerated, g_LEXO_PARAM_STREAM.data(), WordOf(5),
     "no", LEXO_ERR_NONE},
    {"result_type", LEXO_PARAM_RESULT_TYPE, kParamEnumerated, g_LEXO_PARAM_RESULT_TYPE.data(),
     WordOf(3), "sentence", LEXO_ERR_NONE},
    {"analysis_mode", LEXO_PARAM_MODE, kParamEnumerated, g_LEXO_PARAM_MODE.data(), WordOf(2),
     "offline", LEXO_ERR_NONE},
    {"channel_type", LEXO_PARAM_CHANNEL_TYPE, kParamEnumerated, g_LEXO_PARAM_CHANNEL_TYPE.data(),
     WordOf(3), "mono", LEXO_ERR_NONE},
    {"property_model_type", LEXO_PARAM_PROPERTY_MODEL_TYPE, kParamEnumerated,
     g_LEXO_PARAM_PROPERTY_MODEL_TYPE.data(), WordOf(2), "8k", LEXO_ERR_NONE},
    {"qa_paramter", LEXO_PARAM_POST_PROCESS, kParamText, WordOf(1), WordOf(100), "", LEXO_ERR_NONE},
    {"textpostproc", LEXO_PARAM_FT_POST_PROCESS, kParamFlagSet, g_LEXO_PARAM_FT_POST_PROCESS.data(),
     WordOf(4), "", LEXO_ERR_NONE},
}};
// clang-format on

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
