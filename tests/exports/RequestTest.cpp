// What a request carries, byte for byte, as the server sees it.
#include <pthread.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "TestHost.h"

namespace {

namespace protocol = quorlan::protocol;
using protocol::LexoRequestMessage;
using scripted::Request;
using ::testing::IsSupersetOf;
using ::testing::MatchesRegex;

class RequestTest : public HostTest {
  protected:
    // The inner request of a one-shot call, its resource aside. What other tests are about is taken
    // from the request at hand.
    LexoRequestMessage OneShot(const Request& request, const std::string& audio = "audio") {
        LexoRequestMessage inner;
        inner.set_identify(request.inner.identify());
        inner.set_cap_name("asr.cloud.freetalk");
        inner.set_data(audio);
        inner.set_data_len(static_cast<int>(audio.size()));
        inner.set_task_config(request.inner.task_config());
        inner.set_chunk_no(-1);
        return inner;
    }

    // Whether the frame consists of this inner request and the layers that belong around it.
    void ExpectFrame(const Request& request, const LexoRequestMessage& inner) {
        protocol::MessageHeader header;
        header.set_message_type(protocol::MessageHeader_QuorMessageType(31));
        header.set_name("CapbilityAccessMessage");
        auto* access = header.MutableExtension(protocol::capbility::capbility_access_message);
        access->set_capkey(inner.cap_name());
        access->set_property("chinese_8k_common,need_nlu=no");
        access->set_sdk_version("3.5");
        access->set_identify(inner.identify());
        access->set_chunk_no(inner.chunk_no());
        access->set_udid_type(30);
        access->set_udid(request.access.udid());
        access->set_data(inner.SerializeAsString());
        access->set_data_len(static_cast<int>(access->data().size()));
        const std::string body = header.SerializeAsString();
        EXPECT_TRUE(request.frame ==
                    scripted::LengthPrefix(static_cast<std::uint32_t>(body.size())) + body);
    }
};

TEST_F(RequestTest, OneShotRequests) {
    Session session("freetalk");
    for (const std::string& audio :
         {std::string("\0\xFF\x80 pcm\0", 7), std::string(3000000, 'a')}) {
        const Request request = Sent(session, audio);
        EXPECT_NE(request.inner.task_config(), "");
        ExpectFrame(request, OneShot(request, audio));
    }
    EXPECT_EQ(session.Close("audio"), kGood);
    ExpectFrame(server_.LastRequest(), OneShot(server_.LastRequest()));
}

// Of so much audio nothing is read, as it is refused first.
TEST_F(RequestTest, ARequestOf2GiBIsNotSent) {
    Session session("freetalk");
    int status = kUntouched;
    EXPECT_EQ(orvx_proxy_Recognize(session.Handle(), "audio", INT_MAX, 0, &status),
              LEXO_ERR_NETWORK_FAILED);
    EXPECT_EQ(status, 1);
    EXPECT_EQ(Logged(), Lines{"is_parse_ok false"});
    EXPECT_EQ(server_.RequestCount(), 0u);
    EXPECT_EQ(session.Recognize("audio"), kGood);
}

TEST_F(RequestTest, RealTimeRequests) {
    Session session("keywordspot");
    session.SetNumber(LEXO_PARAM_STREAM, 1);
    session.Bind("words");
    server_.Otherwise(
        scripted::Answer(scripted::Echo([](auto& m) { m.set_result_token("of a later answer"); })));
    for (const std::string token : {"token", ""}) {
        server_.Then(scripted::Answer(scripted::Echo([=](auto& m) { m.set_result_token(token); })));
        Request request = Sent(session);
        LexoRequestMessage inner = OneShot(request);
        inner.set_cap_name("asr.cloud.keywordspot");
        inner.set_chunk_no(1);
        inner.set_resource_buildin(1);
        inner.set_proload_resource("words");
        ExpectFrame(request, inner);
        request = Sent(session);
        inner.clear_task_config();
        inner.clear_resource_buildin();
        inner.clear_proload_resource();
        inner.set_result_token(token);
        inner.set_chunk_no(2);
        ExpectFrame(request, inner);
        EXPECT_EQ(session.Close("not sent"), kGood);
        inner.set_data("");
        inner.set_data_len(0);
        inner.set_chunk_no(-3);
        ExpectFrame(server_.LastRequest(), inner);
    }
}

// One session takes them all, one after the other; each replaces the one before.
TEST_F(RequestTest, BoundResources) {
    Session freetalk("freetalk");
    const std::string words("a\0\xFF words", 9);
    for (int format = 0; format <= 6; ++format) {
        SCOPED_TRACE(format);
        const Loaded loaded = LoadBuffer("freetalk", format, words.substr(0, 9 - format));
        ASSERT_EQ(freetalk.Bind(loaded.id), LEXO_ERR_NONE);
        const Request request = Sent(freetalk);
        LexoRequestMessage inner = OneShot(request);
        inner.set_resource_buildin(0);
        inner.set_resource_data(words.substr(0, 9 - format));
        inner.set_resource_data_len(9 - format);
        inner.set_resource_type(protocol::LexoRequestMessage_ResourceFormat(format));
        ExpectFrame(request, inner);
    }
    EXPECT_EQ(freetalk.Release(), LEXO_ERR_NONE);
    const Request without = Sent(freetalk);
    ExpectFrame(without, OneShot(without));
    for (unsigned int id = 2; id <= 8; ++id)
        EXPECT_EQ(orvx_proxy_UnloadResource("freetalk", id), LEXO_ERR_NONE);

    Session grammar("grammar");
    for (const char* name : {"digits", "", static_cast<const char*>(nullptr)}) {
        ASSERT_EQ(grammar.Bind(name), LEXO_ERR_NONE);
        const Request request = Sent(grammar);
        LexoRequestMessage inner = OneShot(request);
        inner.set_cap_name("asr.cloud.grammar");
        inner.set_resource_buildin(1);
        inner.set_proload_resource(name != nullptr ? name : "");
        ExpectFrame(request, inner);
    }
}

TEST_F(RequestTest, AResourceFormatThatCannotBeSentIsRefused) {
    Session session("freetalk");
    const unsigned int id = LoadBuffer("freetalk", LEXO_RESOURCE_FREETALK_OLM).id;
    ASSERT_EQ(session.Bind(id), LEXO_ERR_NONE);
    for (const int stream : {0, 1}) {
        session.SetNumber(LEXO_PARAM_STREAM, stream);
        Logged();
        EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_PARAM_INVALID, 1}));
        EXPECT_EQ(Logged(), Lines{"Resource Format Type Inviaid, res_type_=7"});
        EXPECT_EQ(server_.RequestCount(), 0u);
    }
    session.Release();
    EXPECT_EQ(Sent(session).inner.chunk_no(), 1) << "the refused chunk was not counted";
    EXPECT_EQ(orvx_proxy_UnloadResource("freetalk", id), LEXO_ERR_NONE);
}

TEST_F(RequestTest, IdentitiesNameProcessThreadTimeAndIndex) {
    Session sessions[] = {Session("freetalk"), Session("grammar"), Session("freetalk")};
    int last = 0;
    for (Session& session : sessions) {
        EXPECT_EQ(session.Recognize({}).code, LEXO_ERR_PARAM_INVALID) << "takes no index";
        const Request request = Sent(session);
        const std::string identity = request.inner.identify();
        EXPECT_THAT(identity, MatchesRegex(std::to_string(::getpid()) + "_" +
                                           std::to_string(::pthread_self()) +
                                           "_[0-9]{4}(-[0-9]{2}){2}T([0-9]{2}:){2}[0-9]{2}_[0-9]+"
                                           ",task=recognise"));
        const int index = std::stoi(identity.substr(identity.rfind('_') + 1));
        EXPECT_EQ(index, last == 0 ? index : last + 1) << "all sessions draw from one sequence";
        last = index;
        EXPECT_THAT(request.access.udid(), MatchesRegex("0:(([0-9a-f]{2}-){5}[0-9a-f]{2})?0{15}"));
    }
}

TEST_F(RequestTest, OnlyTheClosingCallOfAnUtteranceNeedsNoData) {
    const struct {
        int stream;
        const char* data;
        int bytes, is_data_over, chunk;  // 0: nothing is sent
    } cases[] = {{0, nullptr, 5, 0, 0},  {0, "x", 0, 0, 0},     {0, "x", -1, 0, 0},
                 {0, nullptr, 0, 1, 0},  {1, nullptr, 0, 0, 0}, {1, nullptr, 0, 2, 0},
                 {1, nullptr, 0, 1, -1}, {1, "x", -3, 1, -1},   {1, "x", 1, 2, 1}};
    for (const auto& one : cases) {
        Session session("freetalk");
        session.SetNumber(LEXO_PARAM_STREAM, one.stream);
        const std::size_t requests = server_.RequestCount();
        int status = kUntouched;
        Logged();
        const int code =
            orvx_proxy_Recognize(session.Handle(), one.data, one.bytes, one.is_data_over, &status);
        if (one.chunk != 0) {
            EXPECT_EQ((Outcome{code, status}), kGood);
            EXPECT_EQ(server_.LastRequest().inner.chunk_no(), one.chunk);
            continue;
        }
        EXPECT_EQ((Outcome{code, status}), (Outcome{LEXO_ERR_PARAM_INVALID, kUntouched}));
        EXPECT_EQ(Logged(),
                  Lines{"pData is NULL , nDataLen is 0 nDataLen:" + std::to_string(one.bytes)});
        EXPECT_EQ(server_.RequestCount(), requests);
    }
}

TEST_F(RequestTest, ARequestIsLoggedAndTraced) {
    Session session("grammar");
    session.SetText(LEXO_PARAM_POST_PROCESS, "post");
    server_.Then(scripted::Answer(
        scripted::EchoAccess([](auto& access) { access.set_process_time(4321); })));
    home_.NewLog();
    const Request request = Sent(session);
    const auto log = home_.NewLog();
    EXPECT_THAT(log,
                IsSupersetOf(Lines{"DEBUG is_realtime_:false,is_first_of_realtime_:true",
                                   "DEBUG data_len:" + std::to_string(request.access.data_len()) +
                                       ",cap_name:asr.cloud.grammar,property:chinese_8k_common,"
                                       "chunk_no:-1,uuid:" +
                                       request.access.udid(),
                                   "INFO process_time <4321>!", "INFO Recog status [0x0]"}));
    EXPECT_THAT(
        log,
        IsSupersetOf({MatchesRegex("INFO 0x[0-9a-f]+>>>>>>>>identify=" + request.inner.identify()),
                      MatchesRegex("DEBUG .*Recognize.*")}));
}

}  // namespace
