// Many sessions in real time: each sends a chunk of 100 ms of audio every 100 ms, as calls do that
// stream what they hear. Says how late chunks were, in sending and in being answered, and what
// share of a processor the host had to give; fails if a chunk was sent more than 20 ms late.
//
// A few threads carry all sessions, each the sessions of its own in the order in which they are
// due. The server answers at once, in a process of its own.
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "Lexo.h"
#include "SoakServer.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::duration;
using std::chrono::milliseconds;

constexpr milliseconds kChunk{100};
constexpr std::size_t kChunkBytes = 1600;  // at 8000 Hz, 16 bits
constexpr double kLatestMs = 20;
constexpr int kChunksOfUtterance = 50;

struct Options {
    int sessions = 200;
    int threads = 8;
    int seconds = 60;
};

// When the chunks of one thread were sent and answered, in milliseconds behind their due time.
struct Lateness {
    std::vector<double> sent, answered;
    int failures = 0;
};

[[noreturn]] void Fail(const char* what, int code) {
    std::fprintf(stderr, "orvx_paced: %s failed with %d\n", what, code);
    std::exit(1);
}

// One stream of a call: utterance after utterance in real time.
class Stream {
  public:
    Stream() {
        int code = orvx_proxy_SessionStart("asr.cloud.freetalk", &session_);
        if (code == LEXO_ERR_NONE) {
            constexpr std::intptr_t kContinuous = 3;
            code = orvx_proxy_SetParam(session_, LEXO_PARAM_STREAM,
                                       reinterpret_cast<Lexo_ParamValue>(kContinuous));
        }
        if (code != LEXO_ERR_NONE) Fail("starting a session", code);
    }
    ~Stream() { orvx_proxy_SessionStop(session_); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    bool SendChunk() {
        const bool is_last = ++count_ % kChunksOfUtterance == 0;
        int status = 0;
        const int code = orvx_proxy_Recognize(session_, audio_.data(),
                                              static_cast<int>(audio_.size()), is_last, &status);
        return code == LEXO_ERR_NONE && (status & 2) == 0;
    }

  private:
    // An answer without a result, as most chunks of a stream get.
    const std::string audio_ =
        std::string(1, static_cast<char>(SoakWish::kNothing)) + std::string(kChunkBytes - 1, '\1');
    Lexo_Handle session_ = nullptr;
    int count_ = 0;
};

// The sessions `first`, `first` + step, ... with their due times spread evenly over a chunk.
void Carry(const Options& options, int first, Clock::time_point start, Lateness* lateness) {
    const int count = (options.sessions - first + options.threads - 1) / options.threads;
    std::vector<Stream> streams(static_cast<std::size_t>(count));
    const int rounds = static_cast<int>(std::chrono::seconds(options.seconds) / kChunk);
    for (int round = 0; round < rounds; ++round) {
        int number = first;
        for (Stream& stream : streams) {
            const auto due =
                start + round * kChunk +
                std::chrono::duration_cast<Clock::duration>(kChunk) * number / options.sessions;
            std::this_thread::sleep_until(due);
            lateness->sent.push_back(duration<double, std::milli>(Clock::now() - due).count());
            if (!stream.SendChunk()) ++lateness->failures;
            lateness->answered.push_back(duration<double, std::milli>(Clock::now() - due).count());
            number += options.threads;
        }
    }
}

double ProcessorSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Prints the quantiles and gives the largest.
double Print(const char* what, std::vector<double> times) {
    std::sort(times.begin(), times.end());
    const auto quantile = [&times](double q) {
        return times[static_cast<std::size_t>(q * static_cast<double>(times.size() - 1))];
    };
    std::printf("%-9s median %6.2f ms, 99 %% within %6.2f, 99.9 %% within %6.2f, latest %6.2f\n",
                what, quantile(0.5), quantile(0.99), quantile(0.999), quantile(1));
    return times.back();
}

bool Run(const Options& options) {
    std::vector<Lateness> parts(static_cast<std::size_t>(options.threads));
    const double processor = ProcessorSeconds();
    const auto start = Clock::now() + kChunk;
    std::vector<std::thread> threads;
    for (int i = 0; i < options.threads; ++i) {
        threads.emplace_back(Carry, options, i, start, &parts[static_cast<std::size_t>(i)]);
    }
    for (std::thread& thread : threads) thread.join();
    Lateness all;
    for (const Lateness& part : parts) {
        all.sent.insert(all.sent.end(), part.sent.begin(), part.sent.end());
        all.answered.insert(all.answered.end(), part.answered.begin(), part.answered.end());
        all.failures += part.failures;
    }
    std::printf(
        "%d sessions on %d threads for %d s: %zu chunks, %d failures, %.1f %% of a processor\n",
        options.sessions, options.threads, options.seconds, all.sent.size(), all.failures,
        (ProcessorSeconds() - processor) / options.seconds * 100);
    const double latest = Print("sent", std::move(all.sent));
    Print("answered", std::move(all.answered));
    return all.failures == 0 && latest <= kLatestMs;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("Streams audio of many sessions in real time and tells how late chunks are.");
    app.add_option("--sessions", options.sessions)->check(CLI::Range(1, 10'000));
    app.add_option("--threads", options.threads)->check(CLI::Range(1, 256));
    app.add_option("--seconds", options.seconds)->check(CLI::Range(1, 3600));
    CLI11_PARSE(app, argc, argv);
    SoakServer server;
    if (const int code = orvx_proxy_Init(server.Address().c_str()); code != LEXO_ERR_NONE) {
        Fail("Init (is QUORLAN_HOME set?)", code);
    }
    const bool is_on_time = Run(options);
    orvx_proxy_End();
    const bool is_served = server.Stop() >= 0;
    return is_on_time && is_served ? 0 : 1;
}
