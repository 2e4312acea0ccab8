// Writing to streams and files that are the host's, or that it does not know of.
#pragma once

#include <pthread.h>
#include <signal.h>

#include <cerrno>
#include <ctime>

// Left as found at the scope's end: errno, the signals, and whether the thread can be cancelled.
// Writing is a cancellation point, and a thread that ends in the middle of a line would end the
// process. So would the signals of a pipe without a reader and of a file at its limit, but for a
// host that handles them: they stay away, and what was to be written is lost.
class CallerState {
  public:
    CallerState() : errno_(errno) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state_);
        sigemptyset(&raised_);
        sigaddset(&raised_, SIGPIPE);
        sigaddset(&raised_, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &raised_, &mask_);
        // What the host has blocked itself is its own, and may be pending already.
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            if (sigismember(&mask_, signal) == 1) sigdelset(&raised_, signal);
        }
    }
    ~CallerState() {
        constexpr std::timespec kNow{};
        while (sigtimedwait(&raised_, nullptr, &kNow) > 0 || errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        pthread_setcancelstate(cancel_state_, nullptr);
        errno = errno_;
    }
    CallerState(const CallerState&) = delete;
    CallerState& operator=(const CallerState&) = delete;

  private:
    const int errno_;
    int cancel_state_ = PTHREAD_CANCEL_ENABLE;
    sigset_t raised_;  // the signals that are blocked here alone
    sigset_t mask_;
};
