// The wish to stop: Ctrl-C, SIGTERM, SIGHUP, or a standard output that nobody reads any more.
//
// The wish is a flag that lasts, and an event that wakes every thread which waits through the
// functions below. A flag alone would not wake a thread that waits for a microphone, and a signal
// reaches only one thread, so relying on EINTR would wake the wrong one. A second signal ends the
// process at once, unless it comes together with the first: an engine call in progress cannot be
// interrupted, and may last; the first one tells that, when there is such a call or as soon as
// there is.
#pragma once

#include <chrono>

namespace recognize {

// Takes over SIGINT, SIGTERM and SIGHUP, and ignores SIGPIPE. Once, before the first thread starts.
void InstallInterruption();

// What a signal does; any thread may call it.
void RequestInterruption();

bool InterruptionRequested();

// Lives while an answer of the server is waited for.
class AwaitedAnswer {
  public:
    AwaitedAnswer();
    ~AwaitedAnswer();
    AwaitedAnswer(const AwaitedAnswer&) = delete;
    AwaitedAnswer& operator=(const AwaitedAnswer&) = delete;
};

// Waits until `when`; false as soon as an interruption is requested.
bool WaitUntil(std::chrono::steady_clock::time_point when);

// Waits until `fd` has bytes or its end to read; false as soon as an interruption is requested.
bool WaitReadable(int fd);

}  // namespace recognize
