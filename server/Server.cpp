#include "Server.h"

#include <algorithm>
#include <asio/post.hpp>
#include <csignal>
#include <cstdlib>
#include <new>

#include "EngineProcess.h"
#include "LogText.h"
#include "Logger.h"

namespace orvx {
namespace {

std::unique_ptr<RecognitionService> Load(const ServiceSettings& settings,
                                         const RecogniserFactory& factory) {
    const auto start = std::chrono::steady_clock::now();
    auto service = std::make_unique<RecognitionService>(settings, factory);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    ORVX_LOG_INFO("loaded %s in %.2f s", Count(settings.decoders, "decoder").c_str(),
                  taken.count());
    return service;
}

}  // namespace

Server::Server(const Options& options)
    : Server(options, EngineProcessFactory(options.model, options.is_verbose)) {}

Server::Server(const Options& options, const RecogniserFactory& factory)
    : options_(options),
      listener_(&context_, options.listen, options.max_connections, options.connection),
      service_(Load(options.service, factory)) {
    listener_.Start(service_.get());
    signals_.add(SIGTERM);
    signals_.add(SIGINT);
    WatchSignals();
    ExpireUtterances();
}

void Server::Run() {
    for (bool is_over = false; !is_over;) {
        try {
            context_.run();
            is_over = true;
        } catch (const std::bad_alloc&) {  // what wanted the memory is dropped
            ORVX_LOG_ERROR("out of memory");
        }
    }
    signals_.clear();  // from now on a signal ends the process by itself
}

void Server::Stop() {
    service_->Stop();
    ORVX_LOG_INFO("ended");
}

void Server::Drain() {
    asio::post(context_, [this] { StartDraining(); });
}

void Server::WatchSignals() {
    signals_.async_wait([this](const asio::error_code& error, int signal) {
        if (error) return;
        if (is_draining_) std::_Exit(128 + signal);
        WatchSignals();
        ORVX_LOG_INFO("signal %d: finishing what is under way", signal);
        StartDraining();
    });
}

void Server::ExpireUtterances() {
    using std::chrono::milliseconds;
    const milliseconds interval = std::clamp(options_.service.utterance_idle_timeout / 4,
                                             milliseconds(10), milliseconds(1000));
    expiry_.expires_after(interval);
    expiry_.async_wait([this](const asio::error_code& error) {
        if (error) return;
        ExpireUtterances();
        service_->ExpireUtterances();
    });
}

void Server::StartDraining() {
    if (is_draining_) return;
    is_draining_ = true;
    drain_deadline_.expires_after(options_.drain_timeout);
    drain_deadline_.async_wait([this](const asio::error_code& error) {
        if (error) return;
        ORVX_LOG_WARNING("%s waited too long for an answer",
                         Count(listener_.Connections(), "connection").c_str());
        Finish();
    });
    listener_.Drain([this] { Finish(); });
}

void Server::Finish() {
    if (const std::size_t open = service_->OpenUtterances()) {
        ORVX_LOG_WARNING("lost: %s", Count(open, "real-time utterance").c_str());
    }
    listener_.CloseAll();
    context_.stop();
}

}  // namespace orvx
