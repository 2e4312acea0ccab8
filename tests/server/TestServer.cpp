#include "TestServer.h"

#include <string>

namespace orvx::test {

Options DefaultOptions(std::size_t decoders) {
    const std::string workers = std::to_string(decoders);
    const char* const arguments[] = {"orvx-server", "--listen", "127.0.0.1:0", "--workers",
                                     workers.c_str()};
    return *ParseOptions(5, arguments).options;
}

RecogniserFactory RealEngine() {
    return PocketSphinxFactory(DefaultOptions(1).model, /*is_verbose=*/false);
}

TestServer::TestServer(const Options& options, const RecogniserFactory& factory)
    : server_(options, factory),
      port_(server_.Endpoint().port()),
      thread_([this] { server_.Run(); }) {}

TestServer::~TestServer() {
    Drain();
    Join();
}

void TestServer::Join() {
    if (thread_.joinable()) thread_.join();
}

}  // namespace orvx::test
