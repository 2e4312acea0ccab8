// Holding and closing of file descriptors.
#pragma once

#include <pthread.h>
#include <unistd.h>

// close() is a cancellation point, and most descriptors are closed by destructors: a thread that
// was cancelled would leave one by an exception there, which ends the process.
inline void CloseDescriptor(int fd) {
    int cancel_state = PTHREAD_CANCEL_ENABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state);
    ::close(fd);
    pthread_setcancelstate(cancel_state, nullptr);
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
