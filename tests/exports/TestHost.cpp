#include "TestHost.h"

#include <ostream>

#include "CapturedOutput.h"

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << "code " << outcome.code << ", status " << outcome.status;
}

InitOutcome InitProxy(const char* argument) {
    const scripted::CapturedOutput out(stdout);
    const scripted::CapturedOutput err(stderr);
    const int code = orvx_proxy_Init(argument);
    return {code, out.Text(), err.Text()};
}

InitOutcome InitProxy(const std::string& argument) {
    return InitProxy(argument.c_str());
}

int CapabilityCount() {
    Lexo_CapabilityInfoList list = {-1, nullptr};
    EXPECT_EQ(orvx_proxy_GetCapabilityInfoList(&list), LEXO_ERR_NONE);
    const int count = list.nCapabilityCount;
    EXPECT_EQ(orvx_proxy_ReleaseCapabilityInfoList(&list), LEXO_ERR_NONE);
    return count;
}

Session::Session(const char* capability) {
    is_started_ = orvx_proxy_SessionStart(capability, &handle_) == LEXO_ERR_NONE;
    EXPECT_TRUE(is_started_) << capability;
}

Session::~Session() {
    if (!is_started_) {
        return;
    }
    Lexo_RecogResult* result = nullptr;
    if (orvx_proxy_GetRecogResult(handle_, &result) == LEXO_ERR_NONE) {
        EXPECT_EQ(orvx_proxy_FreeRecogResult(handle_, &result), LEXO_ERR_NONE);
    }
    orvx_proxy_DeactiveResource(handle_);
    EXPECT_EQ(orvx_proxy_SessionStop(handle_), LEXO_ERR_NONE);
}

int Session::SetNumber(Lexo_ParamKey key, std::intptr_t value) {
    return orvx_proxy_SetParam(handle_, key, reinterpret_cast<Lexo_ParamValue>(value));
}

int Session::SetText(Lexo_ParamKey key, const char* text) {
    return orvx_proxy_SetParam(handle_, key, const_cast<char*>(text));
}

std::intptr_t Session::GetNumber(Lexo_ParamKey key) const {
    Lexo_ParamValue value = nullptr;
    EXPECT_EQ(orvx_proxy_GetParam(handle_, key, &value), LEXO_ERR_NONE) << "key " << key;
    return reinterpret_cast<std::intptr_t>(value);
}

const char* Session::GetText(Lexo_ParamKey key) const {
    return reinterpret_cast<const char*>(GetNumber(key));
}

Outcome Session::Recognize(std::string_view audio) {
    return Send(audio, 0);
}

Outcome Session::Close(std::string_view audio) {
    return Send(audio, 1);
}

Outcome Session::Send(std::string_view audio, int is_data_over) {
    Outcome outcome;
    outcome.code = orvx_proxy_Recognize(handle_, audio.data(), static_cast<int>(audio.size()),
                                        is_data_over, &outcome.status);
    return outcome;
}

Lexo_RecogResult* Session::GetResult() {
    Lexo_RecogResult* result = nullptr;
    EXPECT_EQ(orvx_proxy_GetRecogResult(handle_, &result), LEXO_ERR_NONE);
    return result;
}

int Session::FreeResult() {
    Lexo_RecogResult* result = GetResult();
    return orvx_proxy_FreeRecogResult(handle_, &result);
}

void HostTest::SetUp() {
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    home_.NewLog();
}

void HostTest::TearDown() {
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);
}

scripted::Request HostTest::Sent(Session& session, std::string_view audio) {
    EXPECT_EQ(session.Recognize(audio), (Outcome{LEXO_ERR_NONE, 0}));
    return server_.LastRequest();
}

const Lexo_RecogResult* HostTest::Deliver(Session& session,
                                          const quorlan::protocol::LexoResponseMessage& result) {
    server_.Then(scripted::Answer(scripted::EchoResult(result)));
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 2}));
    return session.GetResult();
}
