// Holding and closing of file descriptors.
#pragma once

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>

// As open(), and not to be kept from it by a signal, as may happen on a file system of the network.
inline int OpenFile(const char* path, int flags) {
    int fd;
    do {
        fd = ::open(path, flags | O_CLOEXEC, 0666);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

// close() is a cancellation point, and most descriptors are closed by destructors: a thread that
// was cancelled would leave one by an exception there, which ends the process.
inline void CloseDescriptor(int fd) {
    int cancel_state = PTHREAD_CANCEL_ENABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state);
    ::close(fd);
    pthread_setcancelstate(cancel_state, nullptr);
}

// In a host that has closed its standard streams a new socket takes the place of one, and what
// anybody prints would go to the peer. Moves such a socket; the number that it has then, or -1,
// with the socket closed.
inline int AboveStandardStreams(int fd) {
    if (fd < 0 || fd > STDERR_FILENO) return fd;
    const int moved = ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    CloseDescriptor(fd);
    return moved;
}

// The same for files that others open, while it lives: it takes the numbers of the streams. What
// the host has put in their place meanwhile, by dup2(), lacks the flag and stays.
class StandardStreamsTaken {
  public:
    StandardStreamsTaken() {
        for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
            if (::fcntl(fd, F_GETFD) < 0) taken_[fd] = OpenFile("/dev/null", O_RDWR);
        }
    }
    ~StandardStreamsTaken() {
        for (const int fd : taken_) {
            if (fd >= 0 && ::fcntl(fd, F_GETFD) == FD_CLOEXEC) CloseDescriptor(fd);
        }
    }
    StandardStreamsTaken(const StandardStreamsTaken&) = delete;
    StandardStreamsTaken& operator=(const StandardStreamsTaken&) = delete;

  private:
    int taken_[STDERR_FILENO + 1] = {-1, -1, -1};
};

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
