// Both validators: of typed values, and of textual pairs with their conversion.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>

#include "MessagesOf.h"
#include "TestAccess.h"
#include "param_word.h"
#include "proxy_params_mgr_tables.h"

namespace {

using Access = ProxyParamsMgrTestAccess;

constexpr std::intptr_t kHighBit = std::intptr_t{1} << 32;  // outside an int

struct TypedCase {
    int key;
    std::intptr_t value;
    int code;
    const char* message = nullptr;
};

void ExpectTyped(int key, Lexo_ParamValue value, int code, const char* message) {
    int result = -1;
    const Messages logged = MessagesOf(
        [&] { result = ProxyParamsMgr::CheckConfig(static_cast<Lexo_ParamKey>(key), value); });
    EXPECT_EQ(result, code);
    EXPECT_EQ(logged, message == nullptr ? Messages{} : Messages{message});
}

TEST(ParamValidationTest, TypedNumbers) {
    const TypedCase cases[] = {
        {LEXO_PARAM_SAMPLERATE, 8000, 1, "Param type [0] not found."},
        {17, 0, 1, "Param type [17] not found."},
        {-1, 0, 1, "Param type [-1] not found."},
        {LEXO_PARAM_VAD_HEAD, 0, 0},
        {LEXO_PARAM_VAD_HEAD, 1800000, 0},
        {LEXO_PARAM_VAD_HEAD, 1800001, 2, "Param value [1=1800001] invalid."},
        {LEXO_PARAM_VAD_HEAD, -1, 2, "Param value [1=-1] invalid."},
        {LEXO_PARAM_VAD_HEAD, INT_MIN, 2, "Param value [1=-2147483648] invalid."},
        {LEXO_PARAM_VAD_TAIL, 30000, 0},
        {LEXO_PARAM_VAD_TAIL, 30001, 2, "Param value [2=30001] invalid."},
        // A range looks at the low 32 bits only.
        {LEXO_PARAM_VAD_TAIL, kHighBit + 30000, 0},
        {LEXO_PARAM_VAD_TAIL, kHighBit - 1, 2, "Param value [2=-1] invalid."},
        {LEXO_PARAM_MAX_SECONDS, 0, 2, "Param value [3=0] invalid."},
        {LEXO_PARAM_MAX_SECONDS, 1, 0},
        {LEXO_PARAM_MAX_SECONDS, 60, 0},
        {LEXO_PARAM_MAX_SECONDS, 61, 2, "Param value [3=61] invalid."},
        {LEXO_PARAM_VAD_THRESHOLD, 0, 2, "Param value [5=0] invalid."},
        {LEXO_PARAM_VAD_THRESHOLD, 1, 0},
        {LEXO_PARAM_VAD_THRESHOLD, 100, 0},
        {LEXO_PARAM_VAD_THRESHOLD, 101, 2, "Param value [5=101] invalid."},
        {LEXO_PARAM_STREAM, 4, 0},
        {LEXO_PARAM_STREAM, 5, 2, "Param value [8=5] invalid."},
        // A name's number counts with all its bits.
        {LEXO_PARAM_STREAM, kHighBit + 1, 2, "Param value [8=1] invalid."},
        {LEXO_PARAM_FT_POST_PROCESS, 0, 0},
        {LEXO_PARAM_FT_POST_PROCESS, 3, 0},
        {LEXO_PARAM_FT_POST_PROCESS, 15, 0},
        {LEXO_PARAM_FT_POST_PROCESS, 16, 2, "Param value [16] invalid."},
        {LEXO_PARAM_FT_POST_PROCESS, 17, 2, "Param value [16] invalid."},
        {LEXO_PARAM_FT_POST_PROCESS, -1, 2, "Param value [16] invalid."},
        {LEXO_PARAM_FT_POST_PROCESS, kHighBit + 1, 2, "Param value [16] invalid."},
    };
    for (const TypedCase& c : cases) {
        SCOPED_TRACE(std::to_string(c.key) + "=" + std::to_string(c.value));
        ExpectTyped(c.key, WordOf(c.value), c.code, c.message);
    }
}

TEST(ParamValidationTest, EveryNamedValueAndNothingBesideIt) {
    for (const params_item& item : g_params_family) {
        if (item.value_type != kParamEnumerated) {
            continue;
        }
        const std::intptr_t count = NumberOf(item.value_second);
        for (const std::intptr_t value : {std::intptr_t{-1}, count}) {
            const std::string message = "Param value [" + std::to_string(item.key) + "=" +
                                        std::to_string(value) + "] invalid.";
            SCOPED_TRACE(item.key_name);
            ExpectTyped(item.key, WordOf(value), 2, message.c_str());
        }
        for (std::intptr_t value = 0; value < count; ++value) {
            ExpectTyped(item.key, WordOf(value), 0, nullptr);
        }
    }
}

TEST(ParamValidationTest, TypedTexts) {
    std::string long_text(300, 'x');  // the bound 100 of the table is carried, not checked
    char letter[] = "x";
    char empty[] = "";
    for (const int key :
         {LEXO_PARAM_PROPERTY_LANGUAGE, LEXO_PARAM_PROPERTY_DOMAIN, LEXO_PARAM_POST_PROCESS}) {
        const std::string message = "Param value [" + std::to_string(key) + "] invalid.";
        ExpectTyped(key, long_text.data(), 0, nullptr);
        ExpectTyped(key, letter, 0, nullptr);
        ExpectTyped(key, empty, 2, message.c_str());
        ExpectTyped(key, nullptr, 2, message.c_str());
    }
}

constexpr int kUntouchedKey = 99;
constexpr std::intptr_t kUntouched = 4711;

struct TextualCase {
    const char* name;
    std::string text;
    int code;
    int key;
    std::intptr_t value;
    const char* message = nullptr;
};

TEST(ParamValidationTest, TextualPairs) {
    const TextualCase cases[] = {
        {"vad_tail", "", 0, 2, 0},
        {"vad_tail", "30000", 0, 2, 30000},
        {"vad_tail", "000500", 0, 2, 500},
        {"vad_tail", "4294967796", 0, 2, 500},  // modulo 2^32
        {"vad_tail", "30001", 2, 2, kUntouched, "Param value [vad_tail=30001] invalid."},
        {"vad_tail", "-5", 2, 2, kUntouched, "Param value [-5] not a number."},
        {"vad_tail", "5 ", 2, 2, kUntouched, "Param value [5 ] not a number."},
        {"vad_tail", "4294967295", 2, 2, kUntouched, "Param value [4294967295] not a number."},
        {"vad_tail", "4294967294", 2, 2, kUntouched, "Param value [vad_tail=4294967294] invalid."},
        {"max_seconds", "0", 2, 3, kUntouched, "Param value [max_seconds=0] invalid."},
        {"max_seconds", "", 2, 3, kUntouched, "Param value [max_seconds=] invalid."},
        {"vad_threshold", "100", 0, 5, 100},
        {"audio_format", "v3_6k4bit", 0, 4, 7},
        {"audio_format", "ALAW", 2, 4, kUntouched, "Param value [audio_format=ALAW] invalid."},
        {"audio_format", "", 2, 4, kUntouched, "Param value [audio_format=] invalid."},
        {"audio_format", "1", 2, 4, kUntouched, "Param value [audio_format=1] invalid."},
        {"stream_recog", "continue-rt", 0, 8, 3},
        {"stream", "yes", 1, kUntouchedKey, kUntouched, "Param type [stream] not found."},
        {"mode", "online", 1, kUntouchedKey, kUntouched, "Param type [mode] not found."},
        {"sample_rate", "8000", 1, kUntouchedKey, kUntouched,
         "Param type [sample_rate] not found."},
        {"Vad_tail", "1", 1, kUntouchedKey, kUntouched, "Param type [Vad_tail] not found."},
        {"vad_tail ", "1", 1, kUntouchedKey, kUntouched, "Param type [vad_tail ] not found."},
        {"", "1", 1, kUntouchedKey, kUntouched, "Param type [] not found."},
        {"property_language", "", 0, 12, kUntouched},
        {"property_domain", "any", 0, 14, kUntouched},
        {"qa_paramter", std::string(5000, 'q'), 0, 15, kUntouched},
        {"textpostproc", "punctuate", 0, 16, 1},
        {"textpostproc", "smooth;punctuate;xyz", 0, 16, 5},
        {"textpostproc", "paragraph;numnormal;smooth;punctuate", 0, 16, 15},
        {"textpostproc", ";;smooth;smooth;", 0, 16, 4},
        {"textpostproc", "", 2, 16, kUntouched, "Param value[textpostproc=] invalid."},
        {"textpostproc", ";", 2, 16, kUntouched, "Param value[textpostproc=;] invalid."},
        {"textpostproc", "Smooth", 2, 16, kUntouched, "Param value[textpostproc=Smooth] invalid."},
        {"textpostproc", "smooth ", 2, 16, kUntouched,
         "Param value[textpostproc=smooth ] invalid."},
        {"textpostproc", "5", 2, 16, kUntouched, "Param value[textpostproc=5] invalid."},
    };
    for (const TextualCase& c : cases) {
        SCOPED_TRACE(std::string(c.name) + "=" + c.text.substr(0, 40));
        auto key = static_cast<Lexo_ParamKey>(kUntouchedKey);
        Lexo_ParamValue value = WordOf(kUntouched);
        int code = -1;
        const Messages logged =
            MessagesOf([&] { code = Access::CheckAndGetConfig(c.name, c.text, &key, &value); });
        EXPECT_EQ(code, c.code);
        EXPECT_EQ(key, c.key);
        EXPECT_EQ(NumberOf(value), c.value);
        EXPECT_EQ(logged, c.message == nullptr ? Messages{} : Messages{c.message});
    }
}

TEST(ParamValidationTest, OutputsThatMayBeNull) {
    Lexo_ParamValue value = nullptr;
    EXPECT_EQ(Access::CheckAndGetConfig("vad_head", "7", nullptr, &value), 0);
    EXPECT_EQ(NumberOf(value), 7);
    EXPECT_EQ(Access::CheckAndGetConfig("add_punc", "yes", nullptr, nullptr), 0);
    EXPECT_EQ(Access::CheckAndGetConfig("property_domain", "x", nullptr, nullptr), 0);
}

TEST(ParamValidationTest, DecimalDigits) {
    const struct {
        const char* text;
        int value;
    } cases[] = {
        {"", 0},
        {"0", 0},
        {"0012", 12},
        {"2147483647", INT_MAX},
        {"-1", -1},
        {"+1", -1},
        {" 1", -1},
        {"1 ", -1},
        {"1a2", -1},
        {"0x10", -1},
        {"\xFF", -1},
        {"2147483648", INT_MIN},
        {"4294967296", 0},
        {"4294967295", -1},
        // A weight beyond 2^32 has no low bits left.
        {"100000000000000000000000000000000000000000", 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Access::ToInt(c.text), c.value) << '"' << c.text << '"';
    }
}

}  // namespace
