#include "ScriptedServer.h"

#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "BoundSocket.h"
#include "FrameCodec.h"
#include "Reactions.h"

namespace scripted {
namespace {

namespace protocol = quorlan::protocol;

constexpr std::chrono::seconds kPatience{10};
constexpr int kBacklog = 512;

Request ParseRequest(int connection, std::string_view body) {
    Request request;
    request.connection = connection;
    request.frame.resize(kFramePrefixBytes);
    EncodeFramePrefix(static_cast<std::uint32_t>(body.size()), request.frame.data());
    request.frame += body;
    if (request.header.ParseFromArray(body.data(), static_cast<int>(body.size()))) {
        request.access = request.header.GetExtension(protocol::capbility::capbility_access_message);
        request.inner.ParseFromString(request.access.data());
    }
    return request;
}

// False when the stream ended first.
bool ReadFrame(Connection& connection, FrameReader& reader) {
    while (reader.GetStatus() == FrameReader::Status::kNeedMore) {
        const std::size_t received = connection.Receive(reader.WritableArea());
        if (received == 0) return false;
        reader.Commit(received);
    }
    return reader.GetStatus() == FrameReader::Status::kComplete;
}

}  // namespace

ScriptedServer::ScriptedServer(std::string ip)
    : ip_(std::move(ip)), reservation_(BoundSocket(ip_, 0)), otherwise_(Answer()) {
    port_ = PortOf(reservation_);
    Start();
}

ScriptedServer::~ScriptedServer() {
    Stop();
    ::close(reservation_);
}

void ScriptedServer::Start() {
    listener_ = BoundSocket(ip_, port_);
    if (::listen(listener_, kBacklog) != 0)
        throw std::runtime_error("scripted server: cannot listen");
    acceptor_ = std::thread(&ScriptedServer::AcceptLoop, this, listener_);
}

void ScriptedServer::Stop() {
    if (!acceptor_.joinable()) return;
    ::shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    ::close(listener_);
    CloseConnections();
    std::vector<Served> served;  // whose threads end without the lock
    const std::lock_guard lock(mutex_);
    served.swap(served_);
}

void ScriptedServer::CloseConnections() {
    const std::lock_guard lock(mutex_);
    for (const Served& one : served_) one.connection->Interrupt();
}

bool ScriptedServer::WaitForOpenConnections(std::size_t count) const {
    return WaitUntil([&] {
        const auto open = std::count_if(served_.begin(), served_.end(),
                                        [](const Served& one) { return one.connection->IsOpen(); });
        return static_cast<std::size_t>(open) == count;
    });
}

bool ScriptedServer::WaitUntil(const std::function<bool()>& condition) const {
    std::unique_lock lock(mutex_);
    return change_.wait_for(lock, kPatience, condition);
}

void ScriptedServer::AcceptLoop(int listener) {
    for (;;) {
        const int socket = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) return;
        // Pieces of an answer shall leave at once, as the script sends them.
        const int on = 1;
        ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        const std::lock_guard lock(mutex_);
        Served& one = served_.emplace_back();
        one.connection = std::make_unique<Connection>(socket, next_number_++);
        one.thread = std::jthread(&ScriptedServer::Serve, this, std::ref(*one.connection));
        change_.notify_all();
    }
}

void ScriptedServer::Serve(Connection& connection) {
    std::function<void(Connection&)> on_connect;
    {
        const std::lock_guard lock(mutex_);
        on_connect = on_connect_;
    }
    if (on_connect) on_connect(connection);
    FrameReader reader;
    while (connection.IsOpen() && ReadFrame(connection, reader)) {
        const Request request = ParseRequest(connection.Number(), reader.Body());
        reader.NextFrame();
        Record(request)(request, connection);
    }
    connection.HangUp();
    // Under the mutex: a waiter between its test and its sleep must not miss the change.
    const std::lock_guard lock(mutex_);
    change_.notify_all();
}

Reaction ScriptedServer::Record(Request request) {
    const std::lock_guard lock(mutex_);
    ++request_count_;
    if (is_recording_) requests_.push_back(std::move(request));
    change_.notify_all();
    if (queue_.empty()) return otherwise_;
    Reaction reaction = std::move(queue_.front());
    queue_.pop_front();
    return reaction;
}

}  // namespace scripted
