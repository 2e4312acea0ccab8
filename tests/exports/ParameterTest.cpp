// Parameters of a session: which capability has which, the values they take, and their built-in
// defaults.
#include <set>
#include <string>
#include <vector>

#include "TestHost.h"

namespace {

using scripted::Logged;
using scripted::NothingLogged;

constexpr int kKeys = LEXO_PARAM_FT_POST_PROCESS + 1;

class ParameterTest : public HostTest {};

struct KeySet {
    const char* capability;
    std::set<int> keys;
};

const KeySet kKeySets[] = {
    {"asr.cloud.freetalk", {1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 14, 15, 16}},
    {"asr.cloud.grammar", {1, 2, 3, 4, 5, 6, 8, 12, 13, 14, 15}},
    {"asr.cloud.keywordspot", {1, 2, 3, 4, 5, 8, 12, 13, 14, 15}},
    {"asr.cloud.analysis", {1, 2, 3, 4, 5, 7, 9, 10, 11, 12, 13, 14, 15}},
};

TEST_F(ParameterTest, EachCapabilityHasItsOwnKeys) {
    for (int type = 0; type < 4; ++type) {
        const KeySet& one = kKeySets[type];
        const Session session(one.capability);
        for (int key = -1; key <= kKeys; ++key) {
            SCOPED_TRACE(std::string(one.capability) + ", key " + std::to_string(key));
            const auto param = static_cast<Lexo_ParamKey>(key);
            Lexo_ParamValue value = &server_;
            home_.NewLog();
            const int code = orvx_proxy_GetParam(session.Handle(), param, &value);
            if (one.keys.count(key) != 0) {
                EXPECT_EQ(code, LEXO_ERR_NONE);
                EXPECT_EQ(orvx_proxy_SetParam(session.Handle(), param, value), LEXO_ERR_NONE)
                    << "a default is a legal value, the session's own text included";
                EXPECT_TRUE(NothingLogged(home_.NewLog(), "ERROR"));
                continue;
            }
            const std::string text = "Param type [" + std::to_string(key) +
                                     "] unsupported in capability [" + one.capability + "]";
            EXPECT_EQ(code, LEXO_ERR_NOT_SUPPORT);
            EXPECT_EQ(value, &server_);
            EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", text));
            EXPECT_EQ(orvx_proxy_SetParam(session.Handle(), param, nullptr), LEXO_ERR_NOT_SUPPORT);
            EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", text + "[" + std::to_string(type) + "]"));
        }
    }
}

TEST_F(ParameterTest, BuiltInDefaults) {
    const std::vector<std::pair<Lexo_ParamKey, int>> numbers = {
        {LEXO_PARAM_VAD_HEAD, 10000},    {LEXO_PARAM_VAD_TAIL, 500},
        {LEXO_PARAM_MAX_SECONDS, 30},    {LEXO_PARAM_AUDIOFORMAT, 0},
        {LEXO_PARAM_VAD_THRESHOLD, 10},  {LEXO_PARAM_NBEST_RESULT, 0},
        {LEXO_PARAM_ADD_PUNC, 0},        {LEXO_PARAM_STREAM, 0},
        {LEXO_PARAM_RESULT_TYPE, 0},     {LEXO_PARAM_MODE, 0},
        {LEXO_PARAM_CHANNEL_TYPE, 0},    {LEXO_PARAM_PROPERTY_MODEL_TYPE, 0},
        {LEXO_PARAM_FT_POST_PROCESS, 0},
    };
    for (const KeySet& one : kKeySets) {
        SCOPED_TRACE(one.capability);
        const Session session(one.capability);
        for (const auto& [key, value] : numbers) {
            if (one.keys.count(key) != 0) {
                EXPECT_EQ(session.GetNumber(key), value) << "key " << key;
            }
        }
        EXPECT_STREQ(session.GetText(LEXO_PARAM_PROPERTY_LANGUAGE), "chinese");
        EXPECT_STREQ(session.GetText(LEXO_PARAM_PROPERTY_DOMAIN), "common");
        EXPECT_STREQ(session.GetText(LEXO_PARAM_POST_PROCESS), "need_nlu=no");
    }
}

struct NumberCase {
    const char* capability;
    Lexo_ParamKey key;
    std::vector<std::intptr_t> legal;
    std::vector<std::intptr_t> illegal;
};

// Enumerated values are compared as whole words, ranges look at the low 32 bits.
constexpr std::intptr_t kHighWord = std::intptr_t{1} << 32;

const NumberCase kNumberCases[] = {
    {"freetalk", LEXO_PARAM_VAD_HEAD, {0, 1, 1800000, kHighWord + 5}, {-1, 1800001, 0x7FFFFFFF}},
    {"grammar", LEXO_PARAM_VAD_TAIL, {0, 30000}, {-1, 30001}},
    {"analysis", LEXO_PARAM_MAX_SECONDS, {1, 60}, {0, 61, -1}},
    {"keywordspot", LEXO_PARAM_VAD_THRESHOLD, {1, 100}, {0, 101}},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, {0, 3, 7}, {8, -1, kHighWord}},
    {"grammar", LEXO_PARAM_NBEST_RESULT, {0, 1}, {2}},
    {"analysis", LEXO_PARAM_ADD_PUNC, {0, 1}, {2}},
    {"keywordspot", LEXO_PARAM_STREAM, {0, 1, 2, 3, 4}, {5, -1}},
    {"freetalk", LEXO_PARAM_RESULT_TYPE, {0, 1, 2}, {3}},
    {"analysis", LEXO_PARAM_MODE, {0, 1}, {2}},
    {"analysis", LEXO_PARAM_CHANNEL_TYPE, {0, 1, 2}, {3}},
    {"grammar", LEXO_PARAM_PROPERTY_MODEL_TYPE, {0, 1}, {2, 8000}},
    {"freetalk", LEXO_PARAM_FT_POST_PROCESS, {0, 1, 2, 3, 4, 8, 15}, {16, 17, -1, kHighWord}},
};

// The validator's record: bit masks are told without their value.
std::string InvalidValue(Lexo_ParamKey key, std::intptr_t value) {
    const std::string number = std::to_string(static_cast<int>(key));
    return key == LEXO_PARAM_FT_POST_PROCESS
               ? "Param value [" + number + "] invalid."
               : "Param value [" + number + "=" + std::to_string(static_cast<int>(value)) +
                     "] invalid.";
}

TEST_F(ParameterTest, NumbersAreCheckedAndKeptAsGiven) {
    for (const NumberCase& one : kNumberCases) {
        Session session(one.capability);
        for (const std::intptr_t value : one.legal) {
            SCOPED_TRACE("key " + std::to_string(one.key) + " = " + std::to_string(value));
            EXPECT_EQ(session.SetNumber(one.key, value), LEXO_ERR_NONE);
            EXPECT_EQ(session.GetNumber(one.key), value);
        }
        for (const std::intptr_t value : one.illegal) {
            SCOPED_TRACE("key " + std::to_string(one.key) + " = " + std::to_string(value));
            home_.NewLog();
            EXPECT_EQ(session.SetNumber(one.key, value), LEXO_ERR_PARAM_INVALID);
            EXPECT_EQ(session.GetNumber(one.key), one.legal.back()) << "the old value stays";
            EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", InvalidValue(one.key, value)));
        }
    }
}

struct TextKey {
    Lexo_ParamKey key;
    std::size_t capacity;  // bytes that are kept
};

const TextKey kTextKeys[] = {{LEXO_PARAM_PROPERTY_LANGUAGE, 256},
                             {LEXO_PARAM_PROPERTY_DOMAIN, 256},
                             {LEXO_PARAM_POST_PROCESS, 1024}};

TEST_F(ParameterTest, TextsAreCopiedIntoOneBufferOfTheSession) {
    for (const TextKey& one : kTextKeys) {
        Session session("grammar");
        const char* const buffer = session.GetText(one.key);
        std::string longest(one.capacity, 'x');
        longest.front() = '<';
        longest.back() = '>';
        const std::string texts[] = {"english", longest, "a", "\xBA\xBA\xD3\xEF \xFF", longest};
        for (const std::string& text : texts) {
            SCOPED_TRACE("key " + std::to_string(one.key) + " = " + text);
            std::string copy = text;
            EXPECT_EQ(session.SetText(one.key, copy.c_str()), LEXO_ERR_NONE);
            copy.assign(copy.size(), '?');
            EXPECT_STREQ(session.GetText(one.key), text.c_str());
            EXPECT_EQ(session.GetText(one.key), buffer) << "the buffer never moves";
        }
        EXPECT_EQ(session.SetText(one.key, (longest + "cut").c_str()), LEXO_ERR_NONE);
        EXPECT_EQ(session.GetText(one.key), longest) << "what does not fit is cut";
        EXPECT_EQ(session.SetText(one.key, buffer + 1), LEXO_ERR_NONE) << "its own text moves up";
        EXPECT_EQ(session.GetText(one.key), longest.substr(1));
    }
}

TEST_F(ParameterTest, EmptyTextsAreRefused) {
    for (const TextKey& one : kTextKeys) {
        SCOPED_TRACE(one.key);
        Session session("freetalk");
        const std::string before = session.GetText(one.key);
        for (const char* text : {"", static_cast<const char*>(nullptr)}) {
            home_.NewLog();
            EXPECT_EQ(session.SetText(one.key, text), LEXO_ERR_PARAM_INVALID);
            EXPECT_TRUE(Logged(home_.NewLog(), "ERROR",
                               "Param value [" + std::to_string(one.key) + "] invalid."));
            EXPECT_EQ(session.GetText(one.key), before);
        }
    }
}

TEST_F(ParameterTest, SessionsDoNotShareValues) {
    Session one("freetalk");
    Session two("freetalk");
    EXPECT_EQ(one.SetText(LEXO_PARAM_PROPERTY_DOMAIN, "medicine"), LEXO_ERR_NONE);
    EXPECT_EQ(one.SetNumber(LEXO_PARAM_VAD_TAIL, 1), LEXO_ERR_NONE);
    EXPECT_STREQ(two.GetText(LEXO_PARAM_PROPERTY_DOMAIN), "common");
    EXPECT_EQ(two.GetNumber(LEXO_PARAM_VAD_TAIL), 500);
    EXPECT_STREQ(Session("freetalk").GetText(LEXO_PARAM_PROPERTY_DOMAIN), "common");
}

}  // namespace
