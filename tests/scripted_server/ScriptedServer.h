// A recognition server whose every move a test decides.
//
// It listens on an ephemeral loopback port, records each request and answers by a script: a queue
// of reactions, each used for one request, and one reaction for all others. A reaction is a plain
// function on the request and the connection, so that a test can misbehave in any way; Reactions.h
// has the usual ones. One thread serves each connection: a reaction may block as long as it likes
// without holding up the others. An event loop would need fewer threads and would forbid that.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "CapbilityAccess.pb.h"
#include "Connection.h"
#include "LexoMessage.pb.h"
#include "MessageHeader.pb.h"

namespace scripted {

// One request as it arrived. Messages that could not be parsed stay empty.
struct Request {
    int connection = 0;  // Connection::Number of the connection it came on
    std::string frame;   // all bytes, the length prefix included
    quorlan::protocol::MessageHeader header;
    quorlan::protocol::capbility::CapbilityAccessMessage access;
    quorlan::protocol::LexoRequestMessage inner;
};

using Reaction = std::function<void(const Request&, Connection&)>;

// Any thread may call any function, but Start and Stop come from one thread.
class ScriptedServer {
  public:
    // Starts listening on a free port of a loopback address, of which there are many.
    explicit ScriptedServer(std::string ip = "127.0.0.1");
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    int Port() const { return port_; }
    std::string Address() const { return ip_ + ":" + std::to_string(port_); }

    // Stop refuses new connections and ends the open ones; Start listens again on the same port,
    // which stays taken in between.
    void Start();
    void Stop();

    // The reaction to the next request for which none is queued yet.
    void Then(Reaction reaction) {
        const std::lock_guard lock(mutex_);
        queue_.push_back(std::move(reaction));
    }
    // The reaction to requests that find the queue empty; at first the plain echo answer.
    void Otherwise(Reaction reaction) {
        const std::lock_guard lock(mutex_);
        otherwise_ = std::move(reaction);
    }
    // What happens to each new connection before its first request, Init's probe included.
    void OnConnect(std::function<void(Connection&)> action) {
        const std::lock_guard lock(mutex_);
        on_connect_ = std::move(action);
    }
    // Long runs only count the requests.
    void StopRecording() {
        const std::lock_guard lock(mutex_);
        is_recording_ = false;
    }

    // Ends the stream of every open connection; new ones are welcome.
    void CloseConnections();

    std::vector<Request> Requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }
    // An empty one when there was none.
    Request LastRequest() const {
        const std::lock_guard lock(mutex_);
        return requests_.empty() ? Request() : requests_.back();
    }
    std::size_t RequestCount() const {
        const std::lock_guard lock(mutex_);
        return request_count_;
    }

    // Wait for a few seconds at most; false when it did not come true.
    bool WaitForRequests(std::size_t count) const {
        return WaitUntil([&] { return request_count_ >= count; });
    }
    bool WaitForOpenConnections(std::size_t count) const;

  private:
    struct Served {
        std::unique_ptr<Connection> connection;
        std::jthread thread;  // ends before the connection
    };

    bool WaitUntil(const std::function<bool()>& condition) const;  // takes mutex_
    void AcceptLoop(int listener);
    void Serve(Connection& connection);
    Reaction Record(Request request);

    const std::string ip_;
    int port_ = 0;
    int reservation_ = -1;  // bound to the port, never listening
    int listener_ = -1;
    std::thread acceptor_;

    mutable std::mutex mutex_;  // guards the members below
    mutable std::condition_variable change_;
    std::vector<Served> served_;
    int next_number_ = 0;
    std::deque<Reaction> queue_;
    Reaction otherwise_;
    std::function<void(Connection&)> on_connect_;
    std::vector<Request> requests_;
    std::size_t request_count_ = 0;
    bool is_recording_ = true;
};

}  // namespace scripted
