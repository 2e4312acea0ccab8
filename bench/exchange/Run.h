// What one run measures. Every run is a process of its own, so that its processor time, its page
// faults and its peak of memory are its own; its server is a second one.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace exchange {

struct Run {
    std::size_t audio_bytes = 3200;
    std::size_t answer_bytes = 300;  // the body of the answer's frame
    unsigned threads = 1;
    double seconds = 0.3;     // length of the timed part
    unsigned long calls = 0;  // of each thread, instead of a time, if not 0
    unsigned sessions = 0;    // open besides, in the library's row
    bool is_in_turn = false;  // requests take turns over these sessions
    unsigned idle = 0;        // connections that lie idle beforehand, and are used in turn
    int client_cpu = -1;      // the processor that all client threads share; -1: any
    int server_cpu = -1;
    bool is_server = false;
};

// Ends the process with a message when an option is not understood.
Run ReadRun(int argc, char** argv);

// The options that make a server for this run.
std::vector<std::string> ServerOptions(const Run& run);

// The path of a program that lies in the folder of this one.
std::string Beside(const std::string& program);

// A benchmark that measured something else than it says is worthless: whatever is wrong ends it.
[[noreturn]] void Fail(const char* what);
inline void Require(bool is_right, const char* what) {
    if (!is_right) [[unlikely]] {
        Fail(what);
    }
}

// Keeps the calling thread, and those that it starts, on the n-th of the processors it may use; -1:
// on any.
void PinTo(int cpu);

}  // namespace exchange
