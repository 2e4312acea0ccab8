// A session's parameter store: what it takes over, accepts, derives and hands out.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "MessagesOf.h"
#include "TestAccess.h"
#include "TestEngine.h"

namespace {

using Access = ProxySessionTestAccess;

Lexo_ErrCode SetText(ProxySession& session, Lexo_ParamKey key, const std::string& text) {
    return session.SetParam(key, const_cast<char*>(text.c_str()));
}

// Of a parameter that the session has.
Lexo_ParamValue Get(const ProxySession& session, Lexo_ParamKey key) {
    Lexo_ParamValue value = WordOf(-4711);
    EXPECT_EQ(session.GetParam(key, &value), LEXO_ERR_NONE) << key;
    return value;
}

std::string GetText(const ProxySession& session, Lexo_ParamKey key) {
    return TextOf(Get(session, key));
}

class SessionParamsTest : public ::testing::Test {
  protected:
    TestEngine engine_{LEXO_ENGINE_FREETALK};
    ProxySession session_{LEXO_ENGINE_FREETALK, "asr.cloud.freetalk", "", engine_.default_params};
};

TEST_F(SessionParamsTest, TakesOverTheEnginesDefaults) {
    engine_.Configure("[default]\nvad_tail=7\nproperty_model_type=1\nproperty_domain=bank\n");
    const ProxySession session(LEXO_ENGINE_FREETALK, "cap", "ignored", engine_.default_params);
    EXPECT_EQ(session.GetCapName(), "cap");
    EXPECT_EQ(NumberOf(Get(session, LEXO_PARAM_VAD_TAIL)), 7);
    EXPECT_EQ(Access::Property(session), "chinese_16k_bank");
    EXPECT_EQ(Access::QaText(session), "need_nlu=no");
    EXPECT_FALSE(session.HasResult());
    EXPECT_FALSE(session.HasResource());
    EXPECT_FALSE(session.InRealTimeRecog());
    // Texts of its own: neither sees the other's changes.
    EXPECT_NE(Get(session, LEXO_PARAM_PROPERTY_DOMAIN),
              engine_.default_params[LEXO_PARAM_PROPERTY_DOMAIN]);
    engine_.Configure("[default]\nproperty_domain=shop\n");
    EXPECT_EQ(GetText(session, LEXO_PARAM_PROPERTY_DOMAIN), "bank");
}

// What is missing in the engine's map reads as "", and is null there afterwards.
TEST(SessionConstructionTest, FromAnEmptyMap) {
    ProxySession::ParamMap params;
    ProxySession session(LEXO_ENGINE_GRAMMAR, "asr.cloud.grammar", "", params);
    EXPECT_EQ(params, (ProxySession::ParamMap{{LEXO_PARAM_PROPERTY_LANGUAGE, nullptr},
                                              {LEXO_PARAM_PROPERTY_DOMAIN, nullptr},
                                              {LEXO_PARAM_POST_PROCESS, nullptr}}));
    EXPECT_EQ(Access::Property(session), "_8k_");
    EXPECT_EQ(session.SetParam(LEXO_PARAM_PROPERTY_MODEL_TYPE, WordOf(1)), LEXO_ERR_NONE);
    EXPECT_EQ(SetText(session, LEXO_PARAM_PROPERTY_LANGUAGE, "thai"), LEXO_ERR_NONE);
    EXPECT_EQ(Access::Property(session), "thai_16k_");
    EXPECT_EQ(session.SetParam(LEXO_PARAM_VAD_HEAD, WordOf(1)), LEXO_ERR_NOT_SUPPORT);
}

TEST(SessionConstructionTest, LogsWhatItTookOver) {
    TestEngine engine(LEXO_ENGINE_KEYWORDSPOT);
    Messages logged = MessagesOf([&] {
        const ProxySession session(LEXO_ENGINE_KEYWORDSPOT, "cap", "", engine.default_params);
    });
    ASSERT_EQ(logged.size(), 11u);
    EXPECT_TRUE(logged.back().starts_with("15:")) << logged.back();  // the word, not the text
    EXPECT_EQ(logged.back().find("need_nlu"), std::string::npos);
    logged.pop_back();
    EXPECT_EQ(logged, (Messages{"engine_type:2", "1:10000", "2:500", "3:30", "4:0", "5:10", "8:0",
                                "12:chinese", "13:0", "14:common"}));
}

TEST_F(SessionParamsTest, RefusedValuesLeaveTheOldOnes) {
    char text[] = "x";
    char empty[] = "";
    const struct {
        Lexo_ParamKey key;
        Lexo_ParamValue value;
        Lexo_ErrCode code;
        std::string message;
    } cases[] = {
        {LEXO_PARAM_NBEST_RESULT, WordOf(1), LEXO_ERR_NOT_SUPPORT,
         "Param type [6] unsupported in capability [asr.cloud.freetalk][0]"},
        {LEXO_PARAM_SAMPLERATE, WordOf(8000), LEXO_ERR_NOT_SUPPORT,
         "Param type [0] unsupported in capability [asr.cloud.freetalk][0]"},
        {static_cast<Lexo_ParamKey>(-3), text, LEXO_ERR_NOT_SUPPORT,
         "Param type [-3] unsupported in capability [asr.cloud.freetalk][0]"},
        {LEXO_PARAM_VAD_TAIL, WordOf(30001), LEXO_ERR_PARAM_INVALID,
         "Param value [2=30001] invalid."},
        {LEXO_PARAM_STREAM, WordOf(5), LEXO_ERR_PARAM_INVALID, "Param value [8=5] invalid."},
        {LEXO_PARAM_FT_POST_PROCESS, WordOf(16), LEXO_ERR_PARAM_INVALID,
         "Param value [16] invalid."},
        {LEXO_PARAM_PROPERTY_LANGUAGE, empty, LEXO_ERR_PARAM_INVALID, "Param value [12] invalid."},
        {LEXO_PARAM_PROPERTY_DOMAIN, nullptr, LEXO_ERR_PARAM_INVALID, "Param value [14] invalid."},
        {LEXO_PARAM_POST_PROCESS, empty, LEXO_ERR_PARAM_INVALID, "Param value [15] invalid."},
    };
    const std::string before = session_.GetConfig();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        Lexo_ErrCode code = LEXO_ERR_NONE;
        EXPECT_EQ(MessagesOf([&] { code = session_.SetParam(c.key, c.value); }),
                  Messages{c.message});
        EXPECT_EQ(code, c.code);
    }
    EXPECT_EQ(session_.GetConfig(), before);
    EXPECT_EQ(Access::Property(session_), "chinese_8k_common");
    EXPECT_EQ(Access::QaText(session_), "need_nlu=no");
    EXPECT_FALSE(Access::IsRealTime(session_));
}

// The engine's map may hold a key that no parameter has: it can be read, not set.
TEST_F(SessionParamsTest, KeyWithoutARow) {
    engine_.default_params[LEXO_PARAM_SAMPLERATE] = WordOf(8000);
    ProxySession session(LEXO_ENGINE_FREETALK, "cap", "", engine_.default_params);
    EXPECT_EQ(NumberOf(Get(session, LEXO_PARAM_SAMPLERATE)), 8000);
    Lexo_ErrCode code = LEXO_ERR_NONE;
    EXPECT_EQ(MessagesOf([&] { code = session.SetParam(LEXO_PARAM_SAMPLERATE, WordOf(8000)); }),
              Messages{"Param type [0] not found."});
    EXPECT_EQ(code, LEXO_ERR_NOT_SUPPORT);
}

TEST_F(SessionParamsTest, GetParamOfAMissingKey) {
    Lexo_ParamValue value = WordOf(5);
    Lexo_ErrCode code = LEXO_ERR_NONE;
    EXPECT_EQ(MessagesOf([&] { code = session_.GetParam(LEXO_PARAM_MODE, &value); }),
              Messages{"Param type [10] unsupported in capability [asr.cloud.freetalk]"});
    EXPECT_EQ(code, LEXO_ERR_NOT_SUPPORT);
    EXPECT_EQ(value, WordOf(5));
    EXPECT_EQ(session_.GetParam(LEXO_PARAM_STREAM, nullptr), LEXO_ERR_PARAM_INVALID);
}

TEST_F(SessionParamsTest, PropertyTextFollowsItsThreeParts) {
    EXPECT_EQ(SetText(session_, LEXO_PARAM_PROPERTY_DOMAIN, "bank"), LEXO_ERR_NONE);
    EXPECT_EQ(Access::Property(session_), "chinese_8k_bank");
    EXPECT_EQ(session_.SetParam(LEXO_PARAM_PROPERTY_MODEL_TYPE, WordOf(1)), LEXO_ERR_NONE);
    EXPECT_EQ(Access::Property(session_), "chinese_16k_bank");
    EXPECT_EQ(SetText(session_, LEXO_PARAM_PROPERTY_LANGUAGE, "a_b"), LEXO_ERR_NONE);
    EXPECT_EQ(Access::Property(session_), "a_b_16k_bank");
    EXPECT_EQ(session_.SetParam(LEXO_PARAM_PROPERTY_MODEL_TYPE, WordOf(0)), LEXO_ERR_NONE);
    EXPECT_EQ(Access::Property(session_), "a_b_8k_bank");
}

struct TextKey {
    Lexo_ParamKey key;
    std::size_t capacity;
};
constexpr TextKey kTextKeys[] = {{LEXO_PARAM_PROPERTY_LANGUAGE, 256},
                                 {LEXO_PARAM_PROPERTY_DOMAIN, 256},
                                 {LEXO_PARAM_POST_PROCESS, 1024}};

TEST_F(SessionParamsTest, LongTextsKeepWhatFits) {
    for (const TextKey& c : kTextKeys) {
        const auto buffer = Get(session_, c.key);
        for (const std::size_t length :
             {c.capacity - 1, c.capacity, c.capacity + 1, c.capacity * 9, std::size_t{3}}) {
            const std::string text(length, static_cast<char>('a' + length % 26));
            EXPECT_EQ(SetText(session_, c.key, text), LEXO_ERR_NONE);
            EXPECT_EQ(GetText(session_, c.key), text.substr(0, c.capacity)) << length;
            EXPECT_EQ(Get(session_, c.key), buffer) << "the host may have kept the address";
        }
    }
    EXPECT_EQ(Access::QaText(session_), GetText(session_, LEXO_PARAM_POST_PROCESS));
}

// A text that fills the buffer is read no further, wherever it ends.
TEST_F(SessionParamsTest, ReadsNoByteBehindAFullBuffer) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    char* const area = static_cast<char*>(
        ::mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(area, MAP_FAILED);
    ASSERT_EQ(::mprotect(area + page, page, PROT_NONE), 0);
    for (const TextKey& c : kTextKeys) {
        char* const text = area + page - c.capacity;
        std::memset(text, 'p', c.capacity);
        EXPECT_EQ(session_.SetParam(c.key, text), LEXO_ERR_NONE);
        EXPECT_EQ(GetText(session_, c.key), std::string(c.capacity, 'p'));
    }
    ::munmap(area, 2 * page);
}

TEST_F(SessionParamsTest, OwnBufferAsArgument) {
    for (const TextKey& c : kTextKeys) {
        for (const std::size_t length : {std::size_t{6}, c.capacity}) {
            std::string text(length, 'o');
            text[0] = 'A';
            text[length - 1] = 'Z';
            SetText(session_, c.key, text);
            auto* const own = static_cast<char*>(Get(session_, c.key));
            EXPECT_EQ(session_.SetParam(c.key, own), LEXO_ERR_NONE);
            EXPECT_EQ(GetText(session_, c.key), text);
            EXPECT_EQ(session_.SetParam(c.key, own + 2), LEXO_ERR_NONE);
            EXPECT_EQ(GetText(session_, c.key), text.substr(2));
        }
    }
    // The buffer of one parameter as the value of another.
    SetText(session_, LEXO_PARAM_POST_PROCESS, std::string(300, 'q'));
    session_.SetParam(LEXO_PARAM_PROPERTY_DOMAIN, Get(session_, LEXO_PARAM_POST_PROCESS));
    EXPECT_EQ(GetText(session_, LEXO_PARAM_PROPERTY_DOMAIN), std::string(256, 'q'));
}

// Two parameters write one flag, and the later one wins.
TEST_F(SessionParamsTest, RealTimeFlag) {
    engine_.default_params[LEXO_PARAM_MODE] = WordOf(0);
    using Step = std::pair<Lexo_ParamKey, int>;
    const std::pair<std::vector<Step>, bool> cases[] = {
        {{}, false},
        {{{LEXO_PARAM_STREAM, 1}}, true},
        {{{LEXO_PARAM_STREAM, 2}}, true},
        {{{LEXO_PARAM_STREAM, 3}}, true},
        {{{LEXO_PARAM_STREAM, 4}}, true},
        {{{LEXO_PARAM_STREAM, 4}, {LEXO_PARAM_STREAM, 0}}, false},
        {{{LEXO_PARAM_STREAM, 4}, {LEXO_PARAM_STREAM, 5}}, true},  // the 5 is refused
        {{{LEXO_PARAM_MODE, 1}}, true},
        {{{LEXO_PARAM_MODE, 1}, {LEXO_PARAM_STREAM, 0}}, false},
        {{{LEXO_PARAM_STREAM, 0}, {LEXO_PARAM_MODE, 1}}, true},
        {{{LEXO_PARAM_STREAM, 1}, {LEXO_PARAM_MODE, 0}}, false},
        {{{LEXO_PARAM_MODE, 1}, {LEXO_PARAM_VAD_TAIL, 1}}, true},
    };
    int number = 0;
    for (const auto& [steps, is_realtime] : cases) {
        ProxySession session(LEXO_ENGINE_FREETALK, "cap", "", engine_.default_params);
        for (const auto& [key, value] : steps) {
            session.SetParam(key, WordOf(value));
        }
        EXPECT_EQ(Access::IsRealTime(session), is_realtime) << "case " << number;
        ++number;
    }
}

// A configuration file's numbers were not validated.
TEST_F(SessionParamsTest, RealTimeFlagFromTheDefaults) {
    const struct {
        std::intptr_t stream, mode;
        bool is_realtime;
    } cases[] = {
        {0, 0, false}, {1, 0, true}, {4, 0, true},  {5, 0, false}, {-2, 0, false},
        {0, 1, true},  {5, 1, true}, {0, 2, false}, {2, 1, true},
    };
    for (const auto& c : cases) {
        engine_.default_params[LEXO_PARAM_STREAM] = WordOf(c.stream);
        engine_.default_params[LEXO_PARAM_MODE] = WordOf(c.mode);
        const ProxySession session(LEXO_ENGINE_FREETALK, "cap", "", engine_.default_params);
        EXPECT_EQ(Access::IsRealTime(session), c.is_realtime) << c.stream << ' ' << c.mode;
    }
}

TEST_F(SessionParamsTest, ResourceBinding) {
    EXPECT_EQ(session_.SetResourceData("words", 0, LEXO_RESOURCE_GRAMMAR_ABNF, 2),
              LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(session_.SetResourceData(nullptr, 5, LEXO_RESOURCE_GRAMMAR_ABNF, 2),
              LEXO_ERR_PARAM_INVALID);
    EXPECT_FALSE(session_.HasResource());
    EXPECT_EQ(session_.SetResourceData("words", 5, LEXO_RESOURCE_GRAMMAR_ABNF, 2), LEXO_ERR_NONE);
    EXPECT_TRUE(session_.HasLoadedResource());
    EXPECT_EQ(session_.GetResourceId(), 2u);
    EXPECT_EQ(session_.SetResourceData(nullptr, 5, LEXO_RESOURCE_GRAMMAR_ABNF, 3),
              LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(session_.GetResourceId(), 2u);
    EXPECT_EQ(session_.SetResourceName("city"), LEXO_ERR_NONE);
    EXPECT_TRUE(session_.HasResource());
    EXPECT_FALSE(session_.HasLoadedResource());
    EXPECT_EQ(session_.UnsetResource(), LEXO_ERR_NONE);
    EXPECT_FALSE(session_.HasResource());
    EXPECT_FALSE(session_.HasLoadedResource());
}

}  // namespace
