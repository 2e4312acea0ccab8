#include "RecognitionService.h"

#include <asio/post.hpp>
#include <atomic>
#include <exception>
#include <mutex>
#include <utility>

#include "Capability.h"
#include "Contained.h"
#include "LogText.h"
#include "Logger.h"
#include "RequestDecoder.h"
#include "ResponseBuilder.h"
#include "TaskParameters.h"

namespace orvx {
namespace {

using quorlan::protocol::LexoRequestMessage;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t kShortResourceBytes = std::size_t{64} << 10;

milliseconds Since(steady_clock::time_point start) {
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
}

std::string Describe(const Outcome& outcome) {
    std::string text =
        "error=" + std::to_string(outcome.failure ? outcome.failure->error_no : LEXO_ERR_NONE) +
        " status=" + std::to_string(outcome.recog_status) +
        " segments=" + std::to_string(outcome.segments.size());
    if (outcome.failure) text += " (" + outcome.failure->text + ")";
    return text;
}

}  // namespace

// One request on its way to its answer.
struct RecognitionService::Exchange {
    Exchange(std::string peer_name, Reply reply)
        : peer(std::move(peer_name)), reply_(std::move(reply)) {}
    // Tells also when memory did not suffice for an answer: nothing waits for it any more.
    ~Exchange() {
        try {
            if (!has_replied_) reply_({});
        } catch (const std::bad_alloc&) {
        }
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    void Answer(const std::string& token, const Outcome& outcome) {
        Send(BuildAnswer(BuildResponse(request.identify(), token, form, outcome), Since(start)));
    }
    void AnswerFailure(const Failure& failure);
    void Send(std::vector<char> frame) {
        reply_(std::move(frame));
        has_replied_ = true;
    }
    // It shall know from now on whether the client still waits for this request's answer. Once it
    // has got the request: with each it begins as for a client that does.
    void Attach(const std::shared_ptr<Utterance>& utterance);
    void Tell(ClientState state);
    bool IsClientGone();

    const std::string peer;
    const steady_clock::time_point start = steady_clock::now();
    LexoRequestMessage request;  // its audio is moved out when recognition begins
    ResultForm form;             // of the answer

  private:
    void Steer() const;

    const Reply reply_;
    bool has_replied_ = false;
    std::mutex mutex_;
    ClientState client_ = ClientState::kThere;
    std::weak_ptr<Utterance> utterance_;
};

void RecognitionService::Exchange::Attach(const std::shared_ptr<Utterance>& utterance) {
    const std::lock_guard lock(mutex_);
    utterance_ = utterance;
    Steer();
}

void RecognitionService::Exchange::Tell(ClientState state) {
    const std::lock_guard lock(mutex_);
    client_ = state;
    Steer();
}

bool RecognitionService::Exchange::IsClientGone() {
    const std::lock_guard lock(mutex_);
    return client_ == ClientState::kGone;
}

void RecognitionService::Exchange::Steer() const try {
    const auto utterance = utterance_.lock();
    if (!utterance) return;
    if (client_ == ClientState::kSendsNoMore) utterance->Yield();
    if (client_ == ClientState::kGone) utterance->Abandon();
} catch (const std::bad_alloc&) {  // it is worked on to its end
}

void RecognitionService::Exchange::AnswerFailure(const Failure& failure) {
    ORVX_LOG_WARNING("refused: peer=%s identify=%s capability=%s chunk=%d error=%d (%s)",
                     peer.c_str(), Quote(request.identify()).c_str(),
                     Quote(request.cap_name()).c_str(), request.chunk_no(), failure.error_no,
                     failure.text.c_str());
    Outcome outcome;
    outcome.failure = failure;
    Answer({}, outcome);
}

// A real-time utterance and what its log line tells.
struct RecognitionService::OpenUtterance {
    void Log(const std::string& end) const {
        ORVX_LOG_INFO(
            "utterance: peer=%s identify=%s capability=%s chunks=%d bytes=%zu audio=%.2fs "
            "open=%.2fs results=%d end=%s",
            peer.c_str(), Quote(identify).c_str(), Quote(cap_name).c_str(), chunks.load(),
            bytes.load(), utterance->SecondsOfAudio(),
            static_cast<double>(Since(start).count()) / 1000, results.load(), end.c_str());
    }

    const std::string peer;
    const std::string identify;
    const std::string cap_name;
    const ResultForm form;
    const std::shared_ptr<Utterance> utterance;
    const steady_clock::time_point start = steady_clock::now();
    std::atomic<int> chunks{0};
    std::atomic<std::size_t> bytes{0};
    std::atomic<int> results{0};
};

RecognitionService::RecognitionService(const ServiceSettings& settings,
                                       const RecogniserFactory& factory)
    : settings_(settings),
      turns_(settings.request_threads),
      request_threads_(settings.request_threads + 1),
      decoders_(factory, settings.decoders),
      resources_(settings.dictionary, settings.resource_dir),
      utterances_(settings.max_utterances, settings.utterance_idle_timeout) {}

RecognitionService::~RecognitionService() {
    Stop();
}

void RecognitionService::Stop() {
    decoders_.Stop();
    turns_.Close();
    for (asio::thread_pool* const threads :
         {&short_resources_, &large_resources_, &request_threads_}) {
        threads->stop();
        threads->join();
    }
    for (const auto& entry : utterances_.All()) entry->utterance->DropChunks();
}

RecognitionService::Ticket RecognitionService::Handle(std::string_view body, std::string peer,
                                                      Reply reply) {
    auto exchange = std::make_shared<Exchange>(std::move(peer), std::move(reply));
    asio::post(request_threads_, Contained([this, body, exchange] { Serve(body, exchange); }));
    return exchange;
}

void RecognitionService::Tell(const Ticket& ticket, ClientState state) {
    if (const auto exchange = ticket.lock()) exchange->Tell(state);
}

void RecognitionService::Serve(std::string_view body, const ExchangePtr& exchange) try {
    DecodedFrame frame = DecodeFrame(body);
    if (std::holds_alternative<UndecodableFrame>(frame)) return;  // its end tells
    if (const Failure* const failure = std::get_if<Failure>(&frame)) {
        ORVX_LOG_WARNING("refused: peer=%s access error=%d (%s)", exchange->peer.c_str(),
                         failure->error_no, failure->text.c_str());
        return exchange->Send(BuildRefusal(*failure, Since(exchange->start)));
    }
    exchange->request = std::move(std::get<LexoRequestMessage>(frame));
    // But for a chunk, with which its utterance ends.
    if (exchange->IsClientGone() && exchange->request.result_token().empty()) return;
    if (const auto failure = Route(exchange)) exchange->AnswerFailure(*failure);
} catch (const std::exception& error) {  // out of memory, above all
    exchange->AnswerFailure({LEXO_ERR_RECOG_FAILED, FailureText(error)});
}

std::optional<Failure> RecognitionService::Route(const ExchangePtr& exchange) {
    const LexoRequestMessage& request = exchange->request;
    if (auto failure = CheckRequest(request)) return failure;
    const auto capability = FindCapability(request.cap_name());
    if (const Failure* const failure = std::get_if<Failure>(&capability)) return *failure;
    exchange->form.capability = std::get<Capability>(capability);
    if (!request.result_token().empty()) return ContinueStream(exchange);
    if (request.chunk_no() == 1 || request.chunk_no() == -1) {
        const auto to_read = resources_.BytesToRead(exchange->form.capability, request);
        if (!to_read) return Begin(exchange);
        asio::post(*to_read <= kShortResourceBytes ? short_resources_ : large_resources_,
                   Contained([this, exchange] { BeginOnceRead(exchange); }));
        return std::nullopt;
    }
    return Failure{LEXO_ERR_REALTIME_SESSION_TIMEOUT,
                   "chunk " + std::to_string(request.chunk_no()) +
                       " comes without the result_token of its utterance"};
}

void RecognitionService::BeginOnceRead(const ExchangePtr& exchange) try {
    const auto failure = exchange->IsClientGone()
                             ? std::optional(Failure{LEXO_ERR_RECOG_FAILED, "the client hung up"})
                             : Begin(exchange);
    if (failure) exchange->AnswerFailure(*failure);
} catch (const std::exception& error) {
    exchange->AnswerFailure({LEXO_ERR_RECOG_FAILED, FailureText(error)});
}

std::optional<Failure> RecognitionService::Begin(const ExchangePtr& exchange) {
    const LexoRequestMessage& request = exchange->request;
    RecognitionTask task;
    task.capability = exchange->form.capability;
    if (auto failure = CheckTask(request, &task)) return failure;
    auto resource = resources_.Load(task.capability, request);
    if (Failure* const failure = std::get_if<Failure>(&resource)) return *failure;
    task.resource = std::get<ResourcePtr>(std::move(resource));
    exchange->form.has_words = task.parameters.result_type == ResultType::kWordlist;
    if (task.parameters.IsRealTime()) return OpenStream(exchange, task);
    RecogniseRecording(exchange, task);
    return std::nullopt;
}

std::optional<Failure> RecognitionService::CheckTask(const LexoRequestMessage& request,
                                                     RecognitionTask* task) {
    if (auto failure = ParseTaskParameters(request.task_config(), &task->parameters)) {
        return failure;
    }
    if (auto failure = CheckParameters(task->capability, task->parameters)) return failure;
    if (task->parameters.IsRealTime()) return std::nullopt;
    if (request.chunk_no() != -1) {
        return Failure{LEXO_ERR_PARAM_INVALID,
                       "chunk_no 1 opens a real-time utterance, but stream_recog is no; a one-shot "
                       "request has chunk_no -1"};
    }
    if (request.data().empty()) {
        return Failure{LEXO_ERR_PARAM_INVALID, "data is empty: a one-shot request needs audio"};
    }
    return std::nullopt;
}

std::shared_ptr<Utterance> RecognitionService::MakeUtterance(const RecognitionTask& task) {
    return std::make_shared<Utterance>(task, settings_.utterance, &request_threads_, &turns_,
                                       &decoders_);
}

void RecognitionService::RecogniseRecording(const ExchangePtr& exchange,
                                            const RecognitionTask& task) {
    const auto utterance = MakeUtterance(task);
    std::string audio = std::move(*exchange->request.mutable_data());
    const std::size_t bytes = audio.size();
    utterance->RecogniseRecording(
        std::move(audio), [exchange, bytes, heard = utterance.get()](const Outcome& outcome) {
            ORVX_LOG_INFO(
                "recognition: peer=%s identify=%s capability=%s bytes=%zu audio=%.2fs took=%lldms "
                "%s",
                exchange->peer.c_str(), Quote(exchange->request.identify()).c_str(),
                Quote(exchange->request.cap_name()).c_str(), bytes, heard->SecondsOfAudio(),
                static_cast<long long>(Since(exchange->start).count()), Describe(outcome).c_str());
            exchange->Answer({}, outcome);
        });
    exchange->Attach(utterance);
}

std::optional<Failure> RecognitionService::OpenStream(const ExchangePtr& exchange,
                                                      const RecognitionTask& task) {
    const LexoRequestMessage& request = exchange->request;
    auto entry = std::shared_ptr<OpenUtterance>(
        new OpenUtterance{exchange->peer, request.identify(), request.cap_name(), exchange->form,
                          MakeUtterance(task)});
    ExpireUtterances();
    Store::Use use = utterances_.Add(entry);
    if (!use) {
        return Failure{LEXO_ERR_ALL_SESSION_BUSY,
                       "this server has " + Count(settings_.max_utterances, "real-time utterance") +
                           " open and takes no more; try again later"};
    }
    TakeChunk(exchange, std::move(use));
    return std::nullopt;
}

std::optional<Failure> RecognitionService::ContinueStream(const ExchangePtr& exchange) {
    const LexoRequestMessage& request = exchange->request;
    Store::Use use = utterances_.Find(request.result_token());
    if (!use) {
        return Failure{LEXO_ERR_REALTIME_SESSION_TIMEOUT,
                       "no open utterance has this result_token: it was closed, ended by an error, "
                       "or idle for too long"};
    }
    if (use->identify != request.identify() || use->cap_name != request.cap_name()) {
        return Failure{LEXO_ERR_PARAM_INVALID,
                       "identify or cap_name differs from the chunk that opened the utterance"};
    }
    exchange->form = use->form;
    TakeChunk(exchange, std::move(use));
    return std::nullopt;
}

void RecognitionService::TakeChunk(const ExchangePtr& exchange, Store::Use use) {
    LexoRequestMessage& request = exchange->request;
    const int number = std::abs(request.chunk_no());
    const bool is_closing = request.chunk_no() < 0;
    std::string audio = std::move(*request.mutable_data());
    ++use->chunks;
    use->bytes += audio.size();
    const auto utterance = use->utterance;
    auto shared_use = std::make_shared<Store::Use>(std::move(use));
    utterance->TakeChunk(number, is_closing, std::move(audio),
                         [this, exchange, shared_use](const Outcome& outcome) {
                             FinishChunk(exchange.get(), *shared_use, outcome);
                         });
    exchange->Attach(utterance);
}

void RecognitionService::FinishChunk(Exchange* exchange, const Store::Use& use,
                                     const Outcome& outcome) {
    if ((outcome.recog_status & kResultPresent) != 0) ++use->results;
    ORVX_LOG_DEBUG("chunk: peer=%s identify=%s chunk=%d took=%lldms %s", exchange->peer.c_str(),
                   Quote(use->identify).c_str(), exchange->request.chunk_no(),
                   static_cast<long long>(Since(exchange->start).count()),
                   Describe(outcome).c_str());
    if (outcome.is_over && utterances_.Remove(use.Token())) {
        use->Log(Describe(outcome));
    }
    exchange->Answer(use.Token(), outcome);
}

void RecognitionService::ExpireUtterances() {
    for (const auto& entry : utterances_.TakeExpired()) {
        entry->utterance->Abandon();
        entry->Log("idle for too long");
    }
}

}  // namespace orvx
