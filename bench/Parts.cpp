// What the parts of a request cost, each alone: one line of Google Benchmark for each.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "CapbilityAccess.pb.h"
#include "ConnectionPool.h"
#include "FrameCodec.h"
#include "GatheredMessage.h"
#include "LexoMessage.pb.h"
#include "OrvexProxy.h"
#include "RecogResult.h"
#include "RecognitionMessages.h"
#include "TcpClientUser.h"
#include "param_word.h"
#include "proxy_uuid.h"

namespace {

using quorlan::protocol::LexoRequestMessage;
using quorlan::protocol::LexoResponseMessage;
using quorlan::protocol::MessageHeader;

constexpr int kWordsOfSentence = 50;
constexpr const char* kCapability = "asr.cloud.freetalk";

// Something that accepts connections, which is all that Init asks of a server.
class Listener {
  public:
    Listener() : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        socklen_t bytes = sizeof address_;
        auto* const address = reinterpret_cast<sockaddr*>(&address_);
        is_ready_ = ::bind(fd_, address, bytes) == 0 && ::listen(fd_, 1) == 0 &&
                    ::getsockname(fd_, address, &bytes) == 0;
    }
    ~Listener() { ::close(fd_); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    bool IsReady() const { return is_ready_; }
    std::string Address() const {
        return "127.0.0.1:" + std::to_string(::ntohs(address_.sin_port));
    }

  private:
    const int fd_;
    sockaddr_in address_{};
    bool is_ready_ = false;
};

// ---- The request ----

void Identity(benchmark::State& state) {
    while (state.KeepRunning()) {
        std::string identity;
        get_uuid(identity);
        benchmark::DoNotOptimize(identity);
    }
}
BENCHMARK(Identity);

// A session of free talk with the shipped defaults, in the engine that main starts.
void* StartSession(benchmark::State& state) {
    void* session = nullptr;
    if (OrvexProxy::GetInstance()->SessionStart(kCapability, &session) != LEXO_ERR_NONE) {
        state.SkipWithError("no session");
    }
    return session;
}

void SessionStartAndStop(benchmark::State& state) {
    while (state.KeepRunning()) OrvexProxy::GetInstance()->SessionStop(StartSession(state));
}
BENCHMARK(SessionStartAndStop);

void SetParam(benchmark::State& state) {
    OrvexProxy& proxy = *OrvexProxy::GetInstance();
    void* const session = StartSession(state);
    while (state.KeepRunning()) proxy.SetParam(session, LEXO_PARAM_VAD_TAIL, WordOf(700));
    proxy.SessionStop(session);
}
BENCHMARK(SetParam);

void GetParam(benchmark::State& state) {
    OrvexProxy& proxy = *OrvexProxy::GetInstance();
    void* const session = StartSession(state);
    while (state.KeepRunning()) {
        Lexo_ParamValue value = nullptr;
        proxy.GetParam(session, LEXO_PARAM_VAD_TAIL, &value);
        benchmark::DoNotOptimize(value);
    }
    proxy.SessionStop(session);
}
BENCHMARK(GetParam);

void TaskConfiguration(benchmark::State& state) {
    ParamMap params;
    for (const Lexo_ParamKey key : {LEXO_PARAM_VAD_HEAD, LEXO_PARAM_VAD_TAIL,
                                    LEXO_PARAM_MAX_SECONDS, LEXO_PARAM_VAD_THRESHOLD}) {
        params[key] = WordOf(10);
    }
    for (const Lexo_ParamKey key : {LEXO_PARAM_AUDIOFORMAT, LEXO_PARAM_ADD_PUNC, LEXO_PARAM_STREAM,
                                    LEXO_PARAM_RESULT_TYPE, LEXO_PARAM_PROPERTY_MODEL_TYPE}) {
        params[key] = WordOf(0);
    }
    const ProxySession session(LEXO_ENGINE_FREETALK, kCapability, "", params);
    while (state.KeepRunning()) benchmark::DoNotOptimize(session.GetConfig());
}
BENCHMARK(TaskConfiguration);

LexoRequestMessage RequestWith(const std::string& audio) {
    LexoRequestMessage request;
    request.set_identify("4711_140213145863936_2026-01-31T12:00:00_17,task=recognise");
    request.set_cap_name(kCapability);
    request.set_data(audio);
    request.set_data_len(static_cast<int>(audio.size()));
    request.set_task_config(std::string(230, 'c'));
    request.set_chunk_no(-1);
    return request;
}

// The pieces of a request's frame, ready for the socket; the argument is the size of the audio.
void FrameGathered(benchmark::State& state) {
    const std::string audio(static_cast<std::size_t>(state.range(0)), 'a');
    const LexoRequestMessage request = RequestWith("");
    const std::array<GatheredMessage::Content, 1> contents{
        {{LexoRequestMessage::kDataFieldNumber, audio}}};
    MessageHeader header;
    auto* const access =
        header.MutableExtension(quorlan::protocol::capbility::capbility_access_message);
    access->set_data("");
    GatheredMessage message;
    while (state.KeepRunning()) {
        if (!message.Start(request, contents) || !message.Wrap(*access, access->kDataFieldNumber)) {
            state.SkipWithError("not gathered");
        }
        benchmark::DoNotOptimize(message.Pieces());
    }
}
BENCHMARK(FrameGathered)->Arg(320)->Arg(320'000)->Arg(1'920'000);

// The same by the message classes alone, with all messages and buffers kept: three copies.
void FrameCopied(benchmark::State& state) {
    const std::string audio(static_cast<std::size_t>(state.range(0)), 'a');
    LexoRequestMessage request = RequestWith("");
    MessageHeader header;
    std::vector<char> frame;
    while (state.KeepRunning()) {
        request.set_data(audio);
        auto* const access =
            header.MutableExtension(quorlan::protocol::capbility::capbility_access_message);
        request.SerializeToString(access->mutable_data());
        if (!EncodeFrame(header, &frame)) state.SkipWithError("not encoded");
        benchmark::DoNotOptimize(frame.data());
    }
}
BENCHMARK(FrameCopied)->Arg(320)->Arg(320'000)->Arg(1'920'000);

void PoolRentAndGiveBack(benchmark::State& state) {
    while (state.KeepRunning()) benchmark::DoNotOptimize(GetConnection("192.0.2.1", 8880).client);
}
BENCHMARK(PoolRentAndGiveBack)->Threads(1)->Threads(8);

// ---- The answer ----

// The header of an answer with so many words in sentences of fifty.
MessageHeader AnswerWith(int words) {
    LexoResponseMessage response;
    response.set_nenginetype(LexoResponseMessage::LEXO_ENGINE_FREETALK);
    auto* const result = response.mutable_sfreetalkresult();
    result->set_nsegmentcount(1);
    auto* const segment = result->add_psegmentlist();
    segment->set_nresultcount(words / kWordsOfSentence);
    for (int start = 0; start < words; start += kWordsOfSentence) {
        segment->add_psentenceresults()->set_psztext("fifty words");
        auto* const list = segment->add_pelementlistresults();
        list->set_nelementcount(kWordsOfSentence);
        for (int word = start; word < start + kWordsOfSentence; ++word) {
            auto* const element = list->add_pelementlist();
            element->set_nstarttime(word * 300);
            element->set_nendtime(word * 300 + 250);
            element->set_nscore(word % 101);
            element->set_nposintext(word - start);
            element->set_ncountintext(1);
            element->set_nflag(0);
        }
    }
    MessageHeader header;
    auto* const access =
        header.MutableExtension(quorlan::protocol::capbility::capbility_access_response_message);
    response.SerializeToString(access->mutable_data());
    return header;
}

void CountWords(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// The yardstick: the inner message is parsed into a kept one and its words are copied into a kept
// array.
void AnswerParsedAndCopied(benchmark::State& state) {
    const MessageHeader header = AnswerWith(static_cast<int>(state.range(0)));
    const std::string& data =
        header.GetExtension(quorlan::protocol::capbility::capbility_access_response_message).data();
    LexoResponseMessage response;
    std::vector<Lexo_Freetalk_Element> words(static_cast<std::size_t>(state.range(0)));
    while (state.KeepRunning()) {
        if (!response.ParseFromString(data)) state.SkipWithError("not parsed");
        auto word = words.begin();
        for (const auto& list : response.sfreetalkresult().psegmentlist(0).pelementlistresults()) {
            for (const auto& element : list.pelementlist()) {
                *word++ = {element.nstarttime(), element.nendtime(),     element.nscore(),
                           element.nposintext(), element.ncountintext(), element.nflag()};
            }
        }
        benchmark::DoNotOptimize(words.data());
    }
    CountWords(state);
}
BENCHMARK(AnswerParsedAndCopied)->Arg(10'000);

// What the library does with an answer: both messages parsed, the result made and given back.
void Answer(benchmark::State& state) {
    const std::string body = AnswerWith(static_cast<int>(state.range(0))).SerializeAsString();
    MessageHeader header;
    RecognitionMessages messages;
    Lexo_RecogResult result{};
    while (state.KeepRunning()) {
        header.ParseFromString(body);
        const auto& access =
            header.GetExtension(quorlan::protocol::capbility::capbility_access_response_message);
        if (!messages.response.ParseFromString(access.data()) ||
            !ParseResponse(messages.response, &result) || !ReleaseResult(&result)) {
            state.SkipWithError("not converted");
        }
    }
    CountWords(state);
}
BENCHMARK(Answer)->Arg(10'000)->Arg(1'000'000);

void AnswerReleased(benchmark::State& state) {
    const std::string data =
        AnswerWith(static_cast<int>(state.range(0)))
            .GetExtension(quorlan::protocol::capbility::capbility_access_response_message)
            .data();
    LexoResponseMessage response;
    response.ParseFromString(data);
    Lexo_RecogResult result{};
    while (state.KeepRunning()) {
        state.PauseTiming();
        ParseResponse(response, &result);
        state.ResumeTiming();
        ReleaseResult(&result);
    }
    CountWords(state);
}
BENCHMARK(AnswerReleased)->Arg(10'000);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const Listener listener;
    if (!listener.IsReady() ||
        OrvexProxy::GetInstance()->Init(listener.Address().c_str()) != LEXO_ERR_NONE) {
        std::fputs("orvx_parts: the engine does not start; is QUORLAN_HOME set?\n", stderr);
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    OrvexProxy::GetInstance()->End();
}
