#include "OwnSocket.h"

#include "FileDescriptor.h"
#include "StandardStreams.h"

constinit MutexLock OwnSocket::lock_;
constinit OwnSocket* OwnSocket::newest_ = nullptr;

OwnSocket::OwnSocket() {
    const MutexGuard guard(lock_);
    older_ = newest_;
    if (older_ != nullptr) older_->newer_ = this;
    newest_ = this;
}

OwnSocket::~OwnSocket() {
    const MutexGuard guard(lock_);
    CloseLocked();
    if (older_ != nullptr) older_->newer_ = newer_;
    (newer_ == nullptr ? newest_ : newer_->older_) = older_;
}

void OwnSocket::Open(int domain, int type, int protocol) {
    const MutexGuard guard(lock_);
    CloseLocked();
    fd_ = StandardStreams::OpenSocket(domain, type, protocol);
}

void OwnSocket::Close() {
    const MutexGuard guard(lock_);
    CloseLocked();
}

void OwnSocket::CloseLocked() {
    if (IsOpen()) CloseDescriptor(fd_);
    fd_ = -1;
}

void OwnSocket::CloseAllInChild() {
    for (OwnSocket* each = newest_; each != nullptr; each = each->older_) {
        each->CloseLocked();
    }
}
