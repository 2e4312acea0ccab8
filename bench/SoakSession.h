// One session of the soak: makes one exchange after another, of mixed kinds, and knows what each
// must come to.
#pragma once

#include <chrono>
#include <cstdint>
#include <random>
#include <string>

#include "Lexo.h"
#include "SoakServer.h"

// What one exchange came to.
struct SoakExchange {
    bool is_right = false;
    bool is_fault = false;  // the server was asked to fail, or to wait
    std::chrono::microseconds time{};
    std::string wrong;  // what was wrong
};

// For one thread at a time.
class SoakSession {
  public:
    // `number` chooses its capability and whether it works in real time or has a resource bound.
    // `grammar` is loaded for the grammar capability.
    SoakSession(int number, unsigned grammar);
    ~SoakSession();
    SoakSession(const SoakSession&) = delete;
    SoakSession& operator=(const SoakSession&) = delete;

    // One in `fault_every` asks for a fault. One exchange is one request.
    SoakExchange Exchange(int fault_every);

  private:
    SoakWish ChooseWish(int fault_every);
    std::string MakeAudio(SoakWish wish);
    std::string Judge(SoakWish wish, const std::string& audio, int code, int status);
    std::string TakeText();

    const int number_;
    const bool is_realtime_;
    std::minstd_rand random_;
    Lexo_Handle handle_ = nullptr;
    std::uint64_t count_ = 0;
    int chunks_ = 0;  // of the open utterance
};
