// thrift: the framed transport with the binary protocol, a threaded server, and a connection for
// each thread.
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/server/TThreadedServer.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TServerSocket.h>
#include <thrift/transport/TSocket.h>

#include <thread>

#include "Answer.h"
#include "Measure.h"
#include "Recogniser.h"
#include "ServerProcess.h"

namespace {

using apache::thrift::protocol::TBinaryProtocol;
using apache::thrift::protocol::TBinaryProtocolFactory;
using apache::thrift::server::TServerEventHandler;
using apache::thrift::server::TThreadedServer;
using apache::thrift::transport::TFramedTransport;
using apache::thrift::transport::TServerSocket;
using apache::thrift::transport::TSocket;
using apache::thrift::transport::TTransport;
using apache::thrift::transport::TTransportFactory;

class Handler final : public exchange::rpc::RecogniserIf {
  public:
    explicit Handler(const exchange::Run& run)
        : check_(run.audio_bytes), answer_(run.answer_bytes) {}

    void Recognise(std::string& answer, const std::string& audio) override {
        exchange::StampedAnswer stamped = answer_;
        answer = stamped.For(check_.Of(audio));
    }

  private:
    const exchange::AudioCheck check_;
    const exchange::StampedAnswer answer_;
};

// Version 0.17 adds up what a framed transport has read in its whole life, and closes the
// connection at 100 MB; here it counts each frame for itself.
class FramedTransport final : public TFramedTransport {
  public:
    using TFramedTransport::TFramedTransport;

  protected:
    bool readFrame() override {
        resetConsumedMessageSize();
        return TFramedTransport::readFrame();
    }
};

class FramedTransportFactory final : public TTransportFactory {
  public:
    std::shared_ptr<TTransport> getTransport(std::shared_ptr<TTransport> transport) override {
        return std::make_shared<FramedTransport>(transport);
    }
};

// Called when the server listens.
class TellPort final : public TServerEventHandler {
  public:
    explicit TellPort(const TServerSocket& socket) : socket_(socket) {}
    void preServe() override {
        std::thread([port = socket_.getPort()] {
            exchange::ServeOn(port);
            std::_Exit(0);
        }).detach();
    }

  private:
    const TServerSocket& socket_;
};

void Serve(const exchange::Run& run) {
    const auto socket = std::make_shared<TServerSocket>("127.0.0.1", 0);
    TThreadedServer server(
        std::make_shared<exchange::rpc::RecogniserProcessor>(std::make_shared<Handler>(run)),
        socket, std::make_shared<FramedTransportFactory>(),
        std::make_shared<TBinaryProtocolFactory>());
    server.setServerEventHandler(std::make_shared<TellPort>(*socket));
    server.serve();
}

class ThriftClient final : public exchange::Client {
  public:
    ThriftClient(const exchange::Run& run, int port)
        : transport_(
              std::make_shared<FramedTransport>(std::make_shared<TSocket>("127.0.0.1", port))),
          client_(std::make_shared<TBinaryProtocol>(transport_)),
          answer_(run.answer_bytes) {
        transport_->open();
    }

    void Exchange(std::string_view audio, exchange::Stamp stamp) override {
        argument_.assign(audio);  // a host has a pointer and a length
        client_.Recognise(reply_, argument_);
        exchange::Require(reply_ == answer_.For(stamp), "another answer");
    }

  private:
    const std::shared_ptr<TTransport> transport_;
    exchange::rpc::RecogniserClient client_;
    exchange::StampedAnswer answer_;
    std::string argument_, reply_;
};

}  // namespace

int main(int argc, char** argv) {
    const exchange::Run run = exchange::ReadRun(argc, argv);
    if (run.is_server) {
        Serve(run);
    }
    exchange::Measure(run, exchange::Beside("orvx_exchange_thrift"),
                      [&](int port) { return std::make_unique<ThriftClient>(run, port); });
}
