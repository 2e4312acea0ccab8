// Serves recognition requests: the body of a frame in, the frame of its answer out. Knows nothing
// of sockets. Decoding requests and audio, and finding speech, happen on its request threads; the
// decoders have threads of their own; so a request that only hands over audio is answered at once
// however busy the decoders are.
#pragma once

#include <asio/thread_pool.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "DecoderPool.h"
#include "Failure.h"
#include "LexoMessage.pb.h"
#include "ResourceLoader.h"
#include "Utterance.h"
#include "UtteranceStore.h"

namespace orvx {

struct ServiceSettings {
    std::size_t decoders;
    std::size_t request_threads;
    std::size_t max_utterances;                        // real-time utterances open at once
    std::chrono::milliseconds utterance_idle_timeout;  // until one is given up
    UtteranceLimits utterance;
    std::string dictionary{};    // the engine's, a file
    std::string resource_dir{};  // built-in resources; empty: there are none
};

// Every member may be called by any thread at any time.
class RecognitionService {
    struct Exchange;

  public:
    // Names a request that is being served.
    using Ticket = std::weak_ptr<Exchange>;
    enum class ClientState { kThere, kSendsNoMore, kGone };

    // Gets the answer's frame; an empty one if the request's frame is undecodable, or there is no
    // answer for want of memory or because the service stops.
    using Reply = std::function<void(std::vector<char> frame)>;

    // Loads the decoders. Throws what the factory throws.
    RecognitionService(const ServiceSettings& settings, const RecogniserFactory& factory);
    ~RecognitionService();
    RecognitionService(const RecognitionService&) = delete;
    RecognitionService& operator=(const RecognitionService&) = delete;

    // `body` must stay valid until `reply` is called, which happens once, on any thread; where
    // memory does not suffice even for that, it is destroyed uncalled. `peer` is for the log.
    Ticket Handle(std::string_view body, std::string peer, Reply reply);

    // How the request's client stands. A request goes behind all others once its client sends no
    // more, for then it may be gone. When it is gone, its recording, or the utterance of its chunk,
    // is abandoned, and the request answered at once.
    static void Tell(const Ticket& ticket, ClientState state);

    // Gives up the real-time utterances that have been idle for too long.
    void ExpireUtterances();
    std::size_t OpenUtterances() const { return utterances_.Size(); }

    // Abandons what is under way.
    void Stop();

  private:
    struct OpenUtterance;
    using ExchangePtr = std::shared_ptr<Exchange>;
    using Store = UtteranceStore<OpenUtterance>;

    void Serve(std::string_view body, const ExchangePtr& exchange);
    void BeginOnceRead(const ExchangePtr& exchange);
    std::optional<Failure> Route(const ExchangePtr& exchange);
    std::optional<Failure> Begin(const ExchangePtr& exchange);
    static std::optional<Failure> CheckTask(const quorlan::protocol::LexoRequestMessage& request,
                                            RecognitionTask* task);
    void RecogniseRecording(const ExchangePtr& exchange, const RecognitionTask& task);
    std::optional<Failure> OpenStream(const ExchangePtr& exchange, const RecognitionTask& task);
    std::optional<Failure> ContinueStream(const ExchangePtr& exchange);
    void TakeChunk(const ExchangePtr& exchange, Store::Use use);
    void FinishChunk(Exchange* exchange, const Store::Use& use, const Outcome& outcome);
    std::shared_ptr<Utterance> MakeUtterance(const RecognitionTask& task);

    const ServiceSettings settings_;
    TurnQueue turns_;                    // on the request threads, but for one of them
    asio::thread_pool request_threads_;  // outlives all that posts to it
    // Resources are read by threads of their own, so that those who bring none, or a short one, do
    // not wait for a large one.
    asio::thread_pool short_resources_{1};
    asio::thread_pool large_resources_{1};
    DecoderPool decoders_;
    ResourceLoader resources_;
    Store utterances_;
};

}  // namespace orvx
