// What a one-shot request carries, field by field, as the server sees it.
#include <string>

#include "TestHost.h"

namespace {

namespace protocol = quorlan::protocol;
using protocol::LexoRequestMessage;
using scripted::Logged;
using scripted::LoggedLike;
using scripted::Request;

class RequestTest : public HostTest {};

TEST_F(RequestTest, TheEnvelope) {
    Session session("grammar");
    const Request request = Sent(session);
    const std::string body = request.header.SerializeAsString();
    EXPECT_EQ(request.frame, scripted::LengthPrefix(static_cast<std::uint32_t>(body.size())) + body)
        << "nothing unknown in it, and the length counts the body alone";
    EXPECT_EQ(request.header.message_type(), protocol::MessageHeader_QuorMessageType(31));
    EXPECT_EQ(request.header.name(), "CapbilityAccessMessage");
    EXPECT_FALSE(request.header.HasExtension(protocol::lexo_request_message))
        << "the inner request rides as bytes only";
    EXPECT_FALSE(
        request.header.HasExtension(protocol::capbility::capbility_access_response_message));
}

TEST_F(RequestTest, TheAccessLayer) {
    Session session("grammar");
    const Request request = Sent(session);
    const auto& access = request.access;
    EXPECT_EQ(access.capkey(), "asr.cloud.grammar");
    EXPECT_EQ(access.property(), "chinese_8k_common,need_nlu=no");
    EXPECT_EQ(access.sdk_version(), "3.5");
    EXPECT_EQ(access.identify(), request.inner.identify());
    EXPECT_EQ(access.chunk_no(), -1);
    EXPECT_EQ(access.udid_type(), 30);
    EXPECT_EQ(access.data_len(), static_cast<int>(access.data().size()));
    EXPECT_EQ(access.data(), request.inner.SerializeAsString());
    EXPECT_TRUE(access.has_chunk_no() && access.has_udid());
}

TEST_F(RequestTest, TheInnerRequest) {
    Session session("keywordspot");
    const std::string audio("\0\xFF\x80 pcm\0", 7);
    const LexoRequestMessage inner = Sent(session, audio).inner;
    EXPECT_EQ(inner.cap_name(), "asr.cloud.keywordspot");
    EXPECT_EQ(inner.data(), audio);
    EXPECT_EQ(inner.data_len(), 7);
    EXPECT_EQ(inner.chunk_no(), -1);
    EXPECT_NE(inner.identify(), "");
    EXPECT_NE(inner.task_config(), "");
    EXPECT_FALSE(inner.has_result_token());
    EXPECT_FALSE(inner.has_resource_buildin() || inner.has_proload_resource() ||
                 inner.has_resource_data() || inner.has_resource_data_len() ||
                 inner.has_resource_type());
}

TEST_F(RequestTest, AudioIsSentAsItIs) {
    Session session("freetalk");
    for (const std::size_t bytes : {std::size_t{1}, std::size_t{65536}, std::size_t{3000001}}) {
        std::string audio(bytes, '\0');
        for (std::size_t i = 0; i < bytes; ++i) {
            audio[i] = static_cast<char>(i * 31 >> 3);
        }
        const Request request = Sent(session, audio);
        EXPECT_TRUE(request.inner.data() == audio) << bytes;
        EXPECT_EQ(request.inner.data_len(), static_cast<int>(bytes));
    }
}

TEST_F(RequestTest, OutsideRealTimeTheLastChunkMarkHasNoEffect) {
    Session session("freetalk");
    EXPECT_EQ(session.Close("audio"), (Outcome{LEXO_ERR_NONE, 0}));
    EXPECT_EQ(server_.LastRequest().inner.data(), "audio");
    EXPECT_EQ(server_.LastRequest().inner.chunk_no(), -1);
}

TEST_F(RequestTest, WithoutDataNothingIsSent) {
    Session session("freetalk");
    struct Case {
        const char* data;
        int bytes;
        int is_data_over;
    };
    for (const Case& one : {Case{nullptr, 0, 0}, Case{nullptr, 5, 0}, Case{"x", 0, 0},
                            Case{"x", -1, 0}, Case{nullptr, 0, 1}, Case{"x", -7, 1}}) {
        home_.NewLog();
        int status = kUntouched;
        EXPECT_EQ(
            orvx_proxy_Recognize(session.Handle(), one.data, one.bytes, one.is_data_over, &status),
            LEXO_ERR_PARAM_INVALID);
        EXPECT_EQ(status, kUntouched);
        EXPECT_TRUE(Logged(home_.NewLog(), "ERROR",
                           "pData is NULL , nDataLen is 0 nDataLen:" + std::to_string(one.bytes)));
    }
    EXPECT_EQ(server_.RequestCount(), 0u);
}

TEST_F(RequestTest, ThePropertyTextFollowsTheParameters) {
    Session session("analysis");
    const auto property = [&] { return Sent(session).access.property(); };
    EXPECT_EQ(property(), "chinese_8k_common,need_nlu=no");
    session.SetNumber(LEXO_PARAM_PROPERTY_MODEL_TYPE, 1);
    EXPECT_EQ(property(), "chinese_16k_common,need_nlu=no");
    session.SetText(LEXO_PARAM_PROPERTY_DOMAIN, "law");
    EXPECT_EQ(property(), "chinese_16k_law,need_nlu=no");
    session.SetText(LEXO_PARAM_PROPERTY_LANGUAGE, "\xBA\xBA_\xD3\xEF");
    EXPECT_EQ(property(), "\xBA\xBA_\xD3\xEF_16k_law,need_nlu=no") << "any bytes pass";
    session.SetText(LEXO_PARAM_POST_PROCESS, "need_nlu=yes,a=b");
    EXPECT_EQ(property(), "\xBA\xBA_\xD3\xEF_16k_law,need_nlu=yes,a=b");
    const std::string longest(1024, 'q');
    session.SetText(LEXO_PARAM_POST_PROCESS, longest.c_str());
    EXPECT_EQ(property(), "\xBA\xBA_\xD3\xEF_16k_law," + longest);
}

TEST_F(RequestTest, ResourcesRideInTheRequest) {
    Session session("grammar");
    ASSERT_EQ(orvx_proxy_ActivePreloadResource(session.Handle(), "digits"), LEXO_ERR_NONE);
    LexoRequestMessage inner = Sent(session).inner;
    EXPECT_EQ(inner.resource_buildin(), 1);
    EXPECT_EQ(inner.proload_resource(), "digits");
    EXPECT_FALSE(inner.has_resource_data() || inner.has_resource_data_len() ||
                 inner.has_resource_type());

    const std::string grammar("#ABNF\0 1.0", 10);
    unsigned int id = 0;
    ASSERT_EQ(orvx_proxy_LoadResource("grammar", LEXO_RESOURCE_BUFFER, grammar.data(), 10,
                                      LEXO_RESOURCE_GRAMMAR_ABNF, &id),
              LEXO_ERR_NONE);
    ASSERT_EQ(orvx_proxy_ActiveResource(session.Handle(), id), LEXO_ERR_NONE);
    inner = Sent(session).inner;
    EXPECT_TRUE(inner.has_resource_buildin());
    EXPECT_EQ(inner.resource_buildin(), 0);
    EXPECT_FALSE(inner.has_proload_resource());
    EXPECT_EQ(inner.resource_data(), grammar);
    EXPECT_EQ(inner.resource_data_len(), 10);
    EXPECT_EQ(inner.resource_type(), 2);

    ASSERT_EQ(orvx_proxy_DeactiveResource(session.Handle()), LEXO_ERR_NONE);
    inner = Sent(session).inner;
    EXPECT_FALSE(inner.has_resource_buildin() || inner.has_resource_data());
    EXPECT_EQ(orvx_proxy_UnloadResource("grammar", id), LEXO_ERR_NONE);
}

TEST_F(RequestTest, AResourceFormatThatCannotBeSentIsRefused) {
    Session session("freetalk");
    unsigned int id = 0;
    ASSERT_EQ(orvx_proxy_LoadResource("freetalk", LEXO_RESOURCE_BUFFER, "x", 1,
                                      LEXO_RESOURCE_FREETALK_OLM, &id),
              LEXO_ERR_NONE);
    ASSERT_EQ(orvx_proxy_ActiveResource(session.Handle(), id), LEXO_ERR_NONE);
    for (const int stream : {0, 1}) {
        session.SetNumber(LEXO_PARAM_STREAM, stream);
        home_.NewLog();
        EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_PARAM_INVALID, 1}));
        EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", "Resource Format Type Inviaid, res_type_=7"));
        EXPECT_EQ(server_.RequestCount(), 0u);
    }
    orvx_proxy_DeactiveResource(session.Handle());
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
    EXPECT_EQ(server_.LastRequest().inner.chunk_no(), 1) << "the refused chunk was not counted";
    EXPECT_EQ(orvx_proxy_UnloadResource("freetalk", id), LEXO_ERR_NONE);
}

TEST_F(RequestTest, ARequestIsLogged) {
    Session session("grammar");
    session.SetText(LEXO_PARAM_POST_PROCESS, "post");
    server_.Then(scripted::Answer(
        scripted::EchoAccess([](auto& access) { access.set_process_time(4321); })));
    home_.NewLog();
    const Request request = Sent(session);
    const auto log = home_.NewLog();
    EXPECT_TRUE(LoggedLike(log, "INFO", "0x[0-9a-f]+>>>>>>>>identify=" + request.inner.identify()));
    EXPECT_TRUE(Logged(log, "DEBUG", "is_realtime_:false,is_first_of_realtime_:true"));
    EXPECT_TRUE(Logged(log, "DEBUG",
                       "data_len:" + std::to_string(request.access.data_len()) +
                           ",cap_name:asr.cloud.grammar,property:chinese_8k_common,chunk_no:-1,"
                           "uuid:" +
                           request.access.udid()));
    EXPECT_TRUE(Logged(log, "INFO", "process_time <4321>!"));
    EXPECT_TRUE(Logged(log, "INFO", "Recog status [0x0]"));
    EXPECT_TRUE(scripted::NothingLogged(log, "ERROR"));
}

}  // namespace
