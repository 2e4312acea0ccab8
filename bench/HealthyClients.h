// Clients of the recognition server that do all as they should, one after another, for as long as
// they exist: what they are answered must not depend on what others do meanwhile.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class HealthyClients {
  public:
    struct Tally {
        void Add(const Tally& other);

        long answers = 0;
        std::chrono::milliseconds slowest{};
        std::vector<std::string> wrong;  // the first few answers that were not as they must be
    };

    // Learns the right answers, then starts a thread for each kind of request: a recording with a
    // grammar, one with keywords, and real-time free talk. Each keeps one connection.
    explicit HealthyClients(std::uint16_t port);
    ~HealthyClients();
    HealthyClients(const HealthyClients&) = delete;
    HealthyClients& operator=(const HealthyClients&) = delete;

    // What was answered since the last call.
    Tally Take();

  private:
    void Work(int kind);
    void Note(const std::string& answer, const std::string& right,
              std::chrono::milliseconds slowest);

    const std::uint16_t port_;
    std::atomic<bool> is_over_{false};
    std::vector<std::thread> threads_;
    std::mutex mutex_;  // guards what follows
    Tally tally_;
};
