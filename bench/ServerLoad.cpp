// Loads the recognition server with crowds of clients, most of which misbehave, while a few healthy
// ones are served all the time, and watches what the server's process holds.
//   orvx_server_load [--quick]
// Fails (status 1) when a healthy client is answered other than it was without load, or too late,
// when one of a crowd is not treated as it must be, or when the server's memory or descriptors
// leave their bounds or do not fall back once a crowd was dealt with.
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "Crowds.h"
#include "HealthyClients.h"
#include "ProcessSize.h"
#include "ServerProcess.h"

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr int kHealthy = 3;
constexpr int kWarmUpAnswers = 30;  // decoders grow with what they hear first
constexpr milliseconds kLongestSettling{30000};
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr double kMostGrowthKib = 1 << 22;  // a sanitizer keeps what was freed
constexpr double kMostLeftKib = 1 << 22;
constexpr milliseconds kSlowestHealthy{60000};
#else
constexpr double kMostGrowthKib = 400 << 10;
constexpr double kMostLeftKib = 64 << 10;       // of each crowd: what the allocator keeps
constexpr milliseconds kSlowestHealthy{15000};  // on a machine that has much else to do
#endif

struct Phase {
    const char* name;
    int (*run)(std::uint16_t, int, HeldConnections*);
    int crowd;
    int quick_crowd;
};

constexpr Phase kPhases[] = {{"connected at once", ManyAtOnce, 500, 500},
                             {"a byte at a time", Slow, 200, 60},
                             {"half a frame, then nothing", Stuck, 300, 150},
                             {"half closed", HalfClosed, 400, 100},
                             {"never read an answer", Deaf, 40, 10},
                             {"utterances abandoned", Abandoning, 10000, 1000}};

// Limits that the crowds reach within seconds.
const char* const kServerOptions =
    "--workers=2 --max-connections=600 --max-received-bytes=67108864 --read-timeout=4 "
    "--write-timeout=2 --max-utterances=500 --idle-timeout=120 --utterance-idle-timeout=1 "
    "2>/dev/null";

// The largest that the server's process becomes while this exists.
class Watch {
  public:
    explicit Watch(pid_t pid) : pid_(pid), thread_([this] { Look(); }) {}
    ~Watch() { End(); }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    ProcessSize End() {
        is_over_ = true;
        if (thread_.joinable()) thread_.join();
        return most_;
    }

  private:
    void Look() {
        for (; !is_over_; std::this_thread::sleep_for(milliseconds(20))) {
            const ProcessSize now = ProcessSize::Of(pid_);
            most_.resident_kib = std::max(most_.resident_kib, now.resident_kib);
            most_.descriptors = std::max(most_.descriptors, now.descriptors);
        }
    }

    const pid_t pid_;
    std::atomic<bool> is_over_{false};
    ProcessSize most_;
    std::thread thread_;
};

class Load {
  public:
    Load(pid_t server, std::uint16_t port) : server_(server), port_(port), healthy_(port) {}

    // Waits until the server has met every kind of request once.
    void WarmUp();
    bool Run(const Phase& phase, int crowd);

  private:
    ProcessSize Settle() const;
    HealthyClients::Tally AwaitHealthy(long answers);
    bool Check(bool is_good, const char* what);

    const pid_t server_;
    const std::uint16_t port_;
    HealthyClients healthy_;
    ProcessSize base_;
    const Phase* phase_ = nullptr;
};

void Load::WarmUp() {
    AwaitHealthy(kWarmUpAnswers);
    base_ = ProcessSize::Of(server_);
    std::printf("before: %.0f MiB, %d descriptors\n\n", base_.resident_kib / 1024,
                base_.descriptors);
    std::printf("%-28s %13s %8s %11s %11s %13s %15s\n", "crowd", "as they must", "seconds",
                "MiB at most", "MiB after", "descriptors", "healthy/slowest");
}

// What it holds when the crowd was dealt with, or at the end of patience.
ProcessSize Load::Settle() const {
    const auto end = Clock::now() + kLongestSettling;
    ProcessSize size = ProcessSize::Of(server_);
    while (Clock::now() < end && (size.descriptors > base_.descriptors ||
                                  size.resident_kib > base_.resident_kib + kMostLeftKib)) {
        std::this_thread::sleep_for(milliseconds(50));
        size = ProcessSize::Of(server_);
    }
    return size;
}

// What the healthy clients were answered since the crowd came, one answer of each kind at least,
// but at the end of patience.
HealthyClients::Tally Load::AwaitHealthy(long answers) {
    const auto end = Clock::now() + kLongestSettling;
    HealthyClients::Tally tally = healthy_.Take();
    while (tally.answers < answers && Clock::now() < end) {
        std::this_thread::sleep_for(milliseconds(20));
        tally.Add(healthy_.Take());
    }
    return tally;
}

bool Load::Check(bool is_good, const char* what) {
    if (!is_good) std::printf("wrong, %s: %s\n", phase_->name, what);
    return is_good;
}

bool Load::Run(const Phase& phase, int crowd) {
    phase_ = &phase;
    const auto start = Clock::now();
    HeldConnections held;
    Watch watch(server_);
    healthy_.Take();
    const int right = phase.run(port_, crowd, &held);
    const ProcessSize most = watch.End();
    // Whoever was answered may stay; all others must have been closed by the server.
    if (phase.run != Deaf) held.clear();
    const ProcessSize after = Settle();
    const HealthyClients::Tally tally = AwaitHealthy(kHealthy);
    const std::chrono::duration<double> taken = Clock::now() - start;
    std::printf("%-28s %5d / %5d %8.1f %11.0f %11.0f %5d, %4d %7ld, %4.2f s\n", phase.name, right,
                crowd, taken.count(), most.resident_kib / 1024, after.resident_kib / 1024,
                most.descriptors, after.descriptors, tally.answers,
                static_cast<double>(tally.slowest.count()) / 1000);
    std::fflush(stdout);
    bool is_good = Check(right == crowd, "some were not treated as they must be");
    for (const std::string& wrong : tally.wrong) std::printf("healthy: %s\n", wrong.c_str());
    is_good &= Check(tally.wrong.empty(), "healthy clients were answered otherwise than before");
    is_good &= Check(tally.answers >= kHealthy, "healthy clients were not served");
    is_good &= Check(tally.slowest <= kSlowestHealthy, "healthy clients waited too long");
    is_good &= Check(most.resident_kib <= base_.resident_kib + kMostGrowthKib, "too much memory");
    is_good &= Check(after.resident_kib <= base_.resident_kib + kMostLeftKib, "memory is kept");
    is_good &= Check(after.descriptors <= base_.descriptors, "descriptors are kept");
    return is_good;
}

void AllowManyDescriptors() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int main(int argc, char** argv) {
    const bool is_quick = argc == 2 && std::strcmp(argv[1], "--quick") == 0;
    if (argc > 1 && !is_quick) return std::fprintf(stderr, "orvx_server_load [--quick]\n"), 2;
    AllowManyDescriptors();
    ServerProcess server(kServerOptions);
    const std::uint16_t port = server.AwaitReady();
    if (port == 0) return std::fprintf(stderr, "the server does not start\n"), 2;
    bool is_good = true;
    {
        Load load(server.Pid(), port);
        load.WarmUp();
        for (const Phase& phase : kPhases) {
            is_good &= load.Run(phase, is_quick ? phase.quick_crowd : phase.crowd);
        }
    }
    is_good &= server.End(SIGTERM) == 0;
    std::printf("%s\n", is_good ? "passed" : "FAILED");
    return is_good ? 0 : 1;
}
