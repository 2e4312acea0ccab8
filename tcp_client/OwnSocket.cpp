#include "OwnSocket.h"

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
