// A socket that no child of a fork keeps, nor a program that the host runs: the peer shall see the
// end when this process closes it.
#pragma once

#include "MutexLock.h"

class OwnSocket {
  public:
    OwnSocket() = default;
    ~OwnSocket();
    OwnSocket(const OwnSocket&) = delete;
    OwnSocket& operator=(const OwnSocket&) = delete;

    bool IsOpen() const { return fd_ >= 0; }
    int Get() const { return fd_; }

    // As socket(); closes the former one. Without success errno tells why.
    void Open(int domain, int type, int protocol);
    void Close();

    // With nobody listening, the system may give the server's port, if it is one of those that
    // clients get, to the very socket that connects to it. Then true, and closing it lets go of the
    // port at once: else the server could not have it when it comes back.
    bool IsConnectedToItself() const;

    // Held while any gets or loses its descriptor, and over a fork.
    static MutexLock& Lock() { return lock_; }
    // Closes those of all threads, also of the ones that the child of a fork does not have.
    static void CloseAllInChild();

  private:
    static MutexLock lock_;
    static OwnSocket* newest_;  // of all that are open, guarded by lock_

    void CloseLocked();

    OwnSocket* older_ = nullptr;
    OwnSocket* newer_ = nullptr;
    int fd_ = -1;
};
