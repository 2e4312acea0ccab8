#include "Measure.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <latch>
#include <thread>
#include <vector>

#include "Figures.h"
#include "ServerProcess.h"
#include "Times.h"

namespace exchange {

namespace {

constexpr int kFewestWarmCalls = 5;
constexpr int kMostWarmCalls = 10'000;
constexpr std::uint64_t kFewestCalls = 3;

struct Usage {
    explicit Usage(const ServerProcess& server)
        : cpu_ns(NowNs(CLOCK_PROCESS_CPUTIME_ID)), server_cpu_ns(server.CpuNs()) {
        rusage usage{};
        ::getrusage(RUSAGE_SELF, &usage);
        faults = usage.ru_minflt + usage.ru_majflt;
        switches = usage.ru_nvcsw + usage.ru_nivcsw;
    }
    std::uint64_t cpu_ns;
    std::uint64_t server_cpu_ns;
    long faults = 0;
    long switches = 0;
};

// The phases of a run, which all its threads pass together.
struct Phases {
    explicit Phases(std::ptrdiff_t threads) : warm(threads), timed(threads) {}
    std::latch warm, go{1}, timed, last{1};
    std::uint64_t begin_ns = 0;  // of the timed phase, for all threads
};

class Worker {
  public:
    Worker(const Run& run, unsigned number)
        : run_(run), stamp_(Stamp{number + 1} << 40), audio_(Pattern(run.audio_bytes)) {}

    void Work(const MakeClient& make, int port, Phases& phases) {
        client_ = make(port);
        WarmUp();
        phases.warm.count_down();
        phases.go.wait();
        Time(phases.begin_ns);
        phases.timed.count_down();
        phases.last.wait();
        Call(kCheckEveryByte);
        client_.reset();
    }
    const Times& CallTimes() const { return times_; }
    std::uint64_t EndNs() const { return end_ns_; }

  private:
    void Call(Stamp flag = 0) {
        const Stamp stamp = ++stamp_ | flag;
        PutStamp(audio_, stamp);
        client_->Exchange(audio_, stamp);
    }
    std::uint64_t LengthNs() const { return static_cast<std::uint64_t>(run_.seconds * 1e9); }

    void WarmUp() {
        const std::uint64_t until = NowNs(CLOCK_MONOTONIC) + LengthNs() / 10;
        for (int i = 0; i < kFewestWarmCalls ||
                        (run_.calls == 0 && NowNs(CLOCK_MONOTONIC) < until && i < kMostWarmCalls);
             ++i) {
            Call(i < 2 ? kCheckEveryByte : 0);
        }
    }
    void Time(std::uint64_t begin) {
        std::uint64_t before = NowNs(CLOCK_MONOTONIC);
        while (run_.calls > 0 ? times_.Count() < run_.calls
                              : before - begin < LengthNs() || times_.Count() < kFewestCalls) {
            Call();
            const std::uint64_t now = NowNs(CLOCK_MONOTONIC);
            times_.Add(now - before);
            before = now;
        }
        end_ns_ = before;
    }

    const Run& run_;
    Stamp stamp_;
    std::string audio_;
    std::unique_ptr<Client> client_;
    Times times_;
    std::uint64_t end_ns_ = 0;
};

// Not getrusage's, which survives an exec.
double PeakMb() {
    double kib = 0;
    std::FILE* const status = std::fopen("/proc/self/status", "r");
    Require(status != nullptr, "no status of this process");
    for (char line[256]; std::fgets(line, sizeof line, status) != nullptr;) {
        std::sscanf(line, "VmHWM: %lf", &kib);
    }
    std::fclose(status);
    return kib / 1024;
}

Figures FiguresOf(const std::vector<Worker>& workers, std::uint64_t begin_ns, const Usage& before,
                  const Usage& after) {
    Figures figures;
    Times times;
    std::uint64_t end_ns = 0;
    for (const Worker& worker : workers) {
        times.Add(worker.CallTimes());
        end_ns = std::max(end_ns, worker.EndNs());
    }
    figures.calls = static_cast<double>(times.Count());
    figures.per_second = figures.calls * 1e9 / static_cast<double>(end_ns - begin_ns);
    figures.p50_us = times.MedianUs();
    const auto each = [&](auto to, auto from) {
        return static_cast<double>(to - from) / figures.calls;
    };
    figures.client_cpu_us = each(after.cpu_ns, before.cpu_ns) / 1e3;
    figures.server_cpu_us = each(after.server_cpu_ns, before.server_cpu_ns) / 1e3;
    figures.faults = each(after.faults, before.faults);
    figures.switches = each(after.switches, before.switches);
    figures.peak_mb = PeakMb();
    return figures;
}

}  // namespace

void Measure(const Run& run, const std::string& server_program, const MakeClient& make) {
    std::signal(SIGPIPE, SIG_IGN);
    ::alarm(kLongestRunSeconds);
    ServerProcess server(server_program, run);
    PinTo(run.client_cpu);

    Phases phases(run.threads);
    std::vector<Worker> workers;
    workers.reserve(run.threads);
    for (unsigned i = 0; i < run.threads; ++i) {
        workers.emplace_back(run, i);
    }
    std::vector<std::thread> threads;
    threads.reserve(run.threads);
    for (Worker& worker : workers) {
        threads.emplace_back([&] { worker.Work(make, server.Port(), phases); });
    }
    phases.warm.wait();
    const Usage before(server);
    phases.begin_ns = NowNs(CLOCK_MONOTONIC);
    phases.go.count_down();
    phases.timed.wait();
    const Usage after(server);
    phases.last.count_down();
    for (std::thread& thread : threads) {
        thread.join();
    }
    server.Stop();
    PrintFigures(FiguresOf(workers, phases.begin_ns, before, after));
}

}  // namespace exchange
