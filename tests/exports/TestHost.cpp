#include "TestHost.h"

#include <ostream>

#include "CapturedOutput.h"

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << "code " << outcome.code << ", status " << outcome.status;
}

InitOutcome InitProxy(const std::string& argument) {
    const scripted::CapturedOutput out(stdout);
    const scripted::CapturedOutput err(stderr);
    const int code = orvx_proxy_Init(argument.c_str());
    return {code, out.Text(), err.Text()};
}

int CapabilityCount() {
    Lexo_CapabilityInfoList list = {-1, nullptr};
    EXPECT_EQ(orvx_proxy_GetCapabilityInfoList(&list), LEXO_ERR_NONE);
    const int count = list.nCapabilityCount;
    EXPECT_EQ(orvx_proxy_ReleaseCapabilityInfoList(&list), LEXO_ERR_NONE);
    return count;
}

Loaded LoadBuffer(const char* capability, int format, std::string_view data) {
    Loaded loaded;
    loaded.code = orvx_proxy_LoadResource(capability, LEXO_RESOURCE_BUFFER, data.data(),
                                          static_cast<int>(data.size()),
                                          static_cast<Lexo_ResourceFormatType>(format), &loaded.id);
    return loaded;
}

Loaded LoadFile(const std::string& path) {
    Loaded loaded;
    loaded.code = orvx_proxy_LoadResource("grammar", LEXO_RESOURCE_FILE, path.c_str(), -5,
                                          LEXO_RESOURCE_GRAMMAR_ABNF, &loaded.id);
    return loaded;
}

Session::Session(const char* capability) {
    is_started_ = orvx_proxy_SessionStart(capability, &handle_) == LEXO_ERR_NONE;
    EXPECT_TRUE(is_started_) << capability;
}

Session::~Session() {
    if (!is_started_) {
        return;
    }
    int code = orvx_proxy_SessionStop(handle_);
    if (code == LEXO_ERR_RESULT_NOT_FREE) {
        FreeResult();
        code = orvx_proxy_SessionStop(handle_);
    }
    if (code == LEXO_ERR_RESOURCE_NEED_DEACTIVE) {
        Release();
        code = orvx_proxy_SessionStop(handle_);
    }
    EXPECT_EQ(code, LEXO_ERR_NONE);
}

std::intptr_t Session::GetNumber(Lexo_ParamKey key) const {
    Lexo_ParamValue value = nullptr;
    EXPECT_EQ(orvx_proxy_GetParam(handle_, key, &value), LEXO_ERR_NONE) << "key " << key;
    return reinterpret_cast<std::intptr_t>(value);
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

Lines BareHostTest::Logged(const std::string& level) {
    Lines texts;
    for (const std::string& record : home_.NewLog()) {
        if (record.starts_with(level + " ")) {
            texts.push_back(record.substr(level.size() + 1));
        }
    }
    return texts;
}

std::vector<int> BareHostTest::ChunkNumbers() const {
    std::vector<int> numbers;
    for (const auto& request : server_.Requests()) {
        EXPECT_EQ(request.access.chunk_no(), request.inner.chunk_no());
        numbers.push_back(request.inner.chunk_no());
    }
    return numbers;
}

void HostTest::SetUp() {
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    home_.NewLog();
}

scripted::Request HostTest::Sent(Session& session, std::string_view audio) {
    EXPECT_EQ(session.Recognize(audio), kGood);
    return server_.LastRequest();
}

const Lexo_RecogResult* HostTest::Deliver(Session& session,
                                          const quorlan::protocol::LexoResponseMessage& result) {
    server_.Then(scripted::Answer(scripted::EchoResult(result)));
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 2}));
    return session.GetResult();
}
