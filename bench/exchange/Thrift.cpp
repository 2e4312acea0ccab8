// thrift: the framed transport with the binary protocol, a threaded server, and a connection for
// each thread.
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/server/TThreadedServer.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TServerSocket.h>
#include <thrift/transport/TSocket.h>

#include <thread>

#include "Measure.h"
#include "Recogniser.h"
#include "ServerProcess.h"

namespace exchange {
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

class Handler final : public rpc::RecogniserIf {
  public:
    explicit Handler(const Run& run)
        : check_(run.audio_bytes), answer_(Pattern(run.answer_bytes)) {}

    void Recognise(std::string& answer, const std::string& audio) override {
        answer = answer_;
        PutStamp(answer, check_.Of(audio));
    }

  private:
    const AudioCheck check_;
    const std::string answer_;
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
        std::thread([port = socket_.getPort()] { ServeOn(port); }).detach();
    }

  private:
    const TServerSocket& socket_;
};

[[noreturn]] void Serve(const Run& run) {
    const auto socket = std::make_shared<TServerSocket>("127.0.0.1", 0);
    TThreadedServer server(
        std::make_shared<rpc::RecogniserProcessor>(std::make_shared<Handler>(run)), socket,
        std::make_shared<FramedTransportFactory>(), std::make_shared<TBinaryProtocolFactory>());
    server.setServerEventHandler(std::make_shared<TellPort>(*socket));
    server.serve();
    Fail("the server has ended");
}

class ThriftClient final : public Client {
  public:
    ThriftClient(const Run& run, int port)
        : transport_(
              std::make_shared<FramedTransport>(std::make_shared<TSocket>("127.0.0.1", port))),
          client_(std::make_shared<TBinaryProtocol>(transport_)),
          answer_(Pattern(run.answer_bytes)) {
        transport_->open();
    }

    void Exchange(std::string_view audio, Stamp stamp) override {
        argument_.assign(audio);  // a host has a pointer and a length
        client_.Recognise(reply_, argument_);
        PutStamp(answer_, stamp);
        Require(reply_ == answer_, "another answer");
    }

  private:
    const std::shared_ptr<TTransport> transport_;
    rpc::RecogniserClient client_;
    std::string answer_;
    std::string argument_, reply_;
};

}  // namespace
}  // namespace exchange

using namespace exchange;

int main(int argc, char** argv) {
    const Run run = ReadRun(argc, argv);
    if (run.is_server) {
        Serve(run);
    }
    Measure(run, Beside("orvx_exchange_thrift"),
            [&](int port) { return std::make_unique<ThriftClient>(run, port); });
}
