// What a one-shot request carries, field by field, as the server sees it.
#include <pthread.h>
#include <unistd.h>

#include <string>

#include "Pattern.h"
#include "TestHost.h"

namespace {

namespace protocol = quorlan::protocol;
using protocol::LexoRequestMessage;
using scripted::Logged;
using scripted::LoggedLike;
using scripted::Request;

class RequestTest : public HostTest {};

TEST_F(RequestTest, TheEnvelopeAndTheAccessLayer) {
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
    const std::string audio = std::string("\0\xFF\x80 pcm\0", 7) + std::string(3000000, 'a');
    const LexoRequestMessage inner = Sent(session, audio).inner;
    EXPECT_EQ(inner.cap_name(), "asr.cloud.keywordspot");
    EXPECT_TRUE(inner.data() == audio);
    EXPECT_EQ(inner.data_len(), 3000007);
    EXPECT_EQ(inner.chunk_no(), -1);
    EXPECT_NE(inner.identify(), "");
    EXPECT_NE(inner.task_config(), "");
    EXPECT_FALSE(inner.has_result_token());
    EXPECT_FALSE(inner.has_resource_buildin() || inner.has_proload_resource() ||
                 inner.has_resource_data() || inner.has_resource_data_len() ||
                 inner.has_resource_type());
}

TEST_F(RequestTest, IdentitiesNameProcessThreadTimeAndIndex) {
    Session sessions[] = {Session("freetalk"), Session("grammar"), Session("freetalk")};
    int last = 0;
    for (Session& session : sessions) {
        const Request request = Sent(session);
        const auto groups = scripted::MatchWhole(
            request.inner.identify(),
            std::to_string(::getpid()) + "_" + std::to_string(::pthread_self()) +
                "_[0-9]{4}(-[0-9]{2}){2}T([0-9]{2}:){2}[0-9]{2}_([0-9]+),task=recognise");
        ASSERT_FALSE(groups.empty()) << request.inner.identify();
        const int index = std::stoi(groups[3]);
        EXPECT_EQ(index, last == 0 ? index : last + 1) << "all sessions draw from one sequence";
        last = index;
        EXPECT_FALSE(
            scripted::MatchWhole(request.access.udid(), "0:(([0-9a-f]{2}-){5}[0-9a-f]{2})?0{15}")
                .empty())
            << request.access.udid();
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
    const struct {
        const char* data;
        int bytes, is_data_over;
    } cases[] = {{nullptr, 5, 0}, {"x", 0, 0}, {"x", -1, 0}, {nullptr, 0, 1}};
    for (const auto& one : cases) {
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
    session.SetText(LEXO_PARAM_PROPERTY_DOMAIN, "law");
    session.SetText(LEXO_PARAM_PROPERTY_LANGUAGE, "\xBA\xBA_\xD3\xEF");
    EXPECT_EQ(property(), "\xBA\xBA_\xD3\xEF_16k_law,need_nlu=no") << "any bytes pass";
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
