// grpc: a synchronous unary call without encryption. Each thread has a channel with a connection of
// its own, as it is the fastest way, and reuses its messages.
#include <absl/synchronization/mutex.h>
#include <grpcpp/grpcpp.h>

#include "Measure.h"
#include "Recogniser.grpc.pb.h"
#include "ServerProcess.h"

namespace exchange {
namespace {

using rpc::Recogniser;
using rpc::Reply;
using rpc::Request;

class Service final : public Recogniser::Service {
  public:
    explicit Service(const Run& run)
        : check_(run.audio_bytes), answer_(Pattern(run.answer_bytes)) {}

    grpc::Status Recognise(grpc::ServerContext*, const Request* request, Reply* reply) override {
        reply->set_answer(answer_);
        PutStamp(*reply->mutable_answer(), check_.Of(request->audio()));
        return grpc::Status::OK;
    }

  private:
    const AudioCheck check_;
    const std::string answer_;
};

[[noreturn]] void Serve(const Run& run) {
    Service service(run);
    int port = 0;
    grpc::ServerBuilder builder;
    builder.SetMaxReceiveMessageSize(-1);
    builder.AddListeningPort("127.0.0.1:0", grpc::InsecureServerCredentials(), &port);
    builder.RegisterService(&service);
    const auto server = builder.BuildAndStart();
    Require(server != nullptr, "no server");
    ServeOn(port);
}

std::shared_ptr<grpc::Channel> Connect(int port) {
    grpc::ChannelArguments arguments;
    arguments.SetMaxReceiveMessageSize(-1);
    arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);  // else channels share a connection
    arguments.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
    auto channel = grpc::CreateCustomChannel("ipv4:127.0.0.1:" + std::to_string(port),
                                             grpc::InsecureChannelCredentials(), arguments);
    Require(channel->WaitForConnected(std::chrono::system_clock::now() + std::chrono::seconds(20)),
            "no connection");
    return channel;
}

class GrpcClient final : public Client {
  public:
    GrpcClient(const Run& run, int port)
        : stub_(Recogniser::NewStub(Connect(port))), answer_(Pattern(run.answer_bytes)) {}

    void Exchange(std::string_view audio, Stamp stamp) override {
        request_.set_audio(audio.data(), audio.size());
        grpc::ClientContext context;
        Require(stub_->Recognise(&context, request_, &reply_).ok(), "a failed call");
        PutStamp(answer_, stamp);
        Require(reply_.answer() == answer_, "another answer");
    }

  private:
    const std::unique_ptr<Recogniser::Stub> stub_;
    std::string answer_;
    Request request_;
    Reply reply_;
};

}  // namespace
}  // namespace exchange

using namespace exchange;

int main(int argc, char** argv) {
    // The distribution's build searches for deadlocks at each lock, a tenth of gRPC's time.
    absl::SetMutexDeadlockDetectionMode(absl::OnDeadlockCycle::kIgnore);
    const Run run = ReadRun(argc, argv);
    if (run.is_server) {
        Serve(run);
    }
    Measure(run, Beside("orvx_exchange_grpc"),
            [&](int port) { return std::make_unique<GrpcClient>(run, port); });
}
