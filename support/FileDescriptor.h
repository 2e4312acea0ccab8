// Holding and closing of file descriptors.
#pragma once

#include <pthread.h>
#include <unistd.h>

// While one lives, its thread cannot be cancelled.
class CancellationOff {
  public:
    CancellationOff() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former_); }
    ~CancellationOff() { pthread_setcancelstate(former_, nullptr); }
    CancellationOff(const CancellationOff&) = delete;
    CancellationOff& operator=(const CancellationOff&) = delete;

  private:
    int former_ = PTHREAD_CANCEL_ENABLE;
};

// close() is a cancellation point, and most descriptors are closed by destructors: a thread that
// was cancelled would leave one by an exception there, which ends the process.
inline void CloseDescriptor(int fd) {
    const CancellationOff off;
    ::close(fd);
}

// Owns a descriptor; a negative one is none.
class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (IsOpen()) CloseDescriptor(fd_);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    bool IsOpen() const { return fd_ >= 0; }
    int Get() const { return fd_; }

  private:
    const int fd_;
};
