#include "Interruption.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <ctime>

namespace recognize {

namespace {

std::atomic<bool> g_requested{false};
static_assert(std::atomic<bool>::is_always_lock_free);  // a signal handler stores it
std::atomic<int> g_event_fd{-1};
std::atomic<int> g_awaited_answers{0};
std::atomic<bool> g_wait_announced{false};
static_assert(std::atomic<int>::is_always_lock_free);
std::atomic<std::int64_t> g_first_signal_ns{0};  // 0: none came
static_assert(std::atomic<std::int64_t>::is_always_lock_free);

// timeout(1), like others that end programs, signals the process and then its group: what comes so
// soon after the first signal belongs to it.
constexpr std::int64_t kSameWishNs = 300'000'000;

void SetAction(int signal_number, void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(signal_number, &action, nullptr);
}

// Once, when a signal came and an answer is awaited. Called in the signal handler too.
void AnnounceWait() {
    static constexpr char kNotice[] =
        "\norvx-recognize: stopping after the answer that is under way; Ctrl-C again ends at "
        "once\n";
    if (g_first_signal_ns != 0 && g_awaited_answers > 0 && !g_wait_announced.exchange(true)) {
        [[maybe_unused]] const auto written = ::write(STDERR_FILENO, kNotice, sizeof kNotice - 1);
    }
}

std::int64_t MonotonicNs() {
    timespec now = {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * std::int64_t{1'000'000'000} + now.tv_nsec;
}

void OnSignal(int signal_number) {
    const int saved_errno = errno;
    const std::int64_t now = MonotonicNs();
    std::int64_t first = 0;
    if (g_first_signal_ns.compare_exchange_strong(first, now)) {
        RequestInterruption();
        AnnounceWait();
    } else if (now - first > kSameWishNs) {
        SetAction(signal_number, SIG_DFL);
        ::raise(signal_number);
    }
    errno = saved_errno;
}

int MillisecondsLeft(std::chrono::steady_clock::time_point when) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(when - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
}

}  // namespace

void InstallInterruption() {
    g_event_fd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    SetAction(SIGINT, &OnSignal);
    SetAction(SIGTERM, &OnSignal);
    struct sigaction hang_up = {};
    sigaction(SIGHUP, nullptr, &hang_up);
    if (hang_up.sa_handler != SIG_IGN) {  // as nohup leaves it
        SetAction(SIGHUP, &OnSignal);
    }
    SetAction(SIGPIPE, SIG_IGN);
}

void RequestInterruption() {
    g_requested = true;
    const std::uint64_t one = 1;  // never read back: the event stays raised for all waiters
    [[maybe_unused]] const auto written = ::write(g_event_fd, &one, sizeof one);
}

bool InterruptionRequested() {
    return g_requested;
}

AwaitedAnswer::AwaitedAnswer() {
    ++g_awaited_answers;
    AnnounceWait();
}

AwaitedAnswer::~AwaitedAnswer() {
    --g_awaited_answers;
}

bool WaitUntil(std::chrono::steady_clock::time_point when) {
    pollfd event = {g_event_fd, POLLIN, 0};
    while (!InterruptionRequested()) {
        const int left = MillisecondsLeft(when);
        if (left == 0) {
            return true;
        }
        ::poll(&event, 1, left);
    }
    return false;
}

bool WaitReadable(int fd) {
    pollfd fds[] = {{g_event_fd, POLLIN, 0}, {fd, POLLIN, 0}};
    while (!InterruptionRequested()) {
        if (::poll(fds, 2, -1) > 0 && fds[1].revents != 0) {
            return true;
        }
    }
    return false;
}

}  // namespace recognize
