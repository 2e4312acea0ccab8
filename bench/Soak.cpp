// Loads the library with many sessions on many threads, for a given number of exchanges, while one
// server request in so many fails in one of eight ways, and sessions start and stop all the time.
//   orvx_soak [--exchanges N] [--sessions N] [--threads N] [--fault-every N]
// Fails (status 1) when a result is not the request's own, the counts of both sides differ, or what
// the process holds grows after the first tenth.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ProcessSize.h"
#include "SoakSession.h"

namespace {

using std::chrono::microseconds;
using Clock = std::chrono::steady_clock;

constexpr int kSamples = 40;  // of the process's size, in the whole run
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr double kMostGrowthKib = 1 << 20;  // a sanitizer keeps what was freed
#else
constexpr double kMostGrowthKib = 2048;  // after the first tenth: the allocator's own unrest
#endif
constexpr const char* kGrammar = "#JSGF V1.0; public <a> = b;";

struct Options {
    long exchanges = 1000000;
    long sessions = 1000;
    long threads = 64;
    long fault_every = 100;
};

Options ReadOptions(int argc, char** argv) {
    Options options;
    const std::map<std::string, long*> names = {{"--exchanges", &options.exchanges},
                                                {"--sessions", &options.sessions},
                                                {"--threads", &options.threads},
                                                {"--fault-every", &options.fault_every}};
    for (int i = 1; i + 1 < argc; i += 2) {
        const auto name = names.find(argv[i]);
        if (name == names.end() || std::atol(argv[i + 1]) < 1) {
            std::fprintf(stderr, "orvx_soak: %s %s?\n", argv[i], argv[i + 1]);
            std::exit(2);
        }
        *name->second = std::atol(argv[i + 1]);
    }
    return options;
}

class Soak {
  public:
    Soak(const Options& options, unsigned grammar) : options_(options), grammar_(grammar) {}

    // Makes the exchanges; false if one of them was wrong, or something grew.
    bool Run();
    long Exchanges() const { return done_; }

  private:
    void Work(long thread);
    void Note(const SoakExchange& exchange);
    void StartAndStop();
    void TakeSample();
    bool Report();

    const Options options_;
    const unsigned grammar_;
    std::atomic<long> next_{0};
    std::atomic<long> done_{0};
    std::atomic<long> faults_{0};
    std::atomic<bool> is_over_{false};
    std::mutex mutex_;  // guards what follows
    std::vector<std::string> wrong_;
    std::vector<microseconds> times_;  // of the exchanges without a fault
    microseconds longest_{};           // of all
    microseconds longest_start_{};     // of a session
    long starts_ = 0;
    std::vector<ProcessSize> sizes_;
};

void Soak::Work(long thread) {
    std::vector<std::unique_ptr<SoakSession>> sessions;
    for (long number = thread; number < options_.sessions; number += options_.threads) {
        sessions.push_back(std::make_unique<SoakSession>(static_cast<int>(number), grammar_));
    }
    for (std::size_t turn = 0; next_++ < options_.exchanges; ++turn) {
        Note(sessions[turn % sessions.size()]->Exchange(static_cast<int>(options_.fault_every)));
        if (++done_ % (std::max(options_.exchanges / kSamples, 1L)) == 0) TakeSample();
    }
}

void Soak::Note(const SoakExchange& exchange) {
    faults_ += exchange.is_fault ? 1 : 0;
    const std::lock_guard lock(mutex_);
    longest_ = std::max(longest_, exchange.time);
    if (!exchange.is_fault) times_.push_back(exchange.time);
    if (!exchange.is_right && wrong_.size() < 20) wrong_.push_back(exchange.wrong);
}

void Soak::TakeSample() {
    const ProcessSize size = ProcessSize::Now();
    const std::lock_guard lock(mutex_);
    sizes_.push_back(size);
}

void Soak::StartAndStop() {
    while (!is_over_) {
        const auto start = Clock::now();
        { const SoakSession session(static_cast<int>(options_.sessions), grammar_); }
        const auto taken = std::chrono::duration_cast<microseconds>(Clock::now() - start);
        ++starts_;
        longest_start_ = std::max(longest_start_, taken);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

bool Soak::Run() {
    times_.reserve(static_cast<std::size_t>(options_.exchanges));
    // Touched at once: the list of times is not to look like growth.
    std::memset(static_cast<void*>(times_.data()), 1, times_.capacity() * sizeof(microseconds));
    std::thread starter(&Soak::StartAndStop, this);
    std::vector<std::thread> workers;
    for (long i = 0; i < options_.threads; ++i) workers.emplace_back(&Soak::Work, this, i);
    for (std::thread& worker : workers) worker.join();
    is_over_ = true;
    starter.join();
    return Report();
}

bool Soak::Report() {
    const std::size_t first = sizes_.size() / 10;  // the first tenth warms up
    const std::vector<ProcessSize> steady(sizes_.begin() + static_cast<std::ptrdiff_t>(first),
                                          sizes_.end());
    std::vector<double> resident;
    for (const ProcessSize& size : steady) resident.push_back(size.resident_kib);
    const double growth = Slope(resident) * static_cast<double>(resident.size());
    const auto [fewest, most] = std::minmax_element(
        steady.begin(), steady.end(),
        [](const ProcessSize& a, const ProcessSize& b) { return a.descriptors < b.descriptors; });
    std::sort(times_.begin(), times_.end());
    const auto at = [&](double part) {
        return static_cast<long>(
            times_[static_cast<std::size_t>(part * static_cast<double>(times_.size() - 1))]
                .count());
    };
    std::printf("%ld exchanges on %ld sessions and %ld threads, %ld with a fault\n", done_.load(),
                options_.sessions, options_.threads, faults_.load());
    std::printf(
        "time without a fault: median %ld us, 99.9 %% %ld us, longest %ld us; longest of "
        "all %ld us\n",
        at(0.5), at(0.999), at(1), static_cast<long>(longest_.count()));
    std::printf("%ld sessions started and stopped meanwhile, the longest took %ld us\n", starts_,
                static_cast<long>(longest_start_.count()));
    std::printf(
        "after the first tenth: resident memory %+.0f KiB of %.0f, descriptors %d to %d, "
        "threads %d\n",
        growth, resident.back(), fewest->descriptors, most->descriptors, steady.back().threads);
    for (const std::string& wrong : wrong_) std::printf("wrong: %s\n", wrong.c_str());
    const bool is_flat = growth <= kMostGrowthKib &&
                         most->descriptors <= sizes_.front().descriptors + options_.threads;
    if (!is_flat) std::printf("wrong: what the process holds grows\n");
    return wrong_.empty() && is_flat;
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = ReadOptions(argc, argv);
    SoakServer server;
    unsigned grammar = 0;
    if (orvx_proxy_Init(server.Address().c_str()) != LEXO_ERR_NONE ||
        orvx_proxy_LoadResource("grammar", LEXO_RESOURCE_BUFFER, kGrammar,
                                static_cast<int>(std::strlen(kGrammar)), LEXO_RESOURCE_GRAMMAR_JSGF,
                                &grammar) != LEXO_ERR_NONE) {
        std::fprintf(stderr, "orvx_soak: the engine does not start; is QUORLAN_HOME set?\n");
        return 2;
    }
    Soak soak(options, grammar);
    bool is_good = soak.Run();
    const bool is_ended = orvx_proxy_UnloadResource("grammar", grammar) == LEXO_ERR_NONE &&
                          orvx_proxy_End() == LEXO_ERR_NONE;
    const long served = server.Stop();
    std::printf("requests: %ld sent, %ld served\n", soak.Exchanges(), served);
    is_good = is_good && is_ended && served == soak.Exchanges();
    std::printf("%s\n", is_good ? "passed" : "FAILED");
    return is_good ? 0 : 1;
}
