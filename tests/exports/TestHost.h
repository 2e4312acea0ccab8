// A host as the tests play it: calls of the exported functions in a form that is short to write
// and whose outcomes compare and print as values.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "CapturedOutput.h"
#include "Footprint.h"
#include "Lexo.h"
#include "Reactions.h"
#include "ScriptedServer.h"
#include "TestHome.h"

using Lines = std::vector<std::string>;

// What the status variable holds before a Recognize call.
constexpr int kUntouched = -77;

// The code of a Recognize call and what it left in the status variable.
struct Outcome {
    int code = LEXO_ERR_NONE;
    int status = kUntouched;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};
inline std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << "code " << outcome.code << ", status " << outcome.status;
}

inline constexpr Outcome kGood = {LEXO_ERR_NONE, 0};

struct InitOutcome {
    int code = LEXO_ERR_NONE;
    std::string out;  // what the call wrote to standard output
    std::string err;  // and to standard error
};
inline InitOutcome InitProxy(const std::string& argument) {
    const scripted::CapturedOutput out(stdout);
    const scripted::CapturedOutput err(stderr);
    const int code = orvx_proxy_Init(argument.c_str());
    return {code, out.Text(), err.Text()};
}

// How many capabilities the library lists.
inline int CapabilityCount() {
    Lexo_CapabilityInfoList list = {-1, nullptr};
    EXPECT_EQ(orvx_proxy_GetCapabilityInfoList(&list), LEXO_ERR_NONE);
    const int count = list.nCapabilityCount;
    EXPECT_EQ(orvx_proxy_ReleaseCapabilityInfoList(&list), LEXO_ERR_NONE);
    return count;
}

// The outcome of loading a resource.
struct Loaded {
    int code = LEXO_ERR_NONE;
    unsigned int id = 4711;
};
inline Loaded Load(const char* capability, int type, const char* data, int bytes, int format) {
    Loaded loaded;
    loaded.code =
        orvx_proxy_LoadResource(capability, static_cast<Lexo_ResourceType>(type), data, bytes,
                                static_cast<Lexo_ResourceFormatType>(format), &loaded.id);
    return loaded;
}
inline Loaded LoadBuffer(const char* capability, int format, std::string_view data = "words") {
    return Load(capability, LEXO_RESOURCE_BUFFER, data.data(), static_cast<int>(data.size()),
                format);
}

// A session from construction to destruction, which gives back what is still held first.
class Session {
  public:
    explicit Session(const char* capability) {
        is_started_ = orvx_proxy_SessionStart(capability, &handle_) == LEXO_ERR_NONE;
        EXPECT_TRUE(is_started_) << capability;
    }
    ~Session() {
        if (!is_started_) return;
        int code = orvx_proxy_SessionStop(handle_);
        for (int held = 0; held < 2 && code != LEXO_ERR_NONE; ++held) {
            code == LEXO_ERR_RESULT_NOT_FREE ? FreeResult() : Release();
            code = orvx_proxy_SessionStop(handle_);
        }
        EXPECT_EQ(code, LEXO_ERR_NONE);
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Lexo_Handle Handle() const { return handle_; }
    std::intptr_t Number() const { return reinterpret_cast<std::intptr_t>(handle_); }

    int SetNumber(Lexo_ParamKey key, std::intptr_t value) {
        return orvx_proxy_SetParam(handle_, key, reinterpret_cast<Lexo_ParamValue>(value));
    }
    int SetText(Lexo_ParamKey key, const char* text) {
        return orvx_proxy_SetParam(handle_, key, const_cast<char*>(text));
    }
    std::intptr_t GetNumber(Lexo_ParamKey key) const {
        Lexo_ParamValue value = nullptr;
        EXPECT_EQ(orvx_proxy_GetParam(handle_, key, &value), LEXO_ERR_NONE) << "key " << key;
        return reinterpret_cast<std::intptr_t>(value);
    }
    const char* GetText(Lexo_ParamKey key) const {
        return reinterpret_cast<const char*>(GetNumber(key));
    }

    int Bind(unsigned int id) { return orvx_proxy_ActiveResource(handle_, id); }
    int Bind(const char* name) { return orvx_proxy_ActivePreloadResource(handle_, name); }
    int Release() { return orvx_proxy_DeactiveResource(handle_); }

    Outcome Recognize(std::string_view audio = "audio") { return Send(audio, 0); }
    // The closing call of a real-time utterance.
    Outcome Close(std::string_view audio = {}) { return Send(audio, 1); }
    Outcome Send(std::string_view audio, int is_data_over) {
        Outcome outcome;
        outcome.code = orvx_proxy_Recognize(handle_, audio.data(), static_cast<int>(audio.size()),
                                            is_data_over, &outcome.status);
        return outcome;
    }

    Lexo_RecogResult* GetResult() {
        Lexo_RecogResult* result = nullptr;
        EXPECT_EQ(orvx_proxy_GetRecogResult(handle_, &result), LEXO_ERR_NONE);
        return result;
    }
    int FreeResult() {
        Lexo_RecogResult* result = GetResult();
        return orvx_proxy_FreeRecogResult(handle_, &result);
    }

  private:
    Lexo_Handle handle_ = nullptr;
    bool is_started_ = false;
};

// The codes of all calls with a session's handle. They have no effect if there is no such session.
inline std::vector<int> CallsWith(Lexo_Handle handle) {
    Lexo_ParamValue value = nullptr;
    Lexo_RecogResult* result = nullptr;
    int status = kUntouched;
    const std::vector<int> codes = {orvx_proxy_Recognize(handle, "x", 1, 0, &status),
                                    orvx_proxy_GetRecogResult(handle, &result),
                                    orvx_proxy_FreeRecogResult(handle, &result),
                                    orvx_proxy_FreeRecogResult(handle, nullptr),
                                    orvx_proxy_SetParam(handle, LEXO_PARAM_STREAM, nullptr),
                                    orvx_proxy_GetParam(handle, LEXO_PARAM_STREAM, &value),
                                    orvx_proxy_ActiveResource(handle, 2),
                                    orvx_proxy_DeactiveResource(handle),
                                    orvx_proxy_ActivePreloadResource(handle, "x"),
                                    orvx_proxy_SessionStop(handle)};
    EXPECT_EQ(status, kUntouched);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(result, nullptr);
    return codes;
}

// Gives every test a home and a server, ends the library afterwards, and looks that nothing was
// left behind.
class BareHostTest : public ::testing::Test {
  protected:
    explicit BareHostTest(const scripted::HomeOptions& options = {}) : home_(options) {}
    void TearDown() override { EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE); }

    // The texts that were logged at this level since the log was last looked at.
    Lines Logged(const std::string& level = "ERROR") {
        Lines texts;
        for (const std::string& record : home_.NewLog())
            if (record.starts_with(level + " ")) texts.push_back(record.substr(level.size() + 1));
        return texts;
    }
    // The numbers of the chunks that the server got, which both layers must agree on.
    std::vector<int> ChunkNumbers() const {
        std::vector<int> numbers;
        for (const auto& request : server_.Requests()) {
            EXPECT_EQ(request.access.chunk_no(), request.inner.chunk_no());
            numbers.push_back(request.inner.chunk_no());
        }
        return numbers;
    }

  private:
    const scripted::Footprint footprint_;  // around all others

  protected:
    scripted::TestHome home_;
    scripted::ScriptedServer server_;
};

// With an initialised library.
class HostTest : public BareHostTest {
  protected:
    using BareHostTest::BareHostTest;
    void SetUp() override {
        ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
        home_.NewLog();
    }

    // The request of one call that the server answers well and without a result.
    scripted::Request Sent(Session& session, std::string_view audio = "audio") {
        EXPECT_EQ(session.Recognize(audio), kGood);
        return server_.LastRequest();
    }
    // The result that the host is lent when the server answers with this one.
    const Lexo_RecogResult* Deliver(Session& session,
                                    const quorlan::protocol::LexoResponseMessage& result) {
        server_.Then(scripted::Answer(scripted::EchoResult(result)));
        EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 2}));
        return session.GetResult();
    }
};

// The names of the capabilities, in the order of their engine types.
inline constexpr const char* kCapabilities[] = {"asr.cloud.freetalk", "asr.cloud.grammar",
                                                "asr.cloud.keywordspot", "asr.cloud.analysis"};
