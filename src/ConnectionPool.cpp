#include "ConnectionPool.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>

#include "Logger.h"
#include "TcpClientUser.h"

namespace {

std::string ServerKey(const std::string& ip, int port) {
    return ip + ":" + std::to_string(port);
}

std::unique_ptr<TcpClientUser> NewClient(const std::string& ip, int port) {
    return std::make_unique<TcpClientUser>(ip.c_str(), static_cast<unsigned int>(port));
}

// A client's address as "%X" shows it: its low 32 bits.
unsigned int ShortAddress(const TcpClientUser* client) {
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(client));
}

}  // namespace

ConnectionPool* ConnectionPool::GetInstance() {
    static auto* const pool = new ConnectionPool;
    return pool;
}

void ConnectionPool::DestroyInstance() {
    GetInstance()->CloseIdleConnections();
}

TcpClientUser* ConnectionPool::RentHandle(const std::string& ip, int port) {
    const std::string key = ServerKey(ip, port);
    const MutexGuard guard(lock_);
    const auto entry = tcp_clients_.find(key);
    if (entry == tcp_clients_.end() || entry->second.empty()) {
        std::unique_ptr<TcpClientUser> client = NewClient(ip, port);
        ORVX_LOG_INFO("xxxx--Create a new connection[%s]=[%p] to use", key.c_str(),
                      static_cast<void*>(client.get()));
        return client.release();
    }
    std::deque<TcpClientUser*>& idle = entry->second;
    const auto usable = std::find_if(idle.begin(), idle.end(), [](const TcpClientUser* client) {
        return client->is_usable_.load();
    });
    if (usable == idle.end()) {
        // Unusable clients stay where they are until the pool is destroyed.
        std::unique_ptr<TcpClientUser> client = NewClient(ip, port);
        ORVX_LOG_INFO("xxxx--[%d not usable]Create a new connection[%s]=[%X] to use",
                      static_cast<int>(idle.size()), key.c_str(), ShortAddress(client.get()));
        return client.release();
    }
    TcpClientUser* const client = *usable;
    idle.erase(usable);
    ORVX_LOG_INFO("xxxx--Rent a connection [%s]=[%X] to use", key.c_str(), ShortAddress(client));
    return client;
}

void ConnectionPool::GiveBackHandle(const std::string& ip, int port, TcpClientUser* client) {
    const std::string key = ServerKey(ip, port);
    client->Reset();
    client->is_usable_ = true;
    const MutexGuard guard(lock_);
    tcp_clients_[key].push_back(client);
    ORVX_LOG_INFO("xxxx--Giveback a connection [%s]=[%X] to list", key.c_str(),
                  ShortAddress(client));
}

void ConnectionPool::CloseIdleConnections() {
    const MutexGuard guard(lock_);
    for (const auto& [key, idle] : tcp_clients_) {
        ORVX_LOG_DEBUG("xxxx--Shutdown connection to %s", key.c_str());
    }
    DropIdleConnections();
}

void ConnectionPool::DropIdleConnections() {
    for (const auto& [key, idle] : tcp_clients_) {
        for (const TcpClientUser* client : idle) {
            delete client;
        }
    }
    tcp_clients_.clear();
}

GetConnection::GetConnection(const std::string& ip, int port)
    : ip_(ip),
      port_(port),
      exceptions_(std::uncaught_exceptions()),
      client(ConnectionPool::GetInstance()->RentHandle(ip, port)) {}

GetConnection::~GetConnection() {
    if (std::uncaught_exceptions() > exceptions_) {
        client->RenewMessages();
    }
    try {
        ConnectionPool::GetInstance()->GiveBackHandle(ip_, port_, client);
    } catch (const std::bad_alloc&) {
        delete client;  // no memory for the list: the next request connects anew
    }
}
