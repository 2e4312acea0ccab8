#include "OwnSocket.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include "FileDescriptor.h"
#include "StandardStreams.h"

constinit MutexLock OwnSocket::lock_;
constinit OwnSocket* OwnSocket::newest_ = nullptr;

OwnSocket::~OwnSocket() {
    Close();
}

void OwnSocket::Open(int domain, int type, int protocol) {
    const MutexGuard guard(lock_);
    CloseLocked();
    fd_ = StandardStreams::OpenSocket(domain, type, protocol);
    if (!IsOpen()) return;
    older_ = newest_;
    if (older_ != nullptr) older_->newer_ = this;
    newest_ = this;
}

void OwnSocket::Close() {
    const MutexGuard guard(lock_);
    CloseLocked();
}

bool OwnSocket::IsConnectedToItself() const {
    sockaddr_in local{};
    sockaddr_in peer{};
    socklen_t local_bytes = sizeof local;
    socklen_t peer_bytes = sizeof peer;
    const bool is_itself =
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&local), &local_bytes) == 0 &&
        ::getpeername(fd_, reinterpret_cast<sockaddr*>(&peer), &peer_bytes) == 0 &&
        local.sin_port == peer.sin_port && local.sin_addr.s_addr == peer.sin_addr.s_addr;
    const linger reset{1, 0};
    if (is_itself) ::setsockopt(fd_, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    return is_itself;
}

void OwnSocket::CloseLocked() {
    if (!IsOpen()) return;
    CloseDescriptor(fd_);
    fd_ = -1;
    if (older_ != nullptr) older_->newer_ = newer_;
    (newer_ == nullptr ? newest_ : newer_->older_) = older_;
    older_ = newer_ = nullptr;
}

// Leaves none in the list: some stand on stacks of threads that the child does not have.
void OwnSocket::CloseAllInChild() {
    while (newest_ != nullptr) newest_->CloseLocked();
}
