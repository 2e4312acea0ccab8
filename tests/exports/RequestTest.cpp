// What a one-shot request carries, field by field, as the server sees it.
#include <ifaddrs.h>
#include <netinet/in.h>
#include <pthread.h>
#include <unistd.h>

#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#include "FreshProcess.h"
#include "Pattern.h"
#include "TestHost.h"

namespace {

namespace protocol = quorlan::protocol;
using protocol::LexoRequestMessage;
using scripted::Logged;
using scripted::LoggedLike;
using scripted::Request;

class RequestTest : public HostTest {
  protected:
    // The request that one call with this audio sends.
    Request Sent(Session& session, std::string_view audio = "audio") {
        EXPECT_EQ(session.Recognize(audio), (Outcome{LEXO_ERR_NONE, 0}));
        return server_.LastRequest();
    }
};

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

// ---- The task configuration --------------------------------------------------------------------

const char* const kVad =
    "vad_head=10000,vad_tail=500,max_seconds=30,audio_format=pcm8k16bit,"
    "vad_threshold=10,";
const char* const kProperty =
    "property_language=chinese,property_model_type=8k,"
    "property_domain=common";

TEST_F(RequestTest, TheTaskConfigurationOfEachCapability) {
    const std::pair<const char*, const char*> cases[] = {
        {"asr.cloud.freetalk", "add_punc=no,stream_recog=no,result_type=sentence,"},
        {"asr.cloud.grammar", "nbest_result=no,stream_recog=no,"},
        {"asr.cloud.keywordspot", "stream_recog=no,"},
        {"asr.cloud.analysis",
         "add_punc=no,result_type=sentence,analysis_mode=offline,channel_type=mono,"},
    };
    for (const auto& [capability, own] : cases) {
        SCOPED_TRACE(capability);
        Session session(capability);
        home_.NewLog();
        const std::string config = std::string(kVad) + own + kProperty;
        EXPECT_EQ(Sent(session).inner.task_config(), config);
        const auto log = home_.NewLog();
        EXPECT_TRUE(Logged(log, "INFO",
                           std::string("Config for [") + capability + "] is [" + config + "]"));
        EXPECT_TRUE(Logged(log, "DEBUG", "GetConfig  LEXO_PARAM_POST_PROCESS"));
        EXPECT_EQ(static_cast<bool>(Logged(log, "DEBUG",
                                           "GetConfig LEXO_PARAM_FT_POST_PROCESS "
                                           "LEXO_FT_POST_PROCESS_NONE")),
                  std::string(capability) == "asr.cloud.freetalk");
    }
}

struct PairCase {
    const char* capability;
    Lexo_ParamKey key;
    std::intptr_t value;
    const char* pair;  // "" when none is to appear
};

const PairCase kPairCases[] = {
    {"freetalk", LEXO_PARAM_VAD_HEAD, 0, "vad_head=0"},
    {"freetalk", LEXO_PARAM_VAD_HEAD, (std::intptr_t{1} << 32) + 5, "vad_head=5"},
    {"freetalk", LEXO_PARAM_VAD_TAIL, 30000, "vad_tail=30000"},
    {"freetalk", LEXO_PARAM_MAX_SECONDS, 60, "max_seconds=60"},
    {"freetalk", LEXO_PARAM_VAD_THRESHOLD, 100, "vad_threshold=100"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 1, "audio_format=alaw"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 2, "audio_format=ulaw"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 3, "audio_format=vox6k4bit"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 4, "audio_format=vox8k4bit"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 5, "audio_format=gsm610"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 6, "audio_format=pcm16k16bit"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 7, "audio_format=v3_6k4bit"},
    {"grammar", LEXO_PARAM_NBEST_RESULT, 1, "nbest_result=yes"},
    {"freetalk", LEXO_PARAM_ADD_PUNC, 1, "add_punc=yes"},
    {"grammar", LEXO_PARAM_STREAM, 1, "stream_recog=yes"},
    {"grammar", LEXO_PARAM_STREAM, 2, "stream_recog=continue"},
    {"grammar", LEXO_PARAM_STREAM, 3, "stream_recog=continue-rt"},
    {"grammar", LEXO_PARAM_STREAM, 4, "stream_recog=yes-rt"},
    {"analysis", LEXO_PARAM_RESULT_TYPE, 1, "result_type=wordlist"},
    {"analysis", LEXO_PARAM_RESULT_TYPE, 2, "result_type=charlist"},
    {"analysis", LEXO_PARAM_MODE, 1, "analysis_mode=online"},
    {"analysis", LEXO_PARAM_CHANNEL_TYPE, 1, "channel_type=left_agent"},
    {"analysis", LEXO_PARAM_CHANNEL_TYPE, 2, "channel_type=right_agent"},
    {"keywordspot", LEXO_PARAM_PROPERTY_MODEL_TYPE, 1, "property_model_type=16k"},
    {"freetalk", LEXO_PARAM_FT_POST_PROCESS, 0, ""},
    {"freetalk", LEXO_PARAM_FT_POST_PROCESS, 5, "textpostproc=punctuate;smooth"},
    {"freetalk", LEXO_PARAM_FT_POST_PROCESS, 6, "textpostproc=smooth;numnormal"},
    {"freetalk", LEXO_PARAM_FT_POST_PROCESS, 15,
     "textpostproc=punctuate;smooth;numnormal;paragraph"},
};

TEST_F(RequestTest, EachParameterAppearsInItsWords) {
    for (const PairCase& one : kPairCases) {
        Session session(one.capability);
        const std::string before = Sent(session).inner.task_config();
        ASSERT_EQ(session.SetNumber(one.key, one.value), LEXO_ERR_NONE);
        const std::string pair = one.pair;
        std::string expected = before;
        if (one.key != LEXO_PARAM_FT_POST_PROCESS) {
            const std::size_t from = before.find(pair.substr(0, pair.find('=') + 1));
            expected.replace(from, before.find_first_of(",", from) - from, pair);
        } else if (!pair.empty()) {
            expected += "," + pair;
        }
        EXPECT_EQ(Sent(session).inner.task_config(), expected) << "key " << one.key;
    }
}

TEST_F(RequestTest, LongTextsAreNotCutInTheTaskConfiguration) {
    Session session("keywordspot");
    const std::string language(256, 'l');
    const std::string domain(200, 'd');
    session.SetText(LEXO_PARAM_PROPERTY_LANGUAGE, language.c_str());
    session.SetText(LEXO_PARAM_PROPERTY_DOMAIN, domain.c_str());
    EXPECT_EQ(Sent(session).inner.task_config(),
              std::string(kVad) + "stream_recog=no,property_language=" + language +
                  ",property_model_type=8k,property_domain=" + domain);
}

TEST_F(RequestTest, ADefaultOutsideItsTableLeavesAnEmptyItem) {
    home_.WriteFile("conf/Lexo_SDK.conf", "[default]\naudio_format = 99\nvad_tail = 40000\n");
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    Session session("keywordspot");
    home_.NewLog();
    EXPECT_EQ(Sent(session).inner.task_config(),
              std::string("vad_head=10000,vad_tail=40000,max_seconds=30,,vad_threshold=10,"
                          "stream_recog=no,") +
                  kProperty);
    const auto log = home_.NewLog();
    EXPECT_TRUE(Logged(log, "ERROR", "Param value [4=99] invalid."));
    EXPECT_TRUE(Logged(log, "ERROR", "Param type [4] not found."));
}

// ---- Identities --------------------------------------------------------------------------------

std::string LocalTime(std::time_t time) {
    char text[32];
    std::tm parts = {};
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", ::localtime_r(&time, &parts));
    return text;
}

struct Identity {
    std::string time;
    int index = 0;
};

Identity Parse(const std::string& identify) {
    const auto groups = scripted::MatchWhole(identify, std::to_string(::getpid()) + "_" +
                                                           std::to_string(::pthread_self()) +
                                                           "_([-0-9T:]+)_([0-9]+),task=recognise");
    if (groups.empty()) {
        ADD_FAILURE() << "not an identity: " << identify;
        return {};
    }
    return {groups[1], std::stoi(groups[2])};
}

TEST_F(RequestTest, IdentitiesNameProcessThreadTimeAndIndex) {
    Session one("freetalk");
    Session two("grammar");
    const std::string earliest = LocalTime(std::time(nullptr));
    const Identity first = Parse(Sent(one).inner.identify());
    const Identity second = Parse(Sent(two).inner.identify());
    const Identity third = Parse(Sent(one).inner.identify());
    const std::string latest = LocalTime(std::time(nullptr));
    EXPECT_GE(first.time, earliest);
    EXPECT_LE(third.time, latest);
    EXPECT_EQ(second.index, first.index + 1) << "all sessions draw from one sequence";
    EXPECT_EQ(third.index, first.index + 2);
}

void CheckTheFirstIdentity() {
    scripted::TestHome home;
    scripted::ScriptedServer server;
    ASSERT_EQ(InitProxy(server.Address()).code, LEXO_ERR_NONE);
    Session session("freetalk");
    session.Recognize({});
    for (int index = 1; index <= 3; ++index) {
        EXPECT_EQ(session.Recognize().code, LEXO_ERR_NONE);
        EXPECT_EQ(Parse(server.LastRequest().inner.identify()).index, index);
    }
}

TEST(FreshProcessTest, TheFirstRequestHasIndex1) {
    IN_FRESH_PROCESS(CheckTheFirstIdentity());
}

// ---- The device identifier ---------------------------------------------------------------------

// The hardware address of an interface as the system tells it in files.
std::string HardwareAddress(const std::string& interface) {
    std::string address;
    std::ifstream("/sys/class/net/" + interface.substr(0, interface.find(':')) + "/address") >>
        address;
    for (char& c : address) {
        c = c == ':' ? '-' : c;
    }
    return address;
}

// Read in another way than the library does: from the list of addresses and from files.
std::string ExpectedDeviceIdentifier() {
    std::vector<std::string> interfaces;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) == 0) {
        for (const ifaddrs* one = list; one != nullptr; one = one->ifa_next) {
            if (one->ifa_addr != nullptr && one->ifa_addr->sa_family == AF_INET &&
                interfaces.size() < 16) {
                interfaces.emplace_back(one->ifa_name);
            }
        }
        ::freeifaddrs(list);
    }
    std::string chosen;
    for (auto name = interfaces.rbegin(); name != interfaces.rend(); ++name) {
        const std::string address = HardwareAddress(*name);
        chosen = address.empty() ? chosen : address;
        if (!address.empty() && address != "00-00-00-00-00-00") {
            break;
        }
    }
    return "0:" + chosen + std::string(15, '0');
}

TEST_F(RequestTest, TheDeviceIdentifierIsTheMachines) {
    Session one("freetalk");
    Session two("analysis");
    const std::string udid = Sent(one).access.udid();
    EXPECT_EQ(udid, ExpectedDeviceIdentifier());
    EXPECT_FALSE(scripted::MatchWhole(udid, "0:(([0-9a-f]{2}-){5}[0-9a-f]{2})?0{15}").empty())
        << udid;
    EXPECT_EQ(Sent(two).access.udid(), udid);
}

// ---- The log of a request ----------------------------------------------------------------------

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
