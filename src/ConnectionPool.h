// The process-wide pool of idle connections, one first-in first-out list for each server.
//
// The object is made once and lives as long as the process: "destroying" the pool closes what is
// idle, and the object goes on as a fresh, empty pool. A pool that was really deleted would pull
// the ground from under a renter that runs at that moment; so a late give-back simply lands in the
// fresh pool.
#pragma once

#include <deque>
#include <map>
#include <string>

#include "MutexLock.h"

class TcpClientUser;

class ConnectionPool {
  public:
    static ConnectionPool* GetInstance();
    // Closes every idle connection.
    static void DestroyInstance();

    // The connection to that server that has been idle longest, or a new one; never null. The
    // renter owns it until it gives it back. `ip` and `port` are not normalised: another spelling
    // of the same server has another list.
    TcpClientUser* RentHandle(const std::string& ip, int port);
    // Takes ownership of a rented connection, clears its messages and declares it usable again.
    // When it throws for want of memory, the connection is still the renter's.
    void GiveBackHandle(const std::string& ip, int port, TcpClientUser* client);

    // Around a fork: nobody works on the pool in between.
    void HoldStill() { lock_.Lock(); }
    void GoOn() { lock_.Unlock(); }

  private:
    friend struct ConnectionPoolTestAccess;

    ConnectionPool() = default;
    ~ConnectionPool() = delete;

    void CloseIdleConnections();
    void DropIdleConnections();  // needs lock_

    MutexLock lock_;
    std::map<std::string, std::deque<TcpClientUser*>> tcp_clients_;  // guarded by lock_
};

// Rents a connection for as long as it lives.
class GetConnection {
  public:
    GetConnection(const std::string& ip, int port);
    ~GetConnection();
    GetConnection(const GetConnection&) = delete;
    GetConnection& operator=(const GetConnection&) = delete;

  private:
    const std::string ip_;
    const int port_;
    const int exceptions_;  // in flight when it was rented

  public:
    TcpClientUser* const client;  // rented last, when nothing can fail any more
};
