// The server as a whole: its network thread, its listener and its recognition service, from start
// to drained end.
#pragma once

#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <memory>

#include "Listener.h"
#include "Options.h"
#include "RecognitionService.h"

namespace orvx {

class Server {
  public:
    // Binds the address, loads the decoders and listens. Throws std::exception.
    explicit Server(const Options& options);
    // The same with another engine.
    Server(const Options& options, const RecogniserFactory& factory);

    asio::ip::tcp::endpoint Endpoint() const { return listener_.Endpoint(); }

    // Serves on the calling thread until Drain was called, or SIGTERM or SIGINT came, and the
    // requests under way are answered or the time for that is over. A second signal ends the
    // process at once.
    void Run();
    // After Run: abandons what nobody waits for any more. A resource that is being read is read to
    // its end before.
    void Stop();
    // May be called by any thread, also before Run.
    void Drain();

  private:
    void WatchSignals();
    void ExpireUtterances();
    void StartDraining();
    void Finish();

    const Options options_;
    asio::io_context context_{1};
    asio::signal_set signals_{context_};
    asio::steady_timer expiry_{context_};
    asio::steady_timer drain_deadline_{context_};
    Listener listener_;
    std::unique_ptr<RecognitionService> service_;
    bool is_draining_ = false;
};

}  // namespace orvx
