// The textual validator: pairs of names and values, and the check of a whole task configuration.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>

#include "MessagesOf.h"
#include "TaskConfig.h"
#include "TestAccess.h"
#include "param_word.h"

namespace {

using Access = ProxyParamsMgrTestAccess;

constexpr int kUntouchedKey = 99;
constexpr std::intptr_t kUntouched = 4711;

TEST(ParamTextTest, Pairs) {
    const struct {
        const char* name;
        std::string text;
        int code;
        int key;
        std::intptr_t value;
        const char* message = nullptr;
    } cases[] = {
        {"vad_tail", "4294967796", 0, 2, 500},  // modulo 2^32
        {"vad_tail", "30001", 2, 2, kUntouched, "Param value [vad_tail=30001] invalid."},
        {"vad_tail", "-5", 2, 2, kUntouched, "Param value [-5] not a number."},
        // A weight beyond 2^32 has no low bits left.
        {"vad_tail", "100000000000000000000000000000000000000007", 0, 2, 7},
        {"audio_format", "ALAW", 2, 4, kUntouched, "Param value [audio_format=ALAW] invalid."},
        {"stream", "yes", 1, kUntouchedKey, kUntouched, "Param type [stream] not found."},
        {"qa_paramter", std::string(5000, 'q'), 0, 15, kUntouched},
        {"textpostproc", "smooth;punctuate;xyz", 0, 16, 5},
        {"textpostproc", "", 2, 16, kUntouched, "Param value[textpostproc=] invalid."},
    };
    for (const auto& c : cases) {
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

// The check succeeds when every pair is wrong, and keeps the keys of wrong values.
TEST(ParamTextTest, TaskConfigurations) {
    const std::tuple<const char*, bool, std::size_t> cases[] = {
        {"", true, 0},
        {"vad_head=1", false, 0},
        {"add_punc=maybe,textpostproc=none,max_seconds=0,xyz=2", true, 3},
        // In the order of the names: what stands before the first valid pair is stored already.
        {"vad_tail=x,max_seconds=30,add_punc=maybe", false, 1},
    };
    for (const auto& [text, result, keys] : cases) {
        TaskConfig config(text);
        std::map<Lexo_ParamKey, Lexo_ParamValue> stored;
        EXPECT_EQ(ProxyParamsMgr::CheckTaskConfig("asr.cloud.freetalk", config, stored), result);
        EXPECT_EQ(stored.size(), keys) << text;
    }
}

}  // namespace
